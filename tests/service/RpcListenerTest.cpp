#include "tests/service/ListenerFixture.h"

#include <filesystem>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

namespace
{

using vpnd::RpcListener;

std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

using RpcListenerTest = ListenerFixture;

TEST_F(RpcListenerTest, ACallIsAnswered)
{
    LoopbackClient client = connected();
    EXPECT_TRUE(works(client));
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerTest, AnEmptyResultIsAnsweredAtOnceWithAnEmptyBlock)
{
    LoopbackClient client = connected();
    client.send(raw::request(5, "echo", ""));
    EXPECT_TRUE(answers(client, raw::reply(5, "")));
}

TEST_F(RpcListenerTest, ARefusedCallIsAnErrorReplyAndTheConnectionGoesOn)
{
    LoopbackClient client = connected();
    client.send(raw::request(6, "noSuchMethod", raw::args()));
    EXPECT_TRUE(answers(client, raw::refusal(6, "unknown method")));
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerTest, RequestsSentTogetherAreAnsweredInOrder)
{
    LoopbackClient client = connected();
    std::string requests;
    std::string replies;
    for (std::uint32_t id = 0; id < 100; ++id) {
        requests += request(id);
        replies += reply(id);
    }
    client.send(requests);
    EXPECT_TRUE(answers(client, replies));
}

TEST_F(RpcListenerTest, RequestsMayComeByteByByte)
{
    LoopbackClient client = connected();
    for (const char byte : request(1) + request(2)) {
        client.send(std::string(1, byte));
        loop().turn(0);
    }
    EXPECT_TRUE(answers(client, reply(1) + reply(2)));
}

TEST_F(RpcListenerTest, TheCallsOfAllClientsReachOneHandler)
{
    LoopbackClient one = connected();
    LoopbackClient other = connected();
    EXPECT_TRUE(works(one));
    EXPECT_TRUE(works(other));
    EXPECT_EQ(handler().calls, 2);
}

TEST_F(RpcListenerTest, AMalformedStreamClosesItsOwnConnectionOnly)
{
    LoopbackClient good = connected();
    const std::string malformed[] = {
        raw::u32(0),         // a body of no bytes
        raw::u32(0x100001),  // one byte above the cap
        raw::u32(0xffffffff),
        "GET / HTTP/1.1\r\nHost: x\r\n\r\n",
        std::string(5000, '\xff'),
        raw::text("abc"),                                           // ends in the call id
        raw::text(raw::u32(1)),                                     // no method
        raw::text(raw::u32(1) + raw::text("")),                     // an empty one
        raw::text(raw::u32(1) + raw::text(std::string(65, 'm'))),   // too long
        raw::text(raw::u32(1) + raw::u32(0x80000000) + "stopVPN"),  // beyond the body
    };
    for (const std::string& bytes : malformed) {
        LoopbackClient bad = connected();
        bad.send(bytes);
        EXPECT_TRUE(soon([&] { return bad.closed(); })) << bytes;
        EXPECT_EQ(bad.received(), "") << bytes;
        EXPECT_TRUE(works(good));
    }
    EXPECT_EQ(listener()->clientCount(), 1u);
}

TEST_F(RpcListenerTest, CallsBeforeTheMalformedPartAreStillAnswered)
{
    LoopbackClient client = connected();
    client.send(request(1) + request(2) + raw::u32(0));
    EXPECT_TRUE(soon([&] { return client.closed(); }));
    EXPECT_EQ(client.received(), reply(1) + reply(2));
}

TEST_F(RpcListenerTest, AClientThatNeverReadsStallsOnlyItself)
{
    LoopbackClient deaf = connected(4096);
    LoopbackClient good = connected();
    const std::size_t requests = stall(deaf);
    EXPECT_TRUE(works(good));
    EXPECT_TRUE(works(good));
    EXPECT_EQ(listener()->clientCount(), 2u);

    // Nothing is lost once it reads after all.
    const std::size_t expected = requests * reply(9).size();
    EXPECT_TRUE(soon([&] { return deaf.received().size() >= expected; }));
    EXPECT_EQ(deaf.received().size(), expected);
    EXPECT_EQ(deaf.received().substr(expected - reply(9).size()), reply(9));
}

TEST_F(RpcListenerTest, SilentClientsDisturbNobody)
{
    LoopbackClient silent = connected();
    LoopbackClient halfWay = connected();
    halfWay.send(request(1).substr(0, 9));
    LoopbackClient good = connected();
    EXPECT_TRUE(works(good));
    EXPECT_FALSE(silent.closed());
    EXPECT_FALSE(halfWay.closed());
    halfWay.send(request(1).substr(9));
    EXPECT_TRUE(answers(halfWay, reply(1)));
}

TEST_F(RpcListenerTest, WhoStopsSendingStillGetsAllAnswers)
{
    LoopbackClient client = connected();
    client.send(request(3) + request(4) + request(5) + request(6).substr(0, 10));
    client.finishSending();
    EXPECT_TRUE(soon([&] { return client.closed(); }));
    EXPECT_EQ(client.received(), reply(3) + reply(4) + reply(5));
    EXPECT_TRUE(soon([&] { return listener()->clientCount() == 0; }));
}

TEST_F(RpcListenerTest, ClientsThatLeaveCostNothing)
{
    LoopbackClient good = connected();
    ASSERT_TRUE(works(good));
    const std::ptrdiff_t before = openDescriptors();
    for (int i = 0; i < 200; ++i) {
        LoopbackClient passing = connected();
        passing.send(request(1).substr(0, static_cast<std::size_t>(i) % request(1).size()));
    }
    EXPECT_TRUE(soon([&] { return listener()->clientCount() == 1; }));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(works(good));
}

TEST_F(RpcListenerTest, ATakenPortIsReported)
{
    try {
        const RpcListener second(loop(), listeningSocket(listener()->localEndpoint()), handler(),
                                 log());
        FAIL() << "two listeners at one port";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), std::errc::address_in_use);
    }
    LoopbackClient client = connected();
    EXPECT_TRUE(works(client));
}

}  // namespace
