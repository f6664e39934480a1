#include "tests/platform/PeerLink.h"

#include <gtest/gtest.h>

#include <string>

// What a service can do wrong, and that nothing but a broken connection comes of it.
namespace
{

using namespace peer_link;

// The call fails and the connection is closed afterwards, seen from both sides.
void expectBroken(PeerLink& link, const std::string& info)
{
    const Outcome outcome = call(link.client, kAmpleMs);
    EXPECT_TRUE(outcome.raised);
    EXPECT_EQ(outcome.func, "sync");
    EXPECT_EQ(outcome.info, info);
    EXPECT_FALSE(outcome.hasResult);
    EXPECT_FALSE(link.client.online());
    EXPECT_EQ(call(link.client, kAmpleMs).info, "not connected");
    if (link.peer() < 0) return;
    while (!link.takeRequest().empty()) {
    }
    char byte = 0;
    EXPECT_LE(recv(link.peer(), &byte, 1, MSG_DONTWAIT), 0);
    EXPECT_FALSE(link.send({0}));
}

TEST(DispatchClientFaultTest, APeerThatClosedBeforeTheCall)
{
    PeerLink link;
    link.hangUp();
    expectBroken(link, "socket error 32 while sending");
}

TEST(DispatchClientFaultTest, APeerThatStopsSendingBeforeTheReply)
{
    PeerLink link;
    ASSERT_EQ(shutdown(link.peer(), SHUT_WR), 0);
    expectBroken(link, "connection closed by the service");
}

TEST(DispatchClientFaultTest, APeerThatStopsSendingWithinTheReply)
{
    const Bytes whole = reply(1, "result");
    for (std::size_t count = 1; count < whole.size(); ++count) {
        PeerLink link;
        ASSERT_TRUE(link.send(Bytes(whole.data(), whole.data() + count)));
        ASSERT_EQ(shutdown(link.peer(), SHUT_WR), 0);
        expectBroken(link, "connection closed by the service");
    }
}

TEST(DispatchClientFaultTest, AFrameWhoseLengthIsZeroOrAboveTheCap)
{
    const Bytes lengths[] = {
        {0, 0, 0, 0}, {1, 0, 0x10, 0}, {0, 0, 0, 0x80}, {0xFF, 0xFF, 0xFF, 0xFF}};
    for (const Bytes& length : lengths) {
        PeerLink link;
        ASSERT_TRUE(link.send(length));
        expectBroken(link, "malformed frame from the service");
    }
}

TEST(DispatchClientFaultTest, AReplyThatEndsInItsHead)
{
    for (unsigned char length = 1; length < 5; ++length) {
        PeerLink link;
        const Bytes body = {1, 0, 0, 0};
        ASSERT_TRUE(link.send(Bytes{length, 0, 0, 0} + Bytes(body.data(), body.data() + length)));
        expectBroken(link, "malformed frame from the service");
    }
}

TEST(DispatchClientFaultTest, AReplyWithAnUnknownStatus)
{
    for (const unsigned char status : Bytes{2, 255}) {
        PeerLink link;
        ASSERT_TRUE(link.send({5, 0, 0, 0, 1, 0, 0, 0, status}));
        expectBroken(link, "malformed frame from the service");
    }
}

TEST(DispatchClientFaultTest, AReplyToACallThatWasNeverMade)
{
    for (const std::uint32_t id : {0u, 2u, 0x80000001u, 0xFFFFFFFFu}) {
        PeerLink link;
        ASSERT_TRUE(link.send(reply(id, "x")));
        expectBroken(link, "reply to call " + std::to_string(id) + ", which was not made");
    }
}

TEST(DispatchClientFaultTest, AReplyToTheNextCallBehindTheAwaitedOne)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "first") + reply(2, "guessed")));
    EXPECT_EQ(call(link.client, kAmpleMs).block, "first");
    EXPECT_TRUE(link.client.online());
    expectBroken(link, "reply to call 2, which was not made");
}

TEST(DispatchClientFaultTest, ASecondReplyToTheSameCallIsSkipped)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "first") + reply(1, "again")));
    EXPECT_EQ(call(link.client, kAmpleMs).block, "first");
    ASSERT_TRUE(link.send(reply(1, "and again") + reply(2, "second")));
    EXPECT_EQ(call(link.client, kAmpleMs).block, "second");
}

TEST(DispatchClientFaultTest, AMalformedFrameBehindTheReplyBreaksTheNextCall)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "first") + Bytes{0, 0, 0, 0}));
    EXPECT_EQ(call(link.client, kAmpleMs).block, "first");
    expectBroken(link, "malformed frame from the service");
}

TEST(DispatchClientFaultTest, WhatASocketThatIsNoneRaises)
{
    int pipeFds[2] = {-1, -1};
    ASSERT_EQ(pipe(pipeFds), 0);
    QZ::RPC::DispatchClient client(QZ::Net::Address("127.0.0.1:1"),
                                   new OneSocketFactory(pipeFds[0]));
    EXPECT_FALSE(client.online());
    EXPECT_EQ(call(client, kAmpleMs).info, "socket error 88 while sending");
    close(pipeFds[1]);
}

}  // namespace
