#include "tests/service/FewDescriptors.h"
#include "tests/service/ListenerFixture.h"

#include <algorithm>
#include <vector>

// Which user gives a connection up for another when all are at work.
namespace
{

using vpnd::Peer;

constexpr unsigned char kGreedy = 2;
constexpr unsigned char kPanel = 3;
constexpr unsigned char kThird = 4;
constexpr unsigned char kUnknown = 5;

// A user's clients come from an address of its own, 127.0.0.<user>.
Peer userOf(int socket)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    void* const any = &address;
    ::getpeername(socket, static_cast<sockaddr*>(any), &size);
    const uid_t user = ntohl(address.sin_addr.s_addr) & 0xff;
    return user == kUnknown ? Peer{} : Peer{user};
}

class RpcListenerUsersTest : public ListenerFixture
{
protected:
    void listen(std::size_t maxClients) { ListenerFixture::listen(maxClients, userOf); }

    // The server has not looked yet.
    LoopbackClient coming(unsigned char user)
    {
        LoopbackClient client;
        client.comeFrom(user);
        client.connect(port());
        return client;
    }
    LoopbackClient served(unsigned char user)
    {
        LoopbackClient client = coming(user);
        EXPECT_TRUE(works(client));
        return client;
    }
    std::vector<LoopbackClient> served(unsigned char user, std::size_t count)
    {
        std::vector<LoopbackClient> clients;
        while (clients.size() < count) clients.push_back(served(user));
        return clients;
    }
    // Calls; false when it is closed instead of answered.
    bool getsIn(LoopbackClient& client)
    {
        client.send(request(1));
        EXPECT_TRUE(soon([&] { return client.closed() || client.received() == reply(1); }));
        client.forget();
        return !client.closed();
    }
    bool isRefused(unsigned char user)
    {
        LoopbackClient client = coming(user);
        return !getsIn(client);
    }
    bool allWork(std::vector<LoopbackClient>& clients)
    {
        return std::all_of(clients.begin(), clients.end(),
                           [this](LoopbackClient& client) { return works(client); });
    }
    std::size_t closedAmong(std::vector<LoopbackClient>& clients)
    {
        return static_cast<std::size_t>(std::count_if(clients.begin(), clients.end(),
                                                      [](auto& each) { return each.closed(); }));
    }
};

TEST_F(RpcListenerUsersTest, OneWhoHasTheMostGivesThoseUpWhoseLastAnswerIsLongestAgo)
{
    listen(7);
    LoopbackClient third = served(kThird);
    std::vector<LoopbackClient> greedy = served(kGreedy, 6);
    ASSERT_TRUE(works(greedy[0]));
    EXPECT_TRUE(isRefused(kGreedy));
    LoopbackClient first = served(kPanel);
    EXPECT_TRUE(isClosed(greedy[1]));
    LoopbackClient second = served(kPanel);
    EXPECT_TRUE(isClosed(greedy[2]));
    EXPECT_EQ(closedAmong(greedy), 2u);
    // Four and two: with another one it would be one more, and that is not enough.
    EXPECT_TRUE(isRefused(kPanel));
    EXPECT_TRUE(isRefused(kGreedy));
    EXPECT_EQ(closedAmong(greedy), 2u);
    EXPECT_TRUE(works(first));
    EXPECT_TRUE(works(second));
    EXPECT_TRUE(works(third));
}

TEST_F(RpcListenerUsersTest, OfAllThousandAndTwentyFourThePanelGetsTheNext)
{
    constexpr std::size_t kAll = vpnd::RpcListener::kMaxClients;
    listen(kAll);
    std::vector<LoopbackClient> greedy = served(kGreedy, kAll);
    LoopbackClient panel = served(kPanel);
    EXPECT_TRUE(isClosed(greedy[0]));
    greedy.erase(greedy.begin());
    for (int round = 0; round < 4; ++round) {
        pass(vpnd::RpcListener::kAtWorkMs - 1);
        ASSERT_TRUE(works(panel)) << round;
        ASSERT_TRUE(allWork(greedy)) << round;
        ASSERT_TRUE(isRefused(kGreedy)) << round;
    }
    EXPECT_EQ(listener()->clientCount(), kAll);
}

TEST_F(RpcListenerUsersTest, TwoWithHalfEachMakeRoomForAThird)
{
    listen(6);
    std::vector<LoopbackClient> greedy = served(kGreedy, 3);
    std::vector<LoopbackClient> panel = served(kPanel, 3);
    LoopbackClient third = served(kThird);
    EXPECT_EQ(closedAmong(greedy) + closedAmong(panel), 1u);
    EXPECT_TRUE(isRefused(kThird));
    EXPECT_EQ(closedAmong(greedy) + closedAmong(panel), 1u);
}

