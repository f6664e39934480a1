#include "tests/service/ServiceCalls.h"

#include <limits>
#include <string>

// Start and stop, on and off, servers.
namespace
{

using raw::args;
using raw::boolean;
using raw::integer;
using raw::string;

TEST_F(VpnServiceTest, TheDefaultsShowSomethingInEveryChannel)
{
    connected();
    EXPECT_EQ(call("getDeviceVPNInfo"),
              raw::text("DeviceVPNInfo") + raw::i32(0) + raw::text("vpn.example.com") +
                  raw::i32(1194) + raw::text("panel") + raw::text("10.8.0.6") + raw::i32(30));
    EXPECT_EQ(call("getServerIP"), string("vpn.example.com"));
    EXPECT_EQ(call("getVPNEnabled"), boolean(true));
    EXPECT_EQ(call("getVpnState"), integer(5));
    EXPECT_EQ(call("getProductSn"), string("ORVA-000001"));
    EXPECT_EQ(call("getVPNPassword"), string("example123"));
    EXPECT_EQ(call("getVPNUserName"), string("exampleuser"));
    EXPECT_EQ(call("hasPassword"), boolean(true));
}

TEST_F(VpnServiceTest, StatusAndStateGoTogetherFromStartToStop)
{
    EXPECT_EQ(state(), 2);
    EXPECT_EQ(status(), 2);
    pass(400);
    EXPECT_EQ(state(), 3);
    EXPECT_EQ(status(), 2);
    pass(350);
    EXPECT_EQ(state(), 4);
    EXPECT_EQ(status(), 2);
    EXPECT_EQ(info().vpnIP, "");
    pass(250);
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(status(), 0);
    EXPECT_EQ(info().vpnIP, "10.8.0.6");
    EXPECT_EQ(call("stopVPN"), kDone);
    EXPECT_EQ(state(), 7);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(info().vpnIP, "");
    pass(300);
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(call("stopVPN"), kDone);
}

TEST_F(VpnServiceTest, NotWantedAtTheStartItStaysIdle)
{
    vpnd::VpnSettings settings = exampleSettings();
    settings.connect = false;
    begin(settings);
    settle();
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(status(), 1);
}

TEST_F(VpnServiceTest, DisabledIsStatusThreeAndStateZeroAtOnce)
{
    connected();
    enable(false);
    EXPECT_EQ(state(), 0);
    EXPECT_EQ(status(), 3);
    EXPECT_EQ(info().vpnIP, "");
    EXPECT_EQ(call("getVPNEnabled"), boolean(false));
    settle();
    EXPECT_EQ(state(), 0);
    enable(true);
    EXPECT_EQ(status(), 2);
    settle();
    EXPECT_EQ(status(), 0);
}

TEST_F(VpnServiceTest, EnablingATunnelThatWasStoppedDoesNotStartIt)
{
    idle();
    enable(false);
    enable(true);
    settle();
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(start("vpn.example.com", 1194), kDone);
    EXPECT_EQ(state(), 2);
}

TEST_F(VpnServiceTest, EnablingWhatIsEnabledChangesNothing)
{
    connected();
    enable(true);
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(store().saves, 0);
}

TEST_F(VpnServiceTest, OffLineIsIdleAndOnLineReconnects)
{
    connected();
    EXPECT_EQ(online(false), kDone);
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(online(true), kDone);
    EXPECT_EQ(state(), 6);
    EXPECT_EQ(status(), 2);
    settle();
    EXPECT_EQ(state(), 5);
}

TEST_F(VpnServiceTest, OffLineHoldsAlsoOverDisableAndEnable)
{
    EXPECT_EQ(online(false), kDone);
    enable(false);
    enable(true);
    settle();
    EXPECT_EQ(state(), 1);
}

TEST_F(VpnServiceTest, StartIsAnsweredAtOnceAndTakesOverTheServer)
{
    idle();
    EXPECT_EQ(start("10.0.0.1", 443), kDone);
    EXPECT_EQ(state(), 2);
    EXPECT_EQ(info().serverIP, "10.0.0.1");
    EXPECT_EQ(info().serverPort, 443);
    settle();
    EXPECT_EQ(state(), 5);
}

TEST_F(VpnServiceTest, StartIsNotPossibleWhileDisabledOrOffLine)
{
    enable(false);
    EXPECT_EQ(start("10.0.0.1", 443), kNotNow);
    enable(true);
    EXPECT_EQ(online(false), kDone);
    EXPECT_EQ(start("10.0.0.1", 443), kNotNow);
    // What is wrong at any time comes first.
    EXPECT_EQ(start("10.0.0.1", 0), kInvalid);
    EXPECT_EQ(info().serverIP, "vpn.example.com");
    EXPECT_EQ(info().serverPort, 1194);
}

TEST_F(VpnServiceTest, StartWithoutCredentialsIsNotPossibleYet)
{
    vpnd::VpnSettings settings = exampleSettings();
    settings.password.clear();
    begin(settings);
    EXPECT_EQ(start("10.0.0.1", 443), kNotNow);
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(call("hasPassword"), boolean(false));
    EXPECT_EQ(check(""), boolean(false));
}

TEST_F(VpnServiceTest, StartOfARunningTunnelLeavesItAlone)
{
    connected();
    EXPECT_EQ(start("vpn.example.com", 1194), kDone);
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(start("vpn.example.com", 1195), kDone);
    EXPECT_EQ(state(), 7);
    settle();
    EXPECT_EQ(state(), 5);
}

TEST_F(VpnServiceTest, AnotherServerMovesARunningTunnelAndTheSameOneDoesNot)
{
    connected();
    EXPECT_EQ(setServer("vpn.example.com", 1194), kDone);
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(store().saves, 0);
    EXPECT_EQ(setServer("2001:db8::1", 65535), kDone);
    EXPECT_EQ(state(), 7);
    EXPECT_EQ(call("getServerIP"), string("2001:db8::1"));
    EXPECT_EQ(info().serverPort, 65535);
    settle();
    EXPECT_EQ(state(), 5);
}

TEST_F(VpnServiceTest, ServerOfAnIdleTunnelIsStoredOnly)
{
    idle();
    EXPECT_EQ(setServer("10.0.0.1", 1), kDone);
    EXPECT_EQ(state(), 1);
    enable(false);
    EXPECT_EQ(setServer("10.0.0.2", 2), kDone);
    EXPECT_EQ(info().serverIP, "10.0.0.2");
}

TEST_F(VpnServiceTest, ChangeServerIpKeepsThePort)
{
    connected();
    EXPECT_EQ(call("changeServerIP", args(string("10.9.8.7"))), kDone);
    EXPECT_EQ(info().serverIP, "10.9.8.7");
    EXPECT_EQ(info().serverPort, 1194);
    EXPECT_EQ(state(), 7);
    EXPECT_EQ(call("changeServerIP", args(string("10.9.8.7\nlog /tmp/x"))), kInvalid);
}

TEST_F(VpnServiceTest, InvalidServersChangeNothing)
{
    for (const char* address : {"", "-x", "a b", "a\nb", "10.0.0.256"}) {
        EXPECT_EQ(setServer(address, 1194), kInvalid) << address;
        EXPECT_EQ(start(address, 1194), kInvalid) << address;
        EXPECT_EQ(call("changeServerIP", args(string(address))), kInvalid) << address;
    }
    for (const int port : {0, -1, 65536, 0x000104AA, 0x010004AA, std::numeric_limits<int>::min()}) {
        EXPECT_EQ(setServer("10.0.0.1", port), kInvalid) << port;
        EXPECT_EQ(start("10.0.0.1", port), kInvalid) << port;
    }
    EXPECT_EQ(store().saves, 0);
    EXPECT_EQ(info().serverIP, "vpn.example.com");
}

TEST_F(VpnServiceTest, AnUntrustedServerIsFault102)
{
    EXPECT_EQ(setServer("untrusted.test", 1194), kDone);
    settle();
    EXPECT_EQ(state(), 102);
    EXPECT_EQ(status(), 4);
    enable(false);
    EXPECT_EQ(state(), 0);
    EXPECT_EQ(status(), 3);
}

TEST_F(VpnServiceTest, ALookAtTheConnectionEndsAWait)
{
    EXPECT_EQ(setServer("vpn.invalid", 1194), kDone);
    pass(300 + 5000);
    EXPECT_EQ(state(), 6);
    EXPECT_EQ(status(), 2);
    EXPECT_EQ(call("checkCommState"), "");
    EXPECT_EQ(state(), 2);
}

}  // namespace
