#include "host/devicevpn.h"
#include "tests/host/HostFixture.h"

#include <climits>
#include <new>

class DriverObjectTest : public HostTest
{
};

TEST_F(DriverObjectTest, DestroyingNothingGivesOne) { EXPECT_EQ(DestroyDeviceCtrl(nullptr), 1); }

TEST_F(DriverObjectTest, ObjectIsMadeAndDestroyedThroughTheExports)
{
    IDeviceCtrl* device = CreateDeviceCtrl("VPN_1", &m_host);
    ASSERT_NE(device, nullptr);
    EXPECT_EQ(device->CleanupDevice(), 0);
    EXPECT_EQ(DestroyDeviceCtrl(device), 0);
}

TEST_F(DriverObjectTest, DestroyingWithoutCleanupLeavesTheStateAlone)
{
    service().answersAll();
    auto* device = new OpenDevCtrl("VPN_1", &m_host);
    EXPECT_EQ(device->InitDevice(nullptr, 0), 0);
    const int wanted = 1;
    device->CollectDevData(&wanted, 1);
    ORVA_DATA left;
    left.pDevData = device->m_data.pDevData;
    EXPECT_EQ(DestroyDeviceCtrl(device), 0);
    EXPECT_EQ(service().connectionsAlive, 1);
    orva_device::SvrExitDevRun(left);
    EXPECT_EQ(service().connectionsAlive, 0);
}

TEST_F(DriverObjectTest, NamedObjectHoldsNameCallbacksAndDatabase)
{
    EXPECT_STREQ(m_device.m_data.strDevName, "VPN_1");
    EXPECT_STREQ(m_device.m_data.strDevExtra, "");
    EXPECT_EQ(m_device.m_data.pfnSetParamValue, &CDevCtrl::SetParamValue_Fun);
    EXPECT_EQ(m_device.m_data.pfnGetParamValue, &CDevCtrl::GetParamValue_Fun);
    EXPECT_EQ(m_device.m_data.pfnGetParamType, &CDevCtrl::GetParamType_Fun);
    EXPECT_EQ(m_device.m_data.pRtdb, &m_host);
    EXPECT_EQ(m_device.m_pRtdb, &m_host);
    EXPECT_EQ(m_device.m_data.nReserved1, 0u);
    EXPECT_EQ(m_device.m_data.nReserved2, 0u);
    EXPECT_EQ(m_device.m_data.pArchive, nullptr);
    EXPECT_EQ(m_device.m_data.pDevData, nullptr);
    EXPECT_EQ(m_device.m_data.nCommMode, 0);
    EXPECT_EQ(m_device.m_data.pCommunication, nullptr);
    EXPECT_EQ(m_device.m_nChannelCount, -1);
    EXPECT_EQ(sizes(), (std::vector<int>{0, 0, 0}));
}

TEST_F(DriverObjectTest, NullNameIsTheEmptyName)
{
    const OpenDevCtrl device(nullptr, nullptr);
    EXPECT_STREQ(device.m_data.strDevName, "");
}

TEST_F(DriverObjectTest, DefaultObjectHoldsNothing)
{
    const OpenDevCtrl device;
    EXPECT_STREQ(device.m_data.strDevName, "");
    EXPECT_EQ(device.m_data.pfnSetParamValue, nullptr);
    EXPECT_EQ(device.m_data.pfnGetParamValue, nullptr);
    EXPECT_EQ(device.m_data.pfnGetParamType, nullptr);
    EXPECT_EQ(device.m_data.pRtdb, nullptr);
    EXPECT_EQ(device.m_pRtdb, nullptr);
    EXPECT_EQ(device.m_nChannelCount, -1);
}

TEST_F(DriverObjectTest, ArraysFollowTheChannelCount)
{
    m_device._InitValueArray(0);
    EXPECT_EQ(sizes(), (std::vector<int>{1, 1, 1}));
    EXPECT_EQ(m_device.m_nChannelCount, 0);
    m_device._InitValueArray(10);
    EXPECT_EQ(sizes(), (std::vector<int>{11, 11, 11}));
    m_device.m_arrValues[3] = 7.0;
    m_device._InitValueArray(0);
    m_device._InitValueArray(-5);
    EXPECT_EQ(sizes(), (std::vector<int>{11, 11, 11})) << "the larger size is kept";
    EXPECT_EQ(m_device.m_nChannelCount, 10);
    m_device._InitValueArray(3);
    EXPECT_EQ(sizes(), (std::vector<int>{4, 4, 4}));
    EXPECT_EQ(m_device.m_arrValues[3], 7.0);
    m_device._InitValueArray(4);
    EXPECT_EQ(m_device.m_arrValues[4], 0.0);
}

TEST_F(DriverObjectTest, SameCountLeavesArraysAloneThatTheDeviceHasResized)
{
    m_device._InitValueArray(3);
    m_device.m_arrValues.SetSize(11);
    m_device._InitValueArray(3);
    EXPECT_EQ(sizes(), (std::vector<int>{4, 11, 4}));
}