TEST_F(RpcListenerUsersTest, TwoNeverThrowEachOtherOutByTurns)
{
    for (std::size_t places = 1; places <= 9; ++places) {
        listen(places);
        std::vector<LoopbackClient> clients = served(kGreedy, places);
        for (std::size_t i = 0; i < places; ++i) {
            for (const unsigned char user : {kPanel, kGreedy}) {
                clients.push_back(coming(user));
                getsIn(clients.back());
            }
        }
        const std::size_t before = closedAmong(clients);
        EXPECT_EQ(clients.size() - before, places);
        for (int i = 0; i < 20; ++i) {
            EXPECT_TRUE(isRefused(kPanel)) << places;
            EXPECT_TRUE(isRefused(kGreedy)) << places;
        }
        EXPECT_EQ(closedAmong(clients), before) << places;
    }
}

TEST_F(RpcListenerUsersTest, AllOfWhomNothingIsKnownAreOne)
{
    listen(4);
    std::vector<LoopbackClient> unknown = served(kUnknown, 4);
    EXPECT_TRUE(isRefused(kUnknown));
    LoopbackClient panel = served(kPanel);
    EXPECT_TRUE(isClosed(unknown[0]));
    EXPECT_EQ(closedAmong(unknown), 1u);

    listen(4);
    std::vector<LoopbackClient> greedy = served(kGreedy, 4);
    LoopbackClient one = served(kUnknown);
    EXPECT_TRUE(isRefused(kUnknown));
    EXPECT_EQ(closedAmong(greedy), 1u);
    EXPECT_TRUE(works(one));
}

TEST_F(RpcListenerUsersTest, OneThatIsAnsweredLaterIsSparedUnlessThereIsNoOther)
{
    listen(3);
    std::vector<LoopbackClient> greedy = served(kGreedy, 3);
    const auto callLater = [&](std::size_t i) {
        const std::size_t before = handler().waiting.size();
        greedy[i].send(raw::request(5, "later", "x"));
        ASSERT_TRUE(soon([&] { return handler().waiting.size() > before; }));
    };
    callLater(0);
    LoopbackClient panel = served(kPanel);
    EXPECT_TRUE(isClosed(greedy[1]));
    handler().answerOne();
    EXPECT_TRUE(answers(greedy[0], raw::reply(5, "x")));

    listen(3);
    greedy = served(kGreedy, 3);
    for (std::size_t i = 0; i < 3; ++i) callLater(i);
    panel = served(kPanel);
    EXPECT_TRUE(isClosed(greedy[0]));
    handler().answerAll();
    EXPECT_TRUE(answers(greedy[1], raw::reply(5, "x")));
    EXPECT_TRUE(answers(greedy[2], raw::reply(5, "x")));
}

TEST_F(RpcListenerUsersTest, OneThatAsksIsNotSparedAndOneWithoutAnAnswerGoesFirst)
{
    listen(3);
    std::vector<LoopbackClient> greedy = served(kGreedy, 2);
    greedy.push_back(coming(kGreedy));
    ASSERT_TRUE(soon([&] { return listener()->clientCount() == 3; }));
    // All of it is pending when the server looks, the newcomer first.
    LoopbackClient panel = coming(kPanel);
    greedy[2].send(request(1));
    EXPECT_TRUE(works(panel));
    EXPECT_TRUE(isClosed(greedy[2]));
    EXPECT_EQ(closedAmong(greedy), 1u);
}

TEST_F(RpcListenerUsersTest, ManyThatComeAtTheSameMomentGetNoMoreThanTheirShare)
{
    listen(20);
    std::vector<LoopbackClient> greedy = served(kGreedy, 20);
    std::vector<LoopbackClient> panel;
    while (panel.size() < 30) panel.push_back(coming(kPanel));
    for (LoopbackClient& client : panel) client.send(request(1));
    EXPECT_TRUE(soon([&] { return closedAmong(panel) == 21; }));
    EXPECT_EQ(listener()->clientCount(), 20u);
    for (std::size_t i = 0; i < 9; ++i) {
        EXPECT_TRUE(isClosed(greedy[i]));
        EXPECT_TRUE(answers(panel[i], reply(1)));
    }
    greedy.erase(greedy.begin(), greedy.begin() + 9);
    EXPECT_TRUE(allWork(greedy));
}

TEST_F(RpcListenerUsersTest, OutOfDescriptorsTheOneWithTheMostGivesOneUpToo)
{
    listen(100);
    std::vector<LoopbackClient> greedy = served(kGreedy, 4);
    LoopbackClient panel;
    panel.comeFrom(kPanel);
    LoopbackClient another;
    another.comeFrom(kGreedy);
    const FewDescriptors few;
    panel.connect(port());
    EXPECT_TRUE(works(panel));
    EXPECT_TRUE(isClosed(greedy[0]));
    another.connect(port());
    EXPECT_TRUE(isClosed(another));
    EXPECT_EQ(closedAmong(greedy), 1u);
    EXPECT_EQ(listener()->clientCount(), 4u);
}

}  // namespace
