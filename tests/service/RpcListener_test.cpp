#include "service/RpcListener.h"

#include "tests/service/LoopbackClient.h"
#include "tests/service/ServiceFixture.h"

#include <sys/resource.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

namespace
{

using vpnd::parseEndpoint;
using vpnd::RpcListener;

const std::string kAnswer = raw::string("vpn.example.com");

std::string request(std::uint32_t callId)
{
    return raw::request(callId, "getServerIP", raw::args());
}
std::string reply(std::uint32_t callId) { return raw::reply(callId, kAnswer); }

std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

// Server and clients in one thread: the server moves only while the test waits
// for something.
class RpcListenerTest : public ServiceFixture
{
protected:
    void SetUp() override
    {
        ServiceFixture::SetUp();
        m_listener = std::make_unique<RpcListener>(m_io, *parseEndpoint("127.0.0.1:0"), service());
    }

    // Lets the server work until the condition holds; false when it never does.
    template <class Condition>
    bool soon(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            m_io.restart();
            m_io.run_one_for(std::chrono::milliseconds(1));
        }
        return true;
    }
    bool answers(LoopbackClient& client, const std::string& expected)
    {
        const bool came = soon([&] { return client.received().size() >= expected.size(); });
        EXPECT_EQ(client.received(), expected);
        const bool right = came && client.received() == expected;
        client.forget();
        return right;
    }
    bool works(LoopbackClient& client)
    {
        client.send(request(77));
        return answers(client, reply(77));
    }
    // Connected and known to the server.
    LoopbackClient connected(int receiveBufferBytes = 0)
    {
        LoopbackClient client(receiveBufferBytes);
        client.connect(port());
        m_io.restart();
        m_io.poll();
        return client;
    }

    std::uint16_t port() const { return m_listener->localEndpoint().port(); }
    asio::io_context& io() { return m_io; }
    std::unique_ptr<RpcListener>& listener() { return m_listener; }

private:
    asio::io_context m_io{1};
    std::unique_ptr<RpcListener> m_listener;
};

TEST_F(RpcListenerTest, ACallIsAnswered)
{
    LoopbackClient client = connected();
    EXPECT_TRUE(works(client));
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerTest, AMethodWithoutResultIsAnsweredAtOnceWithAnEmptyBlock)
{
    LoopbackClient client = connected();
    client.send(raw::request(5, "checkCommState", raw::args()));
    EXPECT_TRUE(answers(client, raw::reply(5, "")));
}

TEST_F(RpcListenerTest, ARefusedCallIsAnErrorReplyAndTheConnectionGoesOn)
{
    LoopbackClient client = connected();
    client.send(raw::request(6, "noSuchMethod", raw::args()));
    EXPECT_TRUE(answers(client, raw::refusal(6, "unknown method")));
    client.send(raw::request(7, "stopVPN", raw::args(raw::integer(1))));
    EXPECT_TRUE(answers(client, raw::refusal(7, "wrong number of arguments")));
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
        io().restart();
        io().poll();
    }
    EXPECT_TRUE(answers(client, reply(1) + reply(2)));
}

TEST_F(RpcListenerTest, ManyClientsAreServedAtOnce)
{
    std::vector<LoopbackClient> clients;
    for (std::size_t i = 0; i < RpcListener::kMaxClients; ++i) clients.push_back(connected());
    for (std::uint32_t round = 0; round < 20; ++round) {
        for (std::uint32_t i = 0; i < clients.size(); ++i)
            clients[i].send(request(round * 1000 + i));
    }
    for (std::uint32_t i = 0; i < clients.size(); ++i) {
        std::string expected;
        for (std::uint32_t round = 0; round < 20; ++round) expected += reply(round * 1000 + i);
        EXPECT_TRUE(answers(clients[i], expected)) << i;
    }
}

