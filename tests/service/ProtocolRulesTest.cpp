#include "platform/RpcServer.h"
#include "tests/service/ServiceCalls.h"

#include <algorithm>
#include <string>

// What docs/rpc-protocol.md says about cases in which two rules meet.
namespace
{

using raw::args;
using raw::string;

class ProtocolRulesTest : public VpnServiceTest
{
protected:
    // Whether a session goes on behind this request; what it answers.
    bool goesOn(const std::string& request)
    {
        QZ::RPC::ServerSession session(*this);
        std::copy(request.begin(), request.end(), session.prepare(request.size()));
        const bool alive = session.received(request.size());
        m_reply.assign(session.output().begin(), session.output().end());
        return alive;
    }
    const std::string& reply() const { return m_reply; }

    // Seconds of the next wait in state 6, from the present state on.
    int nextWaitS()
    {
        for (int limit = 100; state() != 6; --limit) {
            if (limit == 0) return -1;
            pass(500);
        }
        int waited = 0;
        for (; state() == 6; ++waited) pass(1000);
        return waited;
    }

private:
    std::string m_reply;
};

TEST_F(ProtocolRulesTest, TheArgumentCountIsNoPartOfTheHead)
{
    const std::string head = raw::u32(9) + raw::text("getServerIP");
    for (std::size_t length = 1; length < head.size(); ++length) {
        EXPECT_FALSE(goesOn(raw::text(head.substr(0, length)))) << length;
        EXPECT_EQ(reply(), "");
    }
    for (std::size_t bytes = 0; bytes < 4; ++bytes) {
        EXPECT_TRUE(goesOn(raw::text(head + std::string(bytes, '\0'))));
        EXPECT_EQ(reply(), raw::refusal(9, "argument count missing"));
    }
}

TEST_F(ProtocolRulesTest, TheErrorTextNamesTheFirstThingThatIsWrong)
{
    const std::string number = raw::integer(1);
    EXPECT_EQ(call("noSuchMethod", ""), "refused: unknown method");
    EXPECT_EQ(call("setVPNPassword", raw::i32(2) + number), "refused: wrong number of arguments");
    EXPECT_EQ(call("setVPNPassword", args(number) + "x"), "refused: wrong argument type");
    EXPECT_EQ(call("setServerIPAndPort", args(raw::text("int"), number)),
              "refused: wrong argument type");
    EXPECT_EQ(call("setVPNEnabled", args(raw::text("bool") + "\2") + "x"),
              "refused: bool that is neither 0 nor 1");
}

TEST_F(ProtocolRulesTest, OfTwoFaultsTheCertificateIsFoundFirst)
{
    EXPECT_EQ(setPassword("wrong123"), kDone);
    EXPECT_EQ(setServer("untrusted.test", 1194), kDone);
    settle();
    EXPECT_EQ(state(), 102);
    EXPECT_EQ(setServer("vpn.example.com", 1194), kDone);
    settle();
    EXPECT_EQ(state(), 101);
}

TEST_F(ProtocolRulesTest, WhatIsEnabledAgainAtOnceIsStillGoingDown)
{
    connected();
    enable(false);
    pass(100);
    enable(true);
    EXPECT_EQ(state(), 7);
    EXPECT_EQ(status(), 1);
    pass(199);
    EXPECT_EQ(state(), 7);
    pass(1);
    EXPECT_EQ(state(), 2);

    connected();
    enable(false);
    EXPECT_EQ(call("stopVPN"), kDone);
    enable(true);
    EXPECT_EQ(state(), 7);
    pass(300);
    EXPECT_EQ(state(), 1);
}

TEST_F(ProtocolRulesTest, DisablingAndEnablingForgetsAFault)
{
    EXPECT_EQ(setServer("untrusted.test", 1194), kDone);
    settle();
    ASSERT_EQ(state(), 102);
    enable(false);
    enable(true);
    EXPECT_EQ(state(), 2);
}

TEST_F(ProtocolRulesTest, OffAndOnLineLeaveStateSevenAndDecideWhatFollows)
{
    connected();
    EXPECT_EQ(setServer("10.0.0.1", 1194), kDone);
    EXPECT_EQ(online(false), kDone);
    EXPECT_EQ(state(), 7);
    EXPECT_EQ(online(true), kDone);
    EXPECT_EQ(state(), 7);
    pass(300);
    EXPECT_EQ(state(), 2);

    connected();
    EXPECT_EQ(setServer("10.0.0.2", 1194), kDone);
    EXPECT_EQ(online(false), kDone);
    pass(300);
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(online(true), kDone);
    EXPECT_EQ(state(), 6);
    pass(200);
    EXPECT_EQ(state(), 2);
}

TEST_F(ProtocolRulesTest, TheWaitGrowsUntilTheTunnelIsStartedAnewOrTheServerIsAnother)
{
    EXPECT_EQ(setServer("vpn.invalid", 1194), kDone);
    EXPECT_EQ(nextWaitS(), 2);
    EXPECT_EQ(nextWaitS(), 4);
    pass(5000);
    EXPECT_EQ(call("checkCommState"), "");
    EXPECT_EQ(state(), 2);
    EXPECT_EQ(nextWaitS(), 16) << "the one of 8 s was ended";
    EXPECT_EQ(online(false), kDone);
    EXPECT_EQ(online(true), kDone);
    pass(200);
    EXPECT_EQ(nextWaitS(), 30);

    EXPECT_EQ(setServer("other.invalid", 1194), kDone);
    EXPECT_EQ(nextWaitS(), 2);
    EXPECT_EQ(nextWaitS(), 4);
    EXPECT_EQ(start("other.invalid", 1194), kDone);
    EXPECT_EQ(nextWaitS(), 2);
    EXPECT_EQ(nextWaitS(), 4);
    enable(false);
    enable(true);
    EXPECT_EQ(nextWaitS(), 2);
}

TEST_F(ProtocolRulesTest, AddressesHaveNoLeadingZerosNoLastDotAndNoHexadecimalNumber)
{
    for (const char* address :
         {"010.0.0.1", "10.0.0.01", "10.0.0.1.", "vpn.example.com.", "0x7f000001", "0x7f.0.0.1",
          "vpn.example.0x1f", "vpn.example.007", "2001:db8::00007"}) {
        EXPECT_EQ(setServer(address, 1194), kInvalid) << address;
    }
    for (const char* address : {"0x1f.example.com", "007.example.com", "2001:0db8::0007"}) {
        EXPECT_EQ(setServer(address, 1194), kDone) << address;
    }
}

}  // namespace
