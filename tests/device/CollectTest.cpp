#include "tests/device/DeviceFixture.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

using scripted::Calls;

class CollectTest : public DeviceTest
{
protected:
    // Flags as the driver object sets them: the result slot and the given channels.
    std::vector<int> requesting(const std::vector<int>& channels, int size = 11)
    {
        std::vector<int> flags(static_cast<std::size_t>(size), 0);
        for (const int channel : channels) flags[static_cast<std::size_t>(channel)] = 1;
        return flags;
    }
    static std::vector<int> all(int size = 11)
    {
        return std::vector<int>(static_cast<std::size_t>(size), 1);
    }
    int collect(const std::vector<int>& flags, int values = 11)
    {
        record();
        m_flags.SetSize(static_cast<int>(flags.size()));
        for (int i = 0; i < m_flags.GetSize(); ++i) m_flags[i] = flags[static_cast<std::size_t>(i)];
        m_numbers.SetSize(values);
        m_texts.SetSize(values);
        return CDevBas::mfCollectDevData(m_data, m_flags, m_numbers, m_texts);
    }
    double number(int channel) const { return m_numbers[channel]; }
    std::string text(int channel) const { return std::string(m_texts[channel]); }
    std::vector<int> ready() const
    {
        std::vector<int> channels;
        for (int i = 0; i < m_flags.GetSize(); ++i) {
            if (m_flags[i] == 3) channels.push_back(i);
        }
        return channels;
    }
};

