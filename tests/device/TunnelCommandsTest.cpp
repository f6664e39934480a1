#include "tests/device/CommandFixture.h"

#include <cmath>

class TunnelCommandsTest : public CommandTest
{
};

TEST_F(TunnelCommandsTest, SetVpnCa)
{
    refuses({{"SETVPNCA(r)"}, {"SETVPNCA(a,b,r)"}, {"SETVPNCA(a,t)"}, {"SETVPNCA(a,none)"}});
    sends("setVPNCA", {{"SETVPNCA(literal,r)", one(textArgument("literal"))},
                       {"SETVPNCA(t,r)", one(textArgument("text12"))},
                       {"SETVPNCA(i,r)", one(textArgument("i"))},
                       {"SETVPNCA(d,r)", one(textArgument("d"))},
                       {"SETVPNCA(,r)", one(textArgument(""))}});
    maps("setVPNCA", "SETVPNCA(t,r)", {{0, 0}, {1, 4}, {2, 4}, {3, 4}, {-1, 4}});
    failsWithTheService("setVPNCA", "SETVPNCA(t,r)");
}

TEST_F(TunnelCommandsTest, StopVpn)
{
    refuses({{"STOPVPN(r,x)"}, {"STOPVPN()"}, {"STOPVPN(t)"}, {"STOPVPN(none)"}, {"STOPVPN(o)"}});
    sends("stopVPN", {{"STOPVPN(r)", encoded(0)}});
    maps("stopVPN", "STOPVPN(r)", {{0, 0}, {1, 4}, {2, 4}, {3, 4}, {-1, 4}});
    failsWithTheService("stopVPN", "STOPVPN(r)");
}

TEST_F(TunnelCommandsTest, SetDeviceSn)
{
    refuses({{"SETDEVICESN(r)"},
             {"SETDEVICESN(a,b,r)"},
             {"SETDEVICESN(a,t)"},
             {"SETDEVICESN(a,none)"},
             {"SETDEVICESN(i,r)", 5},
             {"SETDEVICESN(d,r)", 5}});
    sends("setDeviceSn", {{"SETDEVICESN(SN-77,r)", one(textArgument("SN-77"))},
                          {"SETDEVICESN(t,r)", one(textArgument("text12"))},
                          {"SETDEVICESN(,r)", one(textArgument(""))}});
    maps("setDeviceSn", "SETDEVICESN(t,r)",
         {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {-1, 0, 0}});
    failsWithTheService("setDeviceSn", "SETDEVICESN(t,r)");
}

TEST_F(TunnelCommandsTest, SetAliveTime)
{
    refuses({{"SETALIVETIME(r)"},
             {"SETALIVETIME(1,2,r)"},
             {"SETALIVETIME(1,t)"},
             {"SETALIVETIME(1,none)"},
             {"SETALIVETIME(abc,r)", 5},
             {"SETALIVETIME(12.5,r)", 5},
             {"SETALIVETIME(,r)", 5},
             {"SETALIVETIME(t,r)", 5},
             {"SETALIVETIME(5 5,r)", 5}});
    sends("setBeatInterval", {{"SETALIVETIME(30,r)", one(intArgument(30))},
                              {"SETALIVETIME(-30,r)", one(intArgument(-30))},
                              {"SETALIVETIME(0,r)", one(intArgument(0))},
                              {"SETALIVETIME(99999999999,r)", one(intArgument(2147483647))},
                              {"SETALIVETIME(i,r)", one(intArgument(7))},
                              {"SETALIVETIME(d,r)", one(intArgument(8))}});
    maps("setBeatInterval", "SETALIVETIME(30,r)", {{0, 0}, {1, 5}, {2, 5}, {3, 5}, {-1, 5}});
    failsWithTheService("setBeatInterval", "SETALIVETIME(30,r)");
}

