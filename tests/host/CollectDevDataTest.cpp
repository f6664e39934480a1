#include "tests/host/HostFixture.h"

#include <limits>

class CollectDevDataTest : public HostTest
{
protected:
    CollectDevDataTest()
    {
        service().answersAll();
        init();
    }
    using Published = std::vector<std::pair<int, scripted::FakeRtdb::Value>>;
};

TEST_F(CollectDevDataTest, NothingToCollectGivesZero)
{
    const int wanted = 1;
    EXPECT_EQ(m_device.CollectDevData(nullptr, 10), 0);
    EXPECT_EQ(m_device.CollectDevData(&wanted, 0), 0);
    EXPECT_EQ(m_device.m_nChannelCount, -1);
}

TEST_F(CollectDevDataTest, CycleReturnsTheCodeAndPublishesByType)
{
    service().answersAll(1);
    EXPECT_EQ(collectAll(), 7);
    const std::string text[] = {"vpn.example.com", "10.8.0.2", "panel 7",
                                "SN-0001",         "example1", "exampleuser"};
    EXPECT_EQ(host().published, (Published{{0, text[0]},
                                           {1, 1194},
                                           {2, text[1]},
                                           {3, 30},
                                           {4, text[2]},
                                           {5, 1},
                                           {6, 5},
                                           {7, text[3]},
                                           {8, text[4]},
                                           {9, text[5]}}));
}

TEST_F(CollectDevDataTest, HostMayTakeNumbersAsDoubles)
{
    host().channelTypes[1] = DATATYPE_DOUBLE;
    const int wanted[] = {0, 1};
    m_device.CollectDevData(wanted, 2);
    EXPECT_EQ(host().published, (Published{{1, 1194.0}}));
}

TEST_F(CollectDevDataTest, AChannelOfTheOtherKindIsPublishedEmpty)
{
    host().channelTypes[0] = DATATYPE_INT;
    host().channelTypes[1] = DATATYPE_STRING;
    host().channelTypes[2] = DATATYPE_DOUBLE;
    EXPECT_EQ(collectAll(3), 0);
    EXPECT_EQ(host().published, (Published{{0, 0}, {1, ""}, {2, 0.0}}));
}

TEST_F(CollectDevDataTest, NoDatabaseGivesMinusThreeAfterTheArraysAreSized)
{
    OpenDevCtrl device("VPN_1", nullptr);
    const int wanted[] = {1, 1, 1};
    EXPECT_EQ(device.CollectDevData(wanted, 3), -3);
    EXPECT_EQ(device.m_arrFlags.GetSize(), 4);
    EXPECT_EQ(device.m_arrValues.GetSize(), 4);
    EXPECT_EQ(device.m_arrStrings.GetSize(), 4);
    EXPECT_EQ(device.m_arrFlags[0], 0);
    EXPECT_TRUE(service().events.empty());
}

TEST_F(CollectDevDataTest, CollectingBeforeInitialisationGivesNoService)
{
    OpenDevCtrl device("VPN_1", &m_host);
    const int wanted[] = {1, 1, 1};
    EXPECT_EQ(device.CollectDevData(wanted, 3), 1);
    EXPECT_TRUE(host().published.empty());
}

TEST_F(CollectDevDataTest, FlagsAreTheHostsBehindAResultSlotThatIsAlwaysRequested)
{
    const int wanted[] = {0, 0, 0, 0, 0, 0, 2};
    EXPECT_EQ(m_device.CollectDevData(wanted, 7), 0);
    EXPECT_EQ(m_device.m_arrFlags[0], 1);
    EXPECT_EQ(m_device.m_arrFlags[7], 2);
    EXPECT_EQ(service().calls, (scripted::Calls{"getDeviceVPNInfo", "getVPNEnabled"}));
    EXPECT_TRUE(host().published.empty());
}

TEST_F(CollectDevDataTest, NegativeCountOnAFreshObjectCollectsNothing)
{
    const int wanted = 1;
    EXPECT_EQ(m_device.CollectDevData(&wanted, -1), 0);
    EXPECT_EQ(sizes(), (std::vector<int>{0, 0, 0}));
    EXPECT_TRUE(service().events.empty());
    EXPECT_EQ(m_device.CollectDevData(&wanted, -2), 0);
    EXPECT_EQ(sizes(), (std::vector<int>{1, 1, 1}));
}

TEST_F(CollectDevDataTest, HugeCountIsAFailureThatReadsNoFlag)
{
    const int wanted = 1;
    EXPECT_EQ(m_device.CollectDevData(&wanted, 2147483647), kStatusFailed);
    EXPECT_EQ(m_device.CollectDevData(&wanted, 1000001), kStatusFailed);
    EXPECT_TRUE(host().published.empty());
}

