#include "tests/device/CommandFixture.h"

class ServerCommandsTest : public CommandTest
{
};

TEST_F(ServerCommandsTest, SetVpnServer)
{
    refuses({{"SETVPNSERVER()"},
             {"SETVPNSERVER(a,1)"},
             {"SETVPNSERVER(a,1,r,r)"},
             {"SETVPNSERVER(a,1,t)"},
             {"SETVPNSERVER(a,1,none)"},
             {"SETVPNSERVER(a,1,o)"},
             {"SETVPNSERVER(a,1,)"},
             {"SETVPNSERVER(a,12.5,r)", 5},
             {"SETVPNSERVER(a,port,r)", 5},
             {"SETVPNSERVER(a,t,r)", 5},
             {"SETVPNSERVER(10.0.0.1,0,r)", 1},
             {"SETVPNSERVER(10.0.0.1,65536,r)", 1},
             {"SETVPNSERVER(10.0.0.1,-1,r)", 1}});
    sends("setServerIPAndPort", {{"SETVPNSERVER(10.0.0.1,65535,r)", server("10.0.0.1", 65535)},
                                 {"SETVPNSERVER(10.0.0.1,1,r)", server("10.0.0.1", 1)},
                                 {"SETVPNSERVER(myhost,1194,r)", server("myhost", 1194)},
                                 {"SETVPNSERVER(addr,i,r)", server("10.9.8.7", 7)},
                                 {"SETVPNSERVER(addr,d,r)", server("10.9.8.7", 8)},
                                 {"SETVPNSERVER(i,d,r)", server("i", 8)},
                                 {"SETVPNSERVER(d,1,r)", server("d", 1)},
                                 {"SETVPNSERVER(empty,1194,r)", server("192.0.2.1", 1194)},
                                 {"SETVPNSERVER( a b , +22 ,r)", server("a b", 22)},
                                 {"SETVPNSERVER(,,r)", server("192.0.2.1", 443)},
                                 {"SETVPNSERVER(,1194,r)", server("192.0.2.1", 1194)},
                                 {"SETVPNSERVER(10.0.0.1,,r)", server("10.0.0.1", 443)}});
    maps("setServerIPAndPort", "SETVPNSERVER(a,1194,r)",
         {{0, 0}, {1, 5}, {2, 9}, {3, 0}, {-1, 0}, {20, 0}});
    failsWithTheService("setServerIPAndPort", "SETVPNSERVER(a,1194,r)");
    failsWithTheService("getDeviceVPNInfo", "SETVPNSERVER(,1194,r)");
}

TEST_F(ServerCommandsTest, SetVpnServerAsksForTheRecordOnlyWhenSomethingIsLeftOut)
{
    command("SETVPNSERVER(a,1,r)");
    EXPECT_EQ(service().calls, scripted::Calls{"setServerIPAndPort"});
    reset();
    command("SETVPNSERVER(,1,r)");
    EXPECT_EQ(service().calls, (scripted::Calls{"getDeviceVPNInfo", "setServerIPAndPort"}));
}

TEST_F(ServerCommandsTest, ServerCommandsRefuseWhatTheServiceItselfDoesNotKnow)
{
    for (const char* text : {"SETVPNSERVER(,,r)", "STARTVPN(,,r)"}) {
        reset();
        service().answer("getDeviceVPNInfo", DeviceVPNInfo());
        EXPECT_EQ(command(text), 5);
        EXPECT_EQ(resultVariable(), 1);
        EXPECT_EQ(service().calls, scripted::Calls{"getDeviceVPNInfo"});
    }
}

TEST_F(ServerCommandsTest, StartVpn)
{
    refuses({{"STARTVPN(10.0.0.1,1)"},
             {"STARTVPN(10.0.0.1,1,r,r)"},
             {"STARTVPN(10.0.0.1,1,t)"},
             {"STARTVPN(10.0.0.1,1,none)"},
             {"STARTVPN(10.0.0.1,1,o)"},
             {"STARTVPN(10.0.0.1,t,r)", 5},
             {"STARTVPN(d,1194,r)", 1},
             {"STARTVPN(10.0.0.1,12.5,r)", 5},
             {"STARTVPN(10.0.0.1,x,r)", 5},
             {"STARTVPN(myhost,1194,r)", 1},
             {"STARTVPN(010.0.0.1,1194,r)", 1},
             {"STARTVPN(10.1,1194,r)", 1},
             {"STARTVPN(255.255.255.255,1194,r)", 1},
             {"STARTVPN(i,1194,r)", 1},
             {"STARTVPN(10.0.0.1,0,r)", 1},
             {"STARTVPN(10.0.0.1,65536,r)", 1}});
    sends("startVPN", {{"STARTVPN(10.0.0.1,1194,r)", server("10.0.0.1", 1194)},
                       {"STARTVPN(addr,i,r)", server("10.9.8.7", 7)},
                       {"STARTVPN(addr,d,r)", server("10.9.8.7", 8)},
                       {"STARTVPN(,,r)", server("192.0.2.1", 443)},
                       {"STARTVPN(,1194,r)", server("192.0.2.1", 1194)},
                       {"STARTVPN(10.0.0.1,,r)", server("10.0.0.1", 443)}});
    maps("startVPN", "STARTVPN(10.0.0.1,1194,r)", {{0, 0}, {1, 5}, {2, 9}, {3, 0}, {-1, 0}});
    failsWithTheService("startVPN", "STARTVPN(10.0.0.1,1194,r)");
    failsWithTheService("getDeviceVPNInfo", "STARTVPN(,1194,r)");
}

TEST_F(ServerCommandsTest, WhatTheServiceFillsInIsCheckedToo)
{
    const auto refused = [this](const char* text, const char* address, int port) {
        reset();
        DeviceVPNInfo info;
        info.serverIP = address;
        info.serverPort = port;
        service().answer("getDeviceVPNInfo", info);
        EXPECT_EQ(command(text), 5) << text;
        EXPECT_EQ(resultVariable(), 1) << text;
        EXPECT_EQ(service().calls, scripted::Calls{"getDeviceVPNInfo"});
    };
    refused("STARTVPN(,1194,r)", "vpn.example.com", 443);
    refused("STARTVPN(,,r)", "vpn.example.com", 443);
    refused("SETVPNSERVER(,1194,r)", "", 443);
    for (const int port : {0, -1, 65536}) {
        refused("SETVPNSERVER(,,r)", "192.0.2.1", port);
        refused("SETVPNSERVER(10.0.0.1,,r)", "192.0.2.1", port);
        refused("STARTVPN(10.0.0.1,,r)", "192.0.2.1", port);
    }
}