TEST_F(CollectTest, FullCycleFillsAllTenChannels)
{
    service().answersAll();
    EXPECT_EQ(collect(all()), 0);
    EXPECT_EQ(text(1), "vpn.example.com");
    EXPECT_EQ(number(2), 1194.0);
    EXPECT_EQ(text(3), "10.8.0.2");
    EXPECT_EQ(number(4), 30.0);
    EXPECT_EQ(text(5), "panel 7");
    EXPECT_EQ(number(6), 1.0);
    EXPECT_EQ(number(7), 5.0);
    EXPECT_EQ(text(8), "SN-0001");
    EXPECT_EQ(text(9), "example1");
    EXPECT_EQ(text(10), "exampleuser");
    EXPECT_EQ(ready(), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_EQ(m_flags[0], 1) << "the result slot is nobody's channel";
    EXPECT_EQ(service().calls, (Calls{"getDeviceVPNInfo", "getVPNEnabled", "getVpnState",
                                      "getProductSn", "getVPNPassword", "getVPNUserName"}));
}

TEST_F(CollectTest, EachGroupHasAClientOfItsOwnThatIsGoneBeforeTheNext)
{
    service().answersAll();
    connect();
    collect(all());
    EXPECT_EQ(service().events,
              (scripted::Events{"online", "online",  //
                                "client", "call getDeviceVPNInfo", "call getVPNEnabled",
                                "client gone", "client", "call getVpnState", "client gone",  //
                                "client", "call getProductSn", "client gone",                //
                                "client", "call getVPNPassword", "client gone",              //
                                "client", "call getVPNUserName", "client gone"}));
}

TEST_F(CollectTest, EmptyFlagsGiveZeroWithoutAServiceCall)
{
    EXPECT_EQ(collect({}), 0);
    EXPECT_TRUE(service().calls.empty());
    EXPECT_EQ(service().connectionsAlive, 1) << "the connection is made first";
}

TEST_F(CollectTest, NoRecordGivesNoService)
{
    m_flags.SetSize(3);
    EXPECT_EQ(CDevBas::mfCollectDevData(m_data, m_flags, m_numbers, m_texts), 1);
    EXPECT_TRUE(service().events.empty());
}

TEST_F(CollectTest, NoConnectionGivesOneAndWritesNothing)
{
    service().onlineAnswers = {false};
    EXPECT_EQ(collect(all()), 1);
    EXPECT_TRUE(ready().empty());
    EXPECT_TRUE(service().calls.empty());
}

TEST_F(CollectTest, StateChannelAloneAsksOnlyForTheState)
{
    service().answer("getVpnState", 2);
    EXPECT_EQ(collect(requesting({7})), 0);
    EXPECT_EQ(number(7), 2.0);
    EXPECT_EQ(service().calls, Calls{"getVpnState"});
}

TEST_F(CollectTest, ResultSlotAloneAsksForTheStatus)
{
    service().answersAll(1);
    EXPECT_EQ(collect(requesting({0})), 7);
    EXPECT_EQ(service().calls, (Calls{"getDeviceVPNInfo", "getVPNEnabled"}));
    EXPECT_TRUE(ready().empty());
}

TEST_F(CollectTest, EachOfTheFirstSixChannelsAsksForTheStatus)
{
    for (int channel = 1; channel <= 6; ++channel) {
        orva_device::SvrExitDevRun(m_data);
        scripted::resetService();
        service().answersAll(2);
        EXPECT_EQ(collect(requesting({channel})), 8) << channel;
        EXPECT_EQ(ready(), std::vector<int>{channel});
    }
}

TEST_F(CollectTest, SevenFlagsNeverFetchChannelsSevenToTen)
{
    service().answersAll();
    EXPECT_EQ(collect(all(7)), 0);
    EXPECT_EQ(service().calls, (Calls{"getDeviceVPNInfo", "getVPNEnabled"}));
}

TEST_F(CollectTest, FlagsEndTheCycleWhereTheyEnd)
{
    const Calls order{"getDeviceVPNInfo", "getVPNEnabled",  "getVpnState",
                      "getProductSn",     "getVPNPassword", "getVPNUserName"};
    for (int size = 1; size <= 11; ++size) {
        orva_device::SvrExitDevRun(m_data);
        scripted::resetService();
        service().answersAll();
        EXPECT_EQ(collect(all(size)), 0);
        const std::size_t calls = size <= 7 ? 2u : static_cast<std::size_t>(size) - 5u;
        EXPECT_EQ(service().calls, Calls(order.begin(), order.begin() + static_cast<int>(calls)))
            << size;
    }
}

TEST_F(CollectTest, StatusBecomesTheResultAndTheFallbackOfTheEnableChannel)
{
    struct Row {
        int status, code;
        double fallback;
    };
    for (const Row& row :
         {Row{0, 0, 1}, Row{1, 7, 1}, Row{2, 8, 1}, Row{3, 10, 0}, Row{4, 20, 1}, Row{5, 20, 1},
          Row{-1, 20, 1}, Row{-2147483647 - 1, 20, 1}, Row{2147483647, 20, 1}}) {
        service().answersAll(row.status);
        service().fails("getVPNEnabled");
        EXPECT_EQ(collect(all()), row.code) << row.status;
        EXPECT_EQ(number(6), row.fallback) << row.status;
        EXPECT_EQ(ready().size(), 10u);
    }
}

TEST_F(CollectTest, EnableChannelFollowsTheServiceNotTheStatus)
{
    service().answersAll(3);
    service().answer("getVPNEnabled", true);
    EXPECT_EQ(collect(all()), 10);
    EXPECT_EQ(number(6), 1.0);
    service().answersAll(0);
    service().answer("getVPNEnabled", false);
    EXPECT_EQ(collect(all()), 0);
    EXPECT_EQ(number(6), 0.0);
}

TEST_F(CollectTest, FailedEnableQueryIsSilentAndKeepsTheConnection)
{
    service().answersAll();
    service().fails("getVPNEnabled");
    connect();
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(collect(all()), 0); }), "");
    EXPECT_EQ(service().count("stop"), 0);
    EXPECT_EQ(service().connectionsAlive, 1);
}

TEST_F(CollectTest, WatchdogFailureAfterTheEnableQueryLeavesTheFallback)
{
    service().answersAll(0);
    service().answer("getVPNEnabled", false).takesMs = 10001;
    service().atWatchdog = scripted::raiseNetException;
    EXPECT_EQ(collect(all()), 0);
    EXPECT_EQ(number(6), 1.0);
}

TEST_F(CollectTest, OtherExceptionOfTheEnableQueryPasses)
{
    service().answersAll();
    service().fails("getVPNEnabled", scripted::raiseOther);
    EXPECT_THROW(collect(all()), std::runtime_error);
}

TEST_F(CollectTest, DefaultOfSixChannelsFetchesTheOthersButNeverWritesThem)
{
    record().nMaxChannel = 6;
    service().answersAll();
    EXPECT_EQ(collect(all()), 0);
    EXPECT_EQ(service().calls.size(), 6u);
    EXPECT_EQ(ready(), (std::vector<int>{1, 2, 3, 4, 5, 6}));
}