TEST_F(RpcListenerTest, WhatOneClientSetsTheOthersSee)
{
    LoopbackClient one = connected();
    LoopbackClient other = connected();
    one.send(raw::request(1, "changeServerIP", raw::args(raw::string("10.0.0.1"))));
    EXPECT_TRUE(answers(one, raw::reply(1, raw::integer(0))));
    other.send(request(2));
    EXPECT_TRUE(answers(other, raw::reply(2, raw::string("10.0.0.1"))));
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
    // Sends until the server takes no more: its answers find no room any longer.
    const std::string one = request(9);
    std::string left;
    std::size_t sentBytes = 0;
    for (int fruitless = 0; fruitless < 50;) {
        if (left.size() < one.size()) {
            for (int i = 0; i < 1000; ++i) left += one;
        }
        const std::size_t sent = deaf.trySend(left);
        left.erase(0, sent);
        sentBytes += sent;
        fruitless = sent > 0 ? 0 : fruitless + 1;
        io().restart();
        io().poll();
        ASSERT_LT(sentBytes, 256u * 1024 * 1024) << "the server hoards what it cannot answer";
    }
    EXPECT_TRUE(works(good));
    EXPECT_TRUE(works(good));
    EXPECT_EQ(listener()->clientCount(), 2u);

    // Nothing is lost once it reads after all.
    const std::size_t expected = sentBytes / one.size() * reply(9).size();
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

TEST_F(RpcListenerTest, AFloodOfConnectionsDoesNotDriveOutAClientAtWork)
{
    LoopbackClient good = connected();
    EXPECT_TRUE(works(good));
    std::vector<LoopbackClient> flood;
    for (std::size_t i = 0; i < 4 * RpcListener::kMaxClients; ++i) {
        flood.push_back(connected());
        ASSERT_LE(listener()->clientCount(), RpcListener::kMaxClients);
    }
    EXPECT_TRUE(soon([&] { return flood.front().closed(); }));
    EXPECT_FALSE(flood.back().closed());
    EXPECT_FALSE(good.closed());
    EXPECT_TRUE(works(good));
    LoopbackClient newcomer = connected();
    EXPECT_TRUE(works(newcomer));
}

TEST_F(RpcListenerTest, AmongClientsAtWorkTheOneThatIsIdleLongestMakesRoom)
{
    std::vector<LoopbackClient> clients;
    for (std::size_t i = 0; i < RpcListener::kMaxClients; ++i) {
        clients.push_back(connected());
        ASSERT_TRUE(works(clients.back()));
    }
    ASSERT_TRUE(works(clients[0]));
    LoopbackClient newcomer = connected();
    EXPECT_TRUE(works(newcomer));
    EXPECT_TRUE(soon([&] { return clients[1].closed(); }));
    EXPECT_FALSE(clients[0].closed());
    for (std::size_t i = 2; i < clients.size(); ++i) EXPECT_FALSE(clients[i].closed()) << i;
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

TEST_F(RpcListenerTest, OutOfDescriptorsTheIdlestClientMakesRoom)
{
    LoopbackClient idle = connected();
    LoopbackClient good = connected();
    ASSERT_TRUE(works(good));
    LoopbackClient late;  // has its descriptor before they are used up
    // Every number below the limit is taken from here on.
    std::vector<int> fillers;
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit small = before;
    small.rlim_cur = 64;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &small), 0);
    for (int fd = ::dup(0); fd >= 0; fd = ::dup(0)) fillers.push_back(fd);

    late.connect(port());
    EXPECT_TRUE(soon([&] { return idle.closed(); }));
    EXPECT_TRUE(works(late));
    EXPECT_TRUE(works(good));

    ::setrlimit(RLIMIT_NOFILE, &before);
    for (const int fd : fillers) ::close(fd);
}

TEST_F(RpcListenerTest, StoppingClosesAllAndLeavesNothingToDo)
{
    LoopbackClient one = connected();
    LoopbackClient other = connected();
    EXPECT_TRUE(works(one));
    other.send(request(1));
    listener()->stop();
    EXPECT_EQ(listener()->clientCount(), 0u);
    io().restart();
    io().run_for(std::chrono::seconds(20));
    EXPECT_TRUE(io().stopped()) << "something is still waiting";
    EXPECT_TRUE(one.closed());
    EXPECT_TRUE(other.closed());
}

TEST_F(RpcListenerTest, HandlersThatComeAfterTheListenerIsGoneDoNothing)
{
    LoopbackClient one = connected();
    LoopbackClient other(0);
    one.send(request(1) + raw::u32(0));
    other.connect(port());
    listener().reset();
    io().restart();
    io().run_for(std::chrono::seconds(20));
    EXPECT_TRUE(io().stopped());
    EXPECT_TRUE(one.closed());
}

TEST_F(RpcListenerTest, ATakenPortIsReported)
{
    try {
        const RpcListener second(io(), listener()->localEndpoint(), service());
        FAIL() << "two listeners at one port";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code(), asio::error::address_in_use);
    }
    LoopbackClient client = connected();
    EXPECT_TRUE(works(client));
}

}  // namespace
