#include "tests/service/CapturedLog.h"
#include "tests/service/FewDescriptors.h"
#include "tests/service/ListenerFixture.h"

#include <algorithm>
#include <deque>
#include <string>
#include <vector>

// Whom a newcomer finds a place beside, and whose place it takes when there is none.
namespace
{

using vpnd::RpcListener;

class RpcListenerRoomTest : public ListenerFixture
{
protected:
    // A sanitizer wants a descriptor when it meets a class for the first time.
    void writeALine(CapturedLog& lines)
    {
        log().error("a line", "of words");
        EXPECT_EQ(lines.take().size(), 1u);
    }
};

TEST_F(RpcListenerRoomTest, AThousandAndTwentyFourClientsAreServedAtOnce)
{
    ASSERT_EQ(RpcListener::kMaxClients, 1024u);
    std::vector<LoopbackClient> clients;
    while (clients.size() < RpcListener::kMaxClients) clients.push_back(connected());
    for (std::uint32_t round = 0; round < 3; ++round) {
        for (LoopbackClient& client : clients) client.send(request(round));
    }
    for (LoopbackClient& client : clients) {
        ASSERT_TRUE(answers(client, reply(0) + reply(1) + reply(2)));
    }
    EXPECT_EQ(listener()->clientCount(), RpcListener::kMaxClients);
    // All of them are at work.
    LoopbackClient newcomer = connected();
    EXPECT_TRUE(isClosed(newcomer));
    EXPECT_EQ(listener()->clientCount(), RpcListener::kMaxClients);
    for (LoopbackClient& client : clients) ASSERT_TRUE(works(client));
}

TEST_F(RpcListenerRoomTest, OneThatWaitsForASecondWithoutACallGoesFirst)
{
    listen(3);
    LoopbackClient idle = served();
    LoopbackClient silent = connected();
    LoopbackClient silentToo = connected();
    pass(RpcListener::kAtWorkMs);
    LoopbackClient newcomer = served();
    EXPECT_TRUE(isClosed(silent));
    EXPECT_TRUE(works(idle));
    EXPECT_FALSE(silentToo.closed());
}

TEST_F(RpcListenerRoomTest, ThenTheOneThatIsIdleLongestIfItIsForAMinute)
{
    listen(3);
    LoopbackClient idle = served();
    LoopbackClient idleLongest = served();
    ASSERT_TRUE(works(idle));
    pass(RpcListener::kAtWorkMs - 1);
    LoopbackClient young = connected();
    pass(1);
    LoopbackClient newcomer = served();
    EXPECT_TRUE(isClosed(idleLongest));
    EXPECT_FALSE(young.closed());
    LoopbackClient another = served();
    EXPECT_TRUE(isClosed(idle));
    EXPECT_TRUE(works(young));
    EXPECT_TRUE(works(newcomer));
}

TEST_F(RpcListenerRoomTest, ThenTheOldestWithoutAnAnswer)
{
    listen(3);
    LoopbackClient atWork = served();
    pass(RpcListener::kAtWorkMs - 1);
    LoopbackClient older = connected();
    LoopbackClient younger = connected();
    LoopbackClient newcomer = served();
    EXPECT_TRUE(isClosed(older));
    EXPECT_FALSE(younger.closed());
    EXPECT_TRUE(works(atWork));
    EXPECT_TRUE(works(younger));
}

TEST_F(RpcListenerRoomTest, WhenAllAreAtWorkTheNewcomerIsClosedAtOnce)
{
    listen(2);
    LoopbackClient one = served();
    LoopbackClient other = served();
    for (int second = 0; second < 100; ++second) {
        pass(1000);
        ASSERT_TRUE(works(one));
        ASSERT_TRUE(works(other));
        LoopbackClient newcomer = connected();
        ASSERT_TRUE(isClosed(newcomer)) << second;
    }
}

TEST_F(RpcListenerRoomTest, OneWhoseRequestHasArrivedIsPassedOver)
{
    listen(2);
    LoopbackClient asking = served();
    LoopbackClient idle = served();
    pass(RpcListener::kAtWorkMs);
    // All of it is pending when the server looks, the newcomer first.
    LoopbackClient newcomer;
    newcomer.connect(port());
    asking.send(request(1));
    EXPECT_TRUE(answers(asking, reply(1)));
    EXPECT_TRUE(isClosed(idle));
    EXPECT_TRUE(works(newcomer));
}

TEST_F(RpcListenerRoomTest, OneThatAsksButDoesNotReadIsNotPassedOver)
{
    listen(1);
    LoopbackClient deaf = connected(4096);
    stall(deaf);
    pass(RpcListener::kAtWorkMs);
    LoopbackClient newcomer = connected();
    EXPECT_TRUE(works(newcomer));
}

TEST_F(RpcListenerRoomTest, ManyThatComeAtTheSameMomentAllFindAPlaceAmongIdleOnes)
{
    constexpr std::size_t kPlaces = 20;
    listen(kPlaces);
    std::vector<LoopbackClient> idle;
    while (idle.size() < kPlaces) idle.push_back(served());
    pass(RpcListener::kAtWorkMs);
    std::vector<LoopbackClient> newcomers(kPlaces);
    for (LoopbackClient& newcomer : newcomers) newcomer.connect(port());
    for (LoopbackClient& newcomer : newcomers) newcomer.send(request(1));
    for (LoopbackClient& newcomer : newcomers) EXPECT_TRUE(answers(newcomer, reply(1)));
    for (LoopbackClient& client : idle) EXPECT_TRUE(isClosed(client));
}

TEST_F(RpcListenerRoomTest, AFloodOfConnectionsDoesNotDriveOutAClientAtWork)
{
    constexpr std::size_t kPlaces = 32;
    listen(kPlaces);
    LoopbackClient good = served();
    std::deque<LoopbackClient> flood;
    for (std::size_t i = 0; i < 4 * kPlaces; ++i) {
        flood.push_back(connected());
        ASSERT_LE(listener()->clientCount(), kPlaces);
        pass(10);
    }
    EXPECT_TRUE(isClosed(flood.front()));
    EXPECT_FALSE(flood.back().closed());
    EXPECT_TRUE(works(good));
    LoopbackClient newcomer = connected();
    EXPECT_TRUE(works(newcomer));
}

// How many turns of the server an answer takes.
template <class Turn>
int turnsUntil(LoopbackClient& client, const std::string& expected, Turn turn)
{
    int turns = 0;
    while (client.received() != expected && turns < 100) {
        turn();
        ++turns;
    }
    client.forget();
    return turns;
}

TEST_F(RpcListenerRoomTest, AClientThatPollsOnceASecondMissesNoCycleBesideGreedyOnes)
{
    constexpr std::size_t kGreedy = 64;
    LoopbackClient poller = served();
    std::vector<LoopbackClient> greedy;
    while (greedy.size() < kGreedy) greedy.push_back(served());
    const auto allAsk = [&] {
        for (LoopbackClient& client : greedy) {
            client.send(request(2));
            ASSERT_FALSE(client.closed());
            client.forget();
        }
    };
    for (int cycle = 0; cycle < 50; ++cycle) {
        pass(1000);
        for (int round = 0; round < 10; ++round) {
            allAsk();
            loop().turn(0);
        }
        for (std::uint32_t call = 0; call < 6; ++call) {
            allAsk();
            poller.send(request(call));
            ASSERT_LE(turnsUntil(poller, reply(call), [&] { loop().turn(0); }), 4) << cycle;
        }
    }
}

TEST_F(RpcListenerRoomTest, AClientWithThousandsOfRequestsUnderWayHoldsUpNobody)
{
    LoopbackClient greedy = served();
    LoopbackClient poller = served();
    std::string requests;
    for (std::uint32_t i = 0; i < 500; ++i) requests += request(i);
    greedy.send(requests);
    poller.send(request(1));
    EXPECT_LE(turnsUntil(poller, reply(1), [&] { loop().turn(0); }), 2);
    EXPECT_LT(greedy.received().size(), 100 * reply(1).size());
    EXPECT_TRUE(soon([&] { return greedy.received().size() == 500 * reply(1).size(); }));
}

TEST_F(RpcListenerRoomTest, AClientWhoseCallsTakeTimeHasOneOfThemInATurn)
{
    handler().special = [this](auto&...) {
        pass(5);
        return nullptr;
    };
    LoopbackClient greedy = connected();
    for (std::uint32_t i = 0; i < 100; ++i) greedy.send(raw::request(i, "special", ""));
    const std::string empty = raw::reply(0, "");
    for (std::size_t turn = 1; turn <= 10; ++turn) {
        loop().turn(1000);
        EXPECT_EQ(greedy.received().size(), turn * empty.size());
    }
    EXPECT_TRUE(soon([&] { return greedy.received().size() == 100 * empty.size(); }));
}

TEST_F(RpcListenerRoomTest, HalfRequestsOfAllTogetherAreBoundedAndSmallOnesArePassedOver)
{
    const auto begun = [](std::size_t bytes) {
        return std::string("\0\0\x10\0", 4) + std::string(bytes, 'x');
    };
    constexpr std::size_t kBig = 1024 * 1024 - 8;
    LoopbackClient modest = served();
    modest.send(begun(RpcListener::kFairShareBytes - 16 * 1024));
    CapturedLog lines;
    std::vector<LoopbackClient> greedy(40);
    const std::string bytes = begun(kBig);
    for (LoopbackClient& client : greedy) {
        client.connect(port());
        for (std::size_t sent = 0; sent < bytes.size() && !client.closed();) {
            sent += client.trySend(bytes.substr(sent, 64 * 1024));
            loop().turn(0);
        }
        while (loop().turn(0)) {
        }
    }
    const auto closed = static_cast<std::size_t>(std::count_if(
        greedy.begin(), greedy.end(), [](LoopbackClient& client) { return client.closed(); }));
    EXPECT_EQ(greedy.size() - closed,
              (RpcListener::kMaxHeldBytes - RpcListener::kFairShareBytes) / kBig);
    EXPECT_FALSE(modest.closed());
    EXPECT_EQ(lines.take(),
              (std::vector<std::string>{"warning a connection is closed: too much is under way"}));
    // What they held is free again.
    greedy.clear();
    EXPECT_TRUE(soon([&] { return listener()->clientCount() == 1; }));
    LoopbackClient big = connected();
    for (std::size_t sent = 0; sent < bytes.size();) {
        sent += big.trySend(bytes.substr(sent, 64 * 1024));
        loop().turn(0);
    }
    while (loop().turn(0)) {
    }
    EXPECT_FALSE(big.closed());
}

TEST_F(RpcListenerRoomTest, AFloodOfConnectionsHoldsUpNobody)
{
    LoopbackClient poller = served();
    std::vector<LoopbackClient> flood(500);
    for (LoopbackClient& client : flood) client.connect(port());
    poller.send(request(1));
    EXPECT_LE(turnsUntil(poller, reply(1), [&] { loop().turn(0); }), 2);
    EXPECT_LT(listener()->clientCount(), 100u);
    EXPECT_TRUE(soon([&] { return listener()->clientCount() == 501; }));
}

TEST_F(RpcListenerRoomTest, OutOfDescriptorsOneWithoutACallMakesRoom)
{
    LoopbackClient silent = connected();
    LoopbackClient good = served();
    LoopbackClient late;  // has its descriptor before they are used up
    const FewDescriptors few;
    late.connect(port());
    EXPECT_TRUE(isClosed(silent));
    EXPECT_TRUE(works(late));
    EXPECT_TRUE(works(good));
}

TEST_F(RpcListenerRoomTest, OutOfDescriptorsTheNewcomerIsClosedAtOnceWhenAllAreAtWork)
{
    LoopbackClient good = served();
    CapturedLog lines;
    writeALine(lines);
    std::vector<LoopbackClient> late(30);
    const FewDescriptors few;
    for (LoopbackClient& client : late) {
        client.connect(port());
        EXPECT_TRUE(isClosed(client));
    }
    EXPECT_TRUE(works(good));
    EXPECT_EQ(
        lines.take(),
        (std::vector<std::string>{"error a connection could not be taken: Too many open files"}));
    pass(vpnd::CountedLog::kPauseMs);
    loop().turn(0);
    EXPECT_EQ(lines.take(), (std::vector<std::string>{
                                "error a connection could not be taken: Too many open files (29 x "
                                "since the last such line)"}));
}

TEST_F(RpcListenerRoomTest, WithoutAnyDescriptorItWaitsInsteadOfSpinning)
{
    LoopbackClient good = served();
    CapturedLog lines;
    writeALine(lines);
    LoopbackClient late;
    {
        const FewDescriptors few;
        FewDescriptors::none();
        late.connect(port());
        EXPECT_TRUE(loop().turn(1000));
        EXPECT_FALSE(loop().turn(0));
        EXPECT_TRUE(works(good));
        EXPECT_EQ(lines.take().size(), 1u);
        pass(vpnd::CountedLog::kPauseMs);
        EXPECT_FALSE(loop().turn(0));  // listens again from here on
        EXPECT_TRUE(loop().turn(1000));
        EXPECT_FALSE(loop().turn(0));
        // No count: one try each time.
        EXPECT_EQ(lines.take(), (std::vector<std::string>{
                                    "error a connection could not be taken: Too many open files"}));
        EXPECT_FALSE(late.closed());
    }
    pass(100);
    EXPECT_TRUE(works(late));
    // It can refuse again.
    const FewDescriptors few;
    EXPECT_TRUE(works(good));
}

}  // namespace