TEST_F(TunnelCommandsTest, Refresh)
{
    for (const char* text : {"REFRESH()", "REFRESH(anything)", "REFRESH(a,b,c)", "refresh( )"}) {
        reset();
        EXPECT_EQ(command(text), 0) << text;
        EXPECT_EQ(service().calls, scripted::Calls{"checkCommState"});
        EXPECT_EQ(lastSent(), encoded(0));
        ASSERT_FALSE(service().timeOutsMs.empty());
        EXPECT_EQ(service().timeOutsMs.back(), 3000u);
        EXPECT_EQ(resultVariable(), kUntouched);
    }
    maps("checkCommState", "REFRESH()",
         {{0, 0, kUntouched},
          {1, 0, kUntouched},
          {2, 0, kUntouched},
          {3, 0, kUntouched},
          {-1, 0, kUntouched}});
    failsWithTheService("checkCommState", "REFRESH()");
}

TEST_F(TunnelCommandsTest, Enable)
{
    refuses({{"Enable(r)"},
             {"Enable(on,on,r)"},
             {"Enable(on,t)"},
             {"Enable(on,none)"},
             {"Enable(1,r)", 5},
             {"Enable(none,r)", 5},
             {"Enable(t,r)", 5},
             {"Enable(,r)", 5},
             {"Enable(o,r)", 5},
             {"Enable(on,o)"}});
    sends("setVPNEnabled", {{"Enable(on,r)", one(boolArgument(true))},
                            {"Enable(off,r)", one(boolArgument(false))},
                            {"Enable(d,r)", one(boolArgument(true))}});
    maps("setVPNEnabled", "Enable(on,r)", {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {-1, 0, 0}});
    failsWithTheService("setVPNEnabled", "Enable(on,r)");
}

TEST_F(TunnelCommandsTest, EnableTakesALiteralOnlyWhereAVariableHasThatName)
{
    m_host.variables["1"] = 0;
    EXPECT_EQ(command("Enable(1,r)"), 0);
    EXPECT_EQ(lastSent(), one(boolArgument(false)));
}

TEST_F(TunnelCommandsTest, EnableRoundsItsSwitch)
{
    struct Row {
        double value;
        bool enabled;
    };
    for (const Row& row : {Row{0.49, false}, Row{0.49999999999999994, true}, Row{0.5, true},
                           Row{-0.49, false}, Row{-0.5, true}, Row{4294967296.0, true},
                           Row{4294967295.0, true}, Row{1e300, true}, Row{-1e300, true}}) {
        reset();
        m_host.variables["d"] = row.value;
        EXPECT_EQ(command("Enable(d,r)"), 0);
        EXPECT_EQ(lastSent(), one(boolArgument(row.enabled))) << row.value;
    }
}

TEST_F(TunnelCommandsTest, OnlineAndOffline)
{
    refuses({{"Online()"},
             {"Online(r,r)"},
             {"Online(t)"},
             {"Online(none)"},
             {"Offline()"},
             {"Offline(r,r)"},
             {"Offline(t)"},
             {"Offline(none)"}});
    sends("setOnline",
          {{"Online(r)", one(boolArgument(true))}, {"Offline(r)", one(boolArgument(false))}});
    for (const char* text : {"Online(r)", "Offline(r)"}) {
        maps("setOnline", text, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {-1, 0, 0}});
        failsWithTheService("setOnline", text);
    }
}

TEST_F(TunnelCommandsTest, NumberArgumentsAreTruncatedAndSaturated)
{
    struct Row {
        double value;
        int sent;
    };
    for (const Row& row : {Row{8.6, 8}, Row{-8.6, -8}, Row{1e300, 2147483647},
                           Row{-1e300, -2147483647 - 1}, Row{std::nan(""), 0}}) {
        reset();
        m_host.variables["d"] = row.value;
        EXPECT_EQ(command("SETALIVETIME(d,r)"), 0);
        EXPECT_EQ(lastSent(), one(intArgument(row.sent))) << row.value;
    }
}