TEST_F(CollectTest, HighestChannelBoundsEveryWrite)
{
    for (int highest = -1; highest <= 11; ++highest) {
        record().nMaxChannel = highest;
        service().answersAll();
        collect(all());
        EXPECT_EQ(static_cast<int>(ready().size()), std::max(0, std::min(highest, 10))) << highest;
    }
}

TEST_F(CollectTest, ChannelThatIsNotRequestedIsNotOverwritten)
{
    service().answersAll();
    auto flags = all();
    flags[1] = 0;
    flags[2] = 3;
    flags[4] = 2;
    m_texts.SetSize(11);
    m_numbers.SetSize(11);
    m_texts[1] = "old";
    m_numbers[2] = 7.0;
    m_numbers[4] = 9.0;
    collect(flags);
    EXPECT_EQ(text(1), "old");
    EXPECT_EQ(number(2), 7.0);
    EXPECT_EQ(m_flags[2], 3);
    EXPECT_EQ(number(4), 9.0);
    EXPECT_EQ(m_flags[4], 2);
}

TEST_F(CollectTest, ValuesBehindShortArraysAreDropped)
{
    service().answersAll();
    EXPECT_EQ(collect(all(21), 11), 0);
    EXPECT_EQ(ready().size(), 10u);
    EXPECT_EQ(collect(all(11), 4), 0);
    EXPECT_EQ(ready(), (std::vector<int>{1, 2, 3}));
}

TEST_F(CollectTest, NoConfigurationRequestsEveryChannel)
{
    record().bNoConfig = true;
    service().answersAll();
    EXPECT_EQ(collect({0, 2, 3, 0, 1, -1, 0, 3, 2, 0, 0}), 0);
    EXPECT_EQ(ready().size(), 10u);
    EXPECT_EQ(m_flags[0], 1);
    EXPECT_EQ(collect({}), 0);
}

TEST_F(CollectTest, FailedCallEndsTheCycleWithOneLineAndADroppedConnection)
{
    const Calls order{"getDeviceVPNInfo", "getVpnState", "getProductSn", "getVPNPassword",
                      "getVPNUserName"};
    const int written[] = {0, 6, 7, 8, 9};
    for (std::size_t i = 0; i < order.size(); ++i) {
        service().answersAll();
        service().fails(order[i]);
        const std::string line = outputOf([&] { EXPECT_EQ(collect(all()), 1) << order[i]; });
        EXPECT_EQ(line, "loadData[159] failed with: scripted-fault\n");
        EXPECT_EQ(record().pDispatchClient, nullptr);
        EXPECT_EQ(service().connectionsAlive, 0);
        EXPECT_EQ(static_cast<int>(ready().size()), written[i]) << "what was written stays";
        const auto& events = service().events;
        EXPECT_EQ(events[events.size() - 3], "client gone") << "no client outlives its connection";
        EXPECT_EQ(events[events.size() - 2], "stop");
        EXPECT_EQ(events.back(), "destroy");
    }
    service().answersAll();
    EXPECT_EQ(collect(all()), 0) << "the next cycle connects anew";
}

TEST_F(CollectTest, UnusableReplyIsAFailedCallToo)
{
    service().answersAll();
    service().answer("getVpnState", true);
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(collect(all()), 1); }),
              "loadData[159] failed with: GeneratedUnpack-deserialize failed\n");
}

TEST_F(CollectTest, FailingStopDoesNotHideTheFailedCall)
{
    service().answersAll();
    service().fails("getVpnState");
    service().atStop = scripted::raiseOther;
    outputOf([&] { EXPECT_EQ(collect(all()), 1); });
    EXPECT_EQ(service().connectionsAlive, 0);
}

TEST_F(CollectTest, OtherExceptionsPassAndKeepTheConnection)
{
    service().answersAll();
    service().fails("getVpnState", scripted::raiseBlockError);
    EXPECT_THROW(collect(all()), QZ::utils::deserialize_block_error);
    EXPECT_NE(record().pDispatchClient, nullptr);
}

TEST_F(CollectTest, TextFromTheServiceIsCutAtItsFirstZeroByte)
{
    service().answersAll();
    service().answer("getProductSn", std::string("SN\0hidden", 9));
    collect(all());
    EXPECT_EQ(text(8), "SN");
    EXPECT_EQ(m_texts[8].GetLength(), 2);
}

