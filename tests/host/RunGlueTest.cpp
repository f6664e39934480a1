#include "host/devicevpn.h"
#include "tests/host/HostFixture.h"

#include <algorithm>

class RunGlueTest : public HostTest
{
protected:
    ORVA_DATA& data() { return m_device.m_data; }

    CArray<int, int> m_flags;
    CArray<double, double> m_values;
    CStringArray m_strings;
};

TEST_F(RunGlueTest, LibraryInitialisationAnswersOne) { EXPECT_EQ(orva_device::DllInit(), 1); }

TEST_F(RunGlueTest, ExitWithoutAStateChangesNothing)
{
    EXPECT_EQ(orva_device::SvrExitDevRun(data()), 1);
    init();
    EXPECT_EQ(orva_device::SvrExitDevRun(data()), 1);
    EXPECT_EQ(data().pDevData, nullptr);
    EXPECT_EQ(orva_device::SvrExitDevRun(data()), 1);
    EXPECT_EQ(data().pDevData, nullptr);
}

TEST_F(RunGlueTest, ExitStopsTheConnectionBeforeDestroyingIt)
{
    init();
    service().answersAll();
    collectAll();
    data().pDevData->arrPropInt.pData = new int[2];
    data().pDevData->arrPropAux.pData = new int[2];
    data().pDevData->vecPropStrings = {"text"};
    service().events.clear();
    EXPECT_EQ(orva_device::SvrExitDevRun(data()), 1);
    EXPECT_EQ(service().events, (scripted::Events{"stop", "destroy"}));
    EXPECT_EQ(data().pDevData, nullptr);
}

TEST_F(RunGlueTest, RecordStopsAConnectionThatIsStillThere)
{
    auto* record = new DEV_DATA();
    record->pDispatchClient = new QZ::RPC::DispatchClient(QZ::Net::Address("127.0.0.1:9009"),
                                                          QZ::Net::TCPClient::NewFactory());
    service().events.clear();
    delete record;
    EXPECT_EQ(service().events, (scripted::Events{"stop", "destroy"}));
}

TEST_F(RunGlueTest, CommandWithoutAResultSlotIsNotRun)
{
    init();
    service().acknowledges("checkCommState");
    CString command("REFRESH()");
    EXPECT_EQ(orva_device::SvrDevIOCtrl(data(), command, m_values, m_strings), 0);
    EXPECT_TRUE(service().events.empty());
    EXPECT_EQ(m_values.GetSize(), 0);
}

TEST_F(RunGlueTest, CommandResultIsStoredAndReturned)
{
    init();
    m_values.SetSize(1);
    CString command("ORVA_WRITE(9)");
    EXPECT_EQ(orva_device::SvrDevIOCtrl(data(), command, m_values, m_strings), -1);
    EXPECT_EQ(m_values[0], -1.0);
}

TEST_F(RunGlueTest, CollectionWithoutAResultSlotCollectsNothing)
{
    init();
    m_flags.SetSize(11);
    EXPECT_EQ(orva_device::SvrCollectDevData(data(), m_flags, m_values, m_strings), 0);
    EXPECT_TRUE(service().events.empty());
}

TEST_F(RunGlueTest, CollectionStoresItsResultAndAnswersZero)
{
    m_values.SetSize(1);
    EXPECT_EQ(orva_device::SvrCollectDevData(data(), m_flags, m_values, m_strings), 0);
    EXPECT_EQ(m_values[0], 1.0) << "no state, so no service";
    init();
    service().answersAll(-9);
    m_flags.SetSize(1);
    m_flags[0] = 1;
    EXPECT_EQ(orva_device::SvrCollectDevData(data(), m_flags, m_values, m_strings), 0);
    EXPECT_EQ(m_values[0], 20.0);
}

TEST_F(RunGlueTest, RecordStartsWithItsDefaults)
{
    const DEV_DATA record;
    EXPECT_EQ(record.arrPropInt.pData, nullptr);
    EXPECT_EQ(record.arrPropInt.nGrowBy, 0);
    EXPECT_TRUE(record.vecPropStrings.empty());
    EXPECT_FALSE(record.bNoConfig);
    EXPECT_EQ(record.nMaxChannel, 6);
    EXPECT_EQ(record.dLastValue, -1.0);
    EXPECT_EQ(record.pDispatchClient, nullptr);
    EXPECT_FALSE(std::is_copy_constructible_v<DEV_DATA>);
    EXPECT_FALSE(std::is_copy_assignable_v<DEV_DATA>);
}