TEST_F(DriverObjectTest, MinusOneOnAFreshObjectLeavesTheArraysEmpty)
{
    m_device._InitValueArray(-1);
    EXPECT_EQ(sizes(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(m_device.m_nChannelCount, -1);
}

TEST_F(DriverObjectTest, HugeCountIsAnAllocationFailureThatChangesNothing)
{
    m_device._InitValueArray(5);
    for (const int n : {1000001, INT_MAX}) {
        EXPECT_THROW(m_device._InitValueArray(n), std::bad_alloc);
        EXPECT_EQ(m_device.m_nChannelCount, 5);
        EXPECT_EQ(sizes(), (std::vector<int>{6, 6, 6}));
    }
    EXPECT_EQ(m_device._InitValueArray(1000000), 0);
}

TEST_F(DriverObjectTest, ChannelRefChangeSizesTheArraysAndStoresNothing)
{
    const int channels[] = {9, 9, 9};
    EXPECT_EQ(m_device.ChannelRefChange(nullptr, 3), kStatusFailed);
    EXPECT_EQ(m_device.ChannelRefChange(channels, 0), kStatusFailed);
    EXPECT_EQ(sizes(), (std::vector<int>{0, 0, 0}));
    EXPECT_EQ(m_device.ChannelRefChange(channels, 3), 0);
    EXPECT_EQ(sizes(), (std::vector<int>{4, 4, 4}));
    EXPECT_EQ(m_device.m_arrFlags[1], 0);
    EXPECT_EQ(m_device.ChannelRefChange(channels, -2), 0);
    EXPECT_EQ(sizes(), (std::vector<int>{4, 4, 4}));
    EXPECT_EQ(m_device.ChannelRefChange(channels, INT_MAX), kStatusFailed);
}

TEST_F(DriverObjectTest, CommunicationModesAreSwapped)
{
    EXPECT_EQ(m_device.UpdataCommunication(nullptr), kStatusFailed);
    EXPECT_EQ(m_device.UpdataCommunication(&m_communication), 0);
    EXPECT_EQ(m_device.m_data.nCommMode, 2);
    m_communication.mode = 2;
    EXPECT_EQ(m_device.UpdataCommunication(&m_communication), 0);
    EXPECT_EQ(m_device.m_data.nCommMode, 1);
}

TEST_F(DriverObjectTest, UnknownCommunicationModeKeepsTheModeButTakesTheObject)
{
    m_device.UpdataCommunication(&m_communication);
    for (const int mode : {0, 3, -1}) {
        scripted::FakeCommunication other;
        other.mode = mode;
        EXPECT_EQ(m_device.UpdataCommunication(&other), kStatusFailed);
        EXPECT_EQ(m_device.m_data.nCommMode, 2);
        EXPECT_EQ(m_device.m_data.pCommunication, &other);
    }
    m_device.m_data.pCommunication = nullptr;
}

TEST_F(DriverObjectTest, CommunicationIsStoredBeforeItIsAsked)
{
    ICommunication* seen = nullptr;
    m_communication.hook = [&] { seen = m_device.m_data.pCommunication; };
    m_device.UpdataCommunication(&m_communication);
    EXPECT_EQ(seen, &m_communication);
}

TEST_F(DriverObjectTest, DeviceIsAnnouncedBeforeEachOperation)
{
    m_device.UpdataCommunication(&m_communication);
    double value = 1.5;
    m_communication.hook = [this] {
        EXPECT_EQ(sizes(), (std::vector<int>{0, 0, 0})) << "before anything else";
        m_communication.hook = nullptr;
    };
    collectAll();
    m_device.DevIOCtrl("REFRESH");
    m_device.WriteChannel(0, DATATYPE_DOUBLE, &value);
    EXPECT_EQ(m_communication.devices, (std::vector<std::string>{"VPN_1", "VPN_1", "VPN_1"}));

    m_device.CollectDevData(nullptr, 3);
    m_device.DevIOCtrl(nullptr);
    m_device.WriteChannel(-1, DATATYPE_DOUBLE, &value);
    m_device.WriteChannel(0, DATATYPE_DOUBLE, nullptr);
    EXPECT_EQ(m_communication.devices.size(), 3u);

    OpenDevCtrl unconnected("VPN_2", nullptr);
    unconnected.UpdataCommunication(&m_communication);
    const int wanted = 1;
    EXPECT_EQ(unconnected.CollectDevData(&wanted, 1), -3);
    EXPECT_EQ(m_communication.devices.back(), "VPN_2") << "also without a database";
}

TEST_F(DriverObjectTest, AnnouncedNameStaysWhereItIsWhateverTheHostWritesThere)
{
    m_device.UpdataCommunication(&m_communication);
    m_device.DevIOCtrl("REFRESH");
    char* const kept = m_communication.buffers.back();
    EXPECT_EQ(kept, static_cast<const char*>(m_device.m_data.strDevName));
    EXPECT_STREQ(kept, "VPN_1") << "what the host has written during the call is gone";

    const std::string scribbles[] = {"#", std::string("VP\0", 3), "12345",
                                     std::string("12345\0", 6), std::string(6, '\0')};
    for (const std::string& scribble : scribbles) {
        scribble.copy(kept, scribble.size());
        collectAll();
        EXPECT_EQ(m_communication.devices.back(), "VPN_1");
        EXPECT_EQ(m_communication.buffers.back(), kept);
        EXPECT_STREQ(m_device.m_data.strDevName, "VPN_1");
        EXPECT_EQ(m_device.m_data.strDevName.GetLength(), 5);
    }
    m_device.CleanupDevice();
    EXPECT_STREQ(kept, "VPN_1") << "as long as the object";
}

TEST_F(DriverObjectTest, NameThatAHostRaisedOverIsRestoredByTheNextCall)
{
    m_device.UpdataCommunication(&m_communication);
    m_communication.hook = scripted::raiseOther;
    m_device.DevIOCtrl("REFRESH");
    EXPECT_STREQ(m_device.m_data.strDevName, "#PN_1");
    m_communication.hook = nullptr;
    m_device.DevIOCtrl("REFRESH");
    EXPECT_EQ(m_communication.devices.back(), "VPN_1");
    EXPECT_STREQ(m_device.m_data.strDevName, "VPN_1");
}

TEST_F(DriverObjectTest, CommandReturnsTheCodeAndPublishesNothing)
{
    init();
    service().acknowledges("checkCommState");
    EXPECT_EQ(m_device.DevIOCtrl(nullptr), kStatusFailed);
    EXPECT_EQ(m_device.DevIOCtrl("REFRESH"), 5);
    EXPECT_EQ(m_device.DevIOCtrl("REFRESH()"), 0);
    EXPECT_EQ(m_device.m_arrValues[0], 0.0);
    EXPECT_EQ(m_device.DevIOCtrl("ORVA_WRITE(9)"), -1);
    EXPECT_TRUE(host().published.empty());
}

TEST_F(DriverObjectTest, CommandOnAFreshObjectMakesOneElementAndKeepsAnEarlierSize)
{
    m_device.DevIOCtrl("");
    EXPECT_EQ(m_device.m_arrFlags.GetSize(), 1);
    EXPECT_EQ(m_device.m_nChannelCount, 0);
    collectAll();
    m_device.DevIOCtrl("REFRESH()");
    EXPECT_EQ(sizes(), (std::vector<int>{11, 11, 11}));
    EXPECT_EQ(m_device.m_nChannelCount, 10);
}

TEST_F(DriverObjectTest, InitCollectDataRefusesAHugeCountBeforeItReadsAFlag)
{
    const int one = 1;
    CArray<int, int> flags;
    CArray<double, double> values;
    CStringArray strings;
    for (const int n : {1000001, INT_MAX}) {
        EXPECT_THROW(m_device._InitCollectData(&one, n, flags, values, strings), std::bad_alloc);
        EXPECT_EQ(flags.GetSize(), 0);
    }
    const std::vector<int> most(1000000, 5);
    EXPECT_EQ(m_device._InitCollectData(most.data(), 1000000, flags, values, strings), 0);
    EXPECT_EQ(flags.GetSize(), 1000001);
    EXPECT_EQ(flags[1000000], 5);
}

TEST_F(DriverObjectTest, InitCollectDataWritesTheFlagsItself)
{
    const int channels[] = {1, 0, 3};
    CArray<int, int> flags;
    CArray<double, double> values;
    CStringArray strings;
    EXPECT_EQ(m_device._InitCollectData(nullptr, 3, flags, values, strings), kStatusNoRtdb);
    EXPECT_EQ(m_device._InitCollectData(channels, 0, flags, values, strings), kStatusNoRtdb);
    m_device.m_pRtdb = nullptr;
    EXPECT_EQ(m_device._InitCollectData(channels, 3, flags, values, strings), kStatusNoRtdb);
    EXPECT_EQ(flags.GetSize(), 0);
    m_device.m_pRtdb = &m_host;

    EXPECT_EQ(m_device._InitCollectData(channels, 3, flags, values, strings), 0);
    ASSERT_EQ(flags.GetSize(), 4) << "grown when shorter";
    for (const auto& [index, flag] : {std::pair{0, 1}, {1, 1}, {2, 0}, {3, 3}}) {
        EXPECT_EQ(flags[index], flag);
    }
    flags.SetSize(6);
    flags[5] = 9;
    m_device._InitCollectData(channels, 3, flags, values, strings);
    EXPECT_EQ(flags.GetSize(), 6) << "and left alone when longer";
    EXPECT_EQ(flags[5], 9);
    EXPECT_EQ(values.GetSize(), 0);
    EXPECT_EQ(strings.GetSize(), 0);
}
