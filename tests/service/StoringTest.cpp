#include "tests/service/ServiceCalls.h"
#include "tests/service/TestCertificates.h"

#include <string>
#include <vector>

// What the service asks of a store that fails, and works again.
namespace
{

using raw::args;
using raw::boolean;
using raw::integer;
using raw::string;

struct Command {
    const char* method;
    std::string block;
    std::string done;
    std::string notStored;
};

// Everything that changes a setting, with other values than at the beginning.
std::vector<Command> setters()
{
    return {
        {"changeServerIP", args(string("10.0.0.1")), kDone, kNotStored},
        {"setServerIPAndPort", args(string("10.0.0.2"), integer(443)), kDone, kNotNow},
        {"setVPNCA", args(string(certificates::ca())), kDone, kNotStored},
        {"setDeviceSn", args(string("LINE-3")), "", ""},
        {"setBeatInterval", args(integer(60)), kDone, kNotStored},
        {"setVPNPassword", args(string("other123")), kDone, kNotStored},
        {"setVPNUserName", args(string("other")), kDone, kNotStored},
    };
}

struct Switch {
    Command off;
    bool vpnd::VpnSettings::*setting;
};

std::vector<Switch> switches()
{
    return {
        {{"stopVPN", args(), kDone, kNotStored}, &vpnd::VpnSettings::connect},
        {{"setVPNEnabled", args(boolean(false)), "", ""}, &vpnd::VpnSettings::enabled},
        {{"setOnline", args(boolean(false)), kDone, kNotStored}, &vpnd::VpnSettings::online},
    };
}

std::vector<Command> commands()
{
    std::vector<Command> all = setters();
    all.push_back({"startVPN", args(string("10.0.0.3"), integer(80)), kDone, kNotNow});
    for (const Switch& s : switches()) all.push_back(s.off);
    return all;
}

class StoringTest : public VpnServiceTest
{
protected:
    void beginAnew() { begin(exampleSettings()); }
    std::string run(const Command& command) { return call(command.method, command.block); }
};

TEST_F(StoringTest, WhatCannotBeStoredChangesNothing)
{
    connected();
    store().fails = true;
    EXPECT_EQ(setServer("10.0.0.1", 443), kNotNow) << "3 would look like success to the driver";
    EXPECT_EQ(start("10.0.0.1", 443), kNotNow);
    EXPECT_EQ(call("changeServerIP", args(string("10.0.0.1"))), kNotStored);
    EXPECT_EQ(call("setVPNCA", args(string(certificates::ca()))), kNotStored);
    EXPECT_EQ(call("setBeatInterval", args(integer(5))), kNotStored);
    EXPECT_EQ(setPassword("other123"), kNotStored);
    EXPECT_EQ(call("setVPNUserName", args(string("other"))), kNotStored);
    EXPECT_EQ(call("setDeviceSn", args(string("7"))), "");
    EXPECT_EQ(info().serverIP, "vpn.example.com");
    EXPECT_EQ(info().beatInterval, 30);
    EXPECT_EQ(call("getVPNPassword"), string("example123"));
    EXPECT_EQ(call("getVPNUserName"), string("exampleuser"));
    EXPECT_EQ(call("getProductSn"), string("ORVA-000001"));
    EXPECT_EQ(state(), 5);
}

TEST_F(StoringTest, SwitchesTakeEffectEvenWhenTheyCannotBeStored)
{
    connected();
    store().fails = true;
    EXPECT_EQ(online(false), kNotStored);
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(online(true), kDone) << "that is what is stored";
    settle();
    EXPECT_EQ(call("stopVPN"), kNotStored);
    EXPECT_EQ(state(), 7);
    enable(false);
    EXPECT_EQ(call("getVPNEnabled"), boolean(false));
}

TEST_F(StoringTest, WhatFailedIsStoredByTheNextTryAndByNoLaterOne)
{
    for (const Command& command : commands()) {
        SCOPED_TRACE(command.method);
        beginAnew();
        store().fails = true;
        for (int i = 1; i <= 3; ++i) {
            EXPECT_EQ(run(command), command.notStored);
            EXPECT_EQ(store().tries, i);
        }
        store().fails = false;
        EXPECT_EQ(run(command), command.done);
        EXPECT_EQ(store().saves, 1);
        EXPECT_TRUE(vpnd::differences(store().saved, exampleSettings()).any());
        EXPECT_EQ(run(command), command.done);
        EXPECT_EQ(run(command), command.done);
        EXPECT_EQ(store().saves, 1) << "stored already";
    }
}

TEST_F(StoringTest, ASwitchThatCouldNotBeStoredIsStoredWithTheNextChange)
{
    for (const Switch& first : switches()) {
        std::vector<Command> others = setters();
        for (const Switch& other : switches()) others.push_back(other.off);
        for (const Command& other : others) {
            SCOPED_TRACE(std::string(first.off.method) + ", then " + other.method);
            beginAnew();
            store().fails = true;
            EXPECT_EQ(run(first.off), first.off.notStored);
            EXPECT_EQ(run(other), other.notStored);
            store().fails = false;
            EXPECT_EQ(run(other), other.done);
            EXPECT_FALSE(store().saved.*first.setting);
            EXPECT_EQ(run(first.off), first.off.done);
            EXPECT_EQ(store().saves, 1) << "the whole record was stored";
        }
    }
}

TEST_F(StoringTest, AValueInForceIsStillStoredWhileASwitchIsNot)
{
    store().fails = true;
    EXPECT_EQ(call("stopVPN"), kNotStored);
    store().fails = false;
    EXPECT_EQ(call("setBeatInterval", args(integer(30))), kDone) << "30 as before";
    EXPECT_EQ(store().saves, 1);
    EXPECT_FALSE(store().saved.connect);
}

TEST_F(StoringTest, BackToWhatIsStoredNeedsNoStore)
{
    connected();
    store().fails = true;
    EXPECT_EQ(online(false), kNotStored);
    EXPECT_EQ(online(true), kDone);
    EXPECT_EQ(call("stopVPN"), kNotStored);
    EXPECT_EQ(start("vpn.example.com", 1194), kDone);
    enable(false);
    enable(true);
    EXPECT_EQ(store().tries, 3);
}

TEST_F(StoringTest, AnotherTryToStoreLeavesTheTunnelAlone)
{
    EXPECT_EQ(setPassword("wrong123"), kDone);
    settle();
    enable(false);
    settle();
    store().fails = true;
    enable(true);
    settle();
    ASSERT_EQ(state(), 101);
    store().fails = false;
    enable(true);
    EXPECT_TRUE(store().saved.enabled);
    EXPECT_EQ(state(), 101) << "the same credentials are not tried again";
}

}  // namespace