TEST_F(CollectDevDataTest, FlagsShorterThanTheValueArraysBoundTheCycle)
{
    EXPECT_EQ(collectAll(3), 0);
    m_device.DevIOCtrl("REFRESH");
    EXPECT_EQ(sizes(), (std::vector<int>{4, 11, 11}));
    host().published.clear();
    EXPECT_EQ(collectAll(3), 0);
    EXPECT_EQ(host().published.size(), 3u);
}

TEST_F(CollectDevDataTest, FlagsLongerThanTheValueArraysArePublishedOnlyWhereThereIsAValue)
{
    std::vector<int> wanted(20, 1);
    m_device.CollectDevData(wanted.data(), 20);
    m_device.DevIOCtrl("REFRESH");
    EXPECT_EQ(sizes(), (std::vector<int>{21, 11, 11}));
    for (int i = 0; i < 20; ++i) host().channelTypes[i] = static_cast<DATATYPE>(1 + i % 3);
    wanted[14] = 3;
    wanted[15] = 3;
    wanted[16] = 3;
    host().published.clear();
    EXPECT_EQ(m_device.CollectDevData(wanted.data(), 20), 0);
    ASSERT_EQ(host().published.size(), 10u);
    EXPECT_EQ(host().published.back().first, 9);
}

TEST_F(CollectDevDataTest, OnlyReadyChannelsWithAKnownTypeArePublished)
{
    m_device._InitValueArray(4);
    for (int i = 0; i <= 4; ++i) {
        m_device.m_arrFlags[i] = 3;
        m_device.m_arrValues[i] = 10.0 + i;
    }
    for (const int flag : {0, 1, 2, 4, -1}) {
        m_device.m_arrFlags[2] = flag;
        host().published.clear();
        host().channelTypes = {{0, DATATYPE_INT}, {1, DATATYPE_INT}, {3, static_cast<DATATYPE>(4)}};
        EXPECT_EQ(m_device._SetValueToRtdb(m_device.m_arrFlags, m_device.m_arrValues,
                                           m_device.m_arrStrings),
                  0);
        EXPECT_EQ(host().published, (Published{{0, 11}}))
            << "2 is not ready, 3 has no type, 4 an unknown one, and the index is one less";
    }
}

TEST_F(CollectDevDataTest, PublishingNeedsADatabaseAndAChannel)
{
    CArray<int, int> flags;
    CArray<double, double> values;
    CStringArray strings;
    flags.SetSize(1);
    flags[0] = 3;
    EXPECT_EQ(m_device._SetValueToRtdb(flags, values, strings), 0);
    m_device.m_pRtdb = nullptr;
    EXPECT_EQ(m_device._SetValueToRtdb(flags, values, strings), kStatusNoRtdb);
    m_device.m_pRtdb = &m_host;
}

TEST_F(CollectDevDataTest, NumbersArePublishedTruncatedAndSaturated)
{
    struct Row {
        double value;
        int published;
    };
    host().channelTypes = {{0, DATATYPE_INT}};
    for (const Row& row :
         {Row{2.9, 2}, Row{-2.9, -2}, Row{1e300, 2147483647}, Row{-1e300, -2147483647 - 1},
          Row{std::numeric_limits<double>::quiet_NaN(), 0}}) {
        m_device._InitValueArray(1);
        m_device.m_arrFlags[1] = 3;
        m_device.m_arrValues[1] = row.value;
        host().published.clear();
        m_device._SetValueToRtdb(m_device.m_arrFlags, m_device.m_arrValues, m_device.m_arrStrings);
        EXPECT_EQ(host().published, (Published{{0, row.published}})) << row.value;
    }
}