TEST_F(CollectTest, WatchdogIsFedOnceTenSecondsHavePassedAndNotBefore)
{
    service().answersAll();
    service().answers["getDeviceVPNInfo"].takesMs = 10000;
    collect(all());
    EXPECT_EQ(service().watchdogReports, 0);

    service().answers["getDeviceVPNInfo"].takesMs = 10001;
    collect(all());
    EXPECT_EQ(service().watchdogReports, 1);
    EXPECT_EQ(CDevBas::_ticks, service().tickMs);

    for (auto& [method, answer] : service().answers) answer.takesMs = 6000;
    service().watchdogReports = 0;
    collect(all());
    EXPECT_EQ(service().watchdogReports, 3) << "six calls of 6 s: every second one";
}

TEST_F(CollectTest, WatchdogIsFedBetweenACallAndWhatIsMadeOfIt)
{
    service().answersAll();
    for (auto& [method, answer] : service().answers) answer.takesMs = 20000;
    connect();
    collect(all());
    const scripted::Events& events = service().events;
    const auto position = [&](const char* event) {
        return std::find(events.begin(), events.end(), event) - events.begin();
    };
    EXPECT_EQ(events[static_cast<std::size_t>(position("call getDeviceVPNInfo")) + 1], "watchdog");
    EXPECT_EQ(service().watchdogReports, 6);

    service().answersAll();
    service().answers["getVpnState"].takesMs = 20000;
    service().atWatchdog = scripted::raiseNetException;
    outputOf([&] { EXPECT_EQ(collect(all()), 1); });
    EXPECT_EQ(ready(), (std::vector<int>{1, 2, 3, 4, 5, 6})) << "7 comes after its report";
}

TEST_F(CollectTest, TickIsTakenBeforeTheConnectionIsMade)
{
    service().atConstruction = [this] { service().tickMs += 20000; };
    service().tickMs = 1000;
    collect(all(1));
    EXPECT_EQ(CDevBas::_ticks, 1000);
}

TEST_F(CollectTest, ClientThatCanNotBeMadeIsAFailedCall)
{
    service().answersAll();
    service().atClient = scripted::raiseNetException;
    EXPECT_EQ(outputOf([&] { EXPECT_EQ(collect(all()), 1); }),
              "loadData[159] failed with: scripted-fault\n");
    EXPECT_EQ(service().connectionsAlive, 0);
}

TEST_F(CollectTest, CycleStartResetsTheTickWithoutAReport)
{
    service().answersAll();
    CDevBas::_ticks = -1000000;
    service().tickMs = 5000000;
    collect(all());
    EXPECT_EQ(service().watchdogReports, 0);
    EXPECT_EQ(CDevBas::_ticks, 5000000);
}

TEST_F(CollectTest, TickThatJumpsAcrossTheWholeRangeDoesNotOverflow)
{
    CDevBas::_ticks = INT64_MIN;
    service().tickMs = INT64_MAX;
    CDevBas::watch_dog_report();
    EXPECT_EQ(service().watchdogReports, 0);
}

TEST_F(CollectTest, GuardedSettersIgnoreWhatIsNoChannelOfTheDevice)
{
    m_flags.SetSize(4);
    m_numbers.SetSize(11);
    m_texts.SetSize(11);
    for (int i = 0; i < 4; ++i) m_flags[i] = 1;
    CDevBas::_SetValue(m_data, 1, 5.0, m_flags, m_numbers);
    EXPECT_EQ(m_flags[1], 1) << "no record";

    record().nMaxChannel = 2;
    for (const int index : {-1, 0, 3, 4, 11, 2147483647}) {
        CDevBas::_SetValue(m_data, index, 5.0, m_flags, m_numbers);
        CDevBas::_SetValue(m_data, index, CString("x"), m_flags, m_texts);
    }
    EXPECT_TRUE(ready().empty());

    record().nMaxChannel = 10;
    CDevBas::_SetValue(m_data, 5, 5.0, m_flags, m_numbers);
    EXPECT_EQ(m_numbers[5], 0.0) << "behind the flags";
    CDevBas::_SetValue(m_data, 2, 5.0, m_flags, m_numbers);
    CDevBas::_SetValue(m_data, 3, CString("x"), m_flags, m_texts);
    EXPECT_EQ(ready(), (std::vector<int>{2, 3}));
    CDevBas::_SetValue(m_data, 2, 6.0, m_flags, m_numbers);
    EXPECT_EQ(m_numbers[2], 5.0) << "no longer requested";
}