TEST_F(CollectDevDataTest, FailedCycleStillPublishesWhatWasWritten)
{
    service().fails("getProductSn");
    testing::internal::CaptureStdout();
    EXPECT_EQ(collectAll(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "loadData[159] failed with: scripted-fault\n");
    EXPECT_EQ(host().published.size(), 7u);
}

TEST_F(CollectDevDataTest, StatusOfAPublishingCallIsIgnored)
{
    host().status = 42;
    EXPECT_EQ(collectAll(), 0);
    EXPECT_EQ(host().published.size(), 10u);
}

TEST_F(CollectDevDataTest, TypeThatTheHostLeavesUntouchedPublishesNothing)
{
    struct SilentHost : scripted::FakeRtdb {
        int GetChannelType(int, DATATYPE*) override { return 0; }
    } silent;
    m_device.m_pRtdb = &silent;
    EXPECT_EQ(collectAll(), 0);
    EXPECT_TRUE(silent.published.empty());
    m_device.m_pRtdb = &m_host;
}

TEST_F(CollectDevDataTest, NegativeCountOnASizedObjectCollectsForTheResultAlone)
{
    collectAll();
    for (int i = 1; i <= 10; ++i) m_device.m_arrFlags[i] = 0;
    host().published.clear();
    service().answersAll(1);
    const int wanted = 1;
    EXPECT_EQ(m_device.CollectDevData(&wanted, -3), 7);
    EXPECT_TRUE(host().published.empty());
}

TEST_F(CollectDevDataTest, HostThatComesBackWhilePublishingMeetsArraysOfAnotherSize)
{
    host().hook = [this] {
        const int one = 1;
        m_device.ChannelRefChange(&one, 1);
    };
    EXPECT_EQ(collectAll(), 0);
    EXPECT_EQ(m_device.m_arrFlags.GetSize(), 2);
    EXPECT_EQ(host().published.size(), 1u);

    host().published.clear();
    host().hook = [this] {
        m_device._InitValueArray(12);
        m_device.m_arrFlags[12] = 3;
        m_device.m_arrValues.SetSize(0);
        host().channelTypes[11] = DATATYPE_STRING;
    };
    const int one = 1;
    EXPECT_EQ(m_device.CollectDevData(&one, 1), 0);
    ASSERT_EQ(host().published.size(), 2u) << "the size is read anew after each element";
    EXPECT_EQ(host().published[1].first, 11);
}

TEST_F(CollectDevDataTest, CodeOfTheCycleSurvivesACommandThatTheHostRunsWhilePublishing)
{
    service().answersAll(1);
    host().hook = [this] { EXPECT_EQ(m_device.DevIOCtrl("NONSENSE"), 5); };
    EXPECT_EQ(collectAll(), 7);
}

TEST_F(CollectDevDataTest, WatchdogThatDropsTheConnectionEndsTheCycle)
{
    service().answers["getDeviceVPNInfo"].takesMs = 20000;
    service().atWatchdog = [this] {
        service().atWatchdog = nullptr;
        service().fails("checkCommState");
        m_device.DevIOCtrl("REFRESH()");
    };
    testing::internal::CaptureStdout();
    EXPECT_EQ(collectAll(), 1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "mfDevIOCtrl[293] failed with: scripted-fault\n"
              "loadData[159] failed with: loadData-interrupted\n");
    EXPECT_EQ(service().calls, (scripted::Calls{"getDeviceVPNInfo", "checkCommState"}));
}

TEST_F(CollectDevDataTest, TheWatchdogHearsNothingOfASlowServiceForThirtySeconds)
{
    service().answers["getDeviceVPNInfo"].takesMs = 10000;
    service().fails("getVPNEnabled").takesMs = 10000;
    service().answers["getVpnState"].takesMs = 10000;
    const std::int64_t beginMs = service().tickMs;
    std::vector<std::int64_t> reportsMs;
    service().atWatchdog = [&] { reportsMs.push_back(service().tickMs - beginMs); };
    EXPECT_EQ(collectAll(), 0);
    EXPECT_EQ(reportsMs, std::vector<std::int64_t>{30000});
}

TEST_F(CollectDevDataTest, CyclesOfOtherDevicesCanKeepAWholeSlowCycleFromTheWatchdog)
{
    OpenDevCtrl other("VPN_2", &m_host);
    const int wanted[] = {1};
    for (auto& [method, answer] : service().answers) {
        answer.takesMs = 10000;
        answer.atSync = [&] { other.CollectDevData(wanted, 1); };
    }
    const std::int64_t beginMs = service().tickMs;
    EXPECT_EQ(collectAll(), 0);
    EXPECT_EQ(service().tickMs - beginMs, 60000);
    EXPECT_EQ(service().watchdogReports, 0);
}

TEST_F(CollectDevDataTest, CommandsAndWritesFeedNoWatchdog)
{
    collectAll();  // which begins to count the time
    service().answers["getDeviceVPNInfo"].takesMs = 10000;
    service().answer("setServerIPAndPort", 0).takesMs = 10000;
    service().answer("setVPNPassword", 0).takesMs = 10000;
    host().variables["r"] = -1;
    EXPECT_EQ(m_device.DevIOCtrl("SETVPNSERVER(,,r)"), 0);
    char password[] = "abc123";
    EXPECT_EQ(m_device.WriteChannel(8, DATATYPE_STRING, password), 0);
    EXPECT_EQ(service().watchdogReports, 0);
}
