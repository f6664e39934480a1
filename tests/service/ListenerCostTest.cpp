#include "tests/platform/Costs.h"
#include "tests/service/ListenerFixture.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// What clients cost the service. A program of its own: Costs replaces functions of the process.
namespace
{

class ListenerCostTest : public ListenerFixture
{
protected:
    // A call that the service sends back, in as many pieces as the system makes of it.
    void echo(LoopbackClient& client, std::size_t bytes)
    {
        std::string left = raw::request(1, "echo", std::string(bytes, 'x'));
        std::size_t expected = raw::reply(1, std::string(bytes, 'x')).size();
        ASSERT_TRUE(soon([&] {
            left.erase(0, left.empty() ? 0 : client.trySend(left));
            return client.received().size() >= expected;
        }));
        client.forget();
    }
};

TEST_F(ListenerCostTest, AnIdleClientHoldsNoMoreThanEightKibibytes)
{
    constexpr std::ptrdiff_t kClients = 1000;
    std::vector<LoopbackClient> clients(kClients);
    LoopbackClient first = connected();
    echo(first, 200000);
    echo(first, 10);
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    for (LoopbackClient& client : clients) {
        client.connect(port());
        echo(client, 200000);
        for (int call = 0; call < 3; ++call) echo(client, 10);
    }
    const std::ptrdiff_t held = costs.heldBytes;
    EXPECT_EQ(listener()->clientCount(), 1001u);
    EXPECT_GT(held, 0);
    EXPECT_LE(held / kClients, 8 * 1024);
}

TEST_F(ListenerCostTest, ASmallCallAllocatesNothing)
{
    LoopbackClient client = connected();
    for (int call = 0; call < 3; ++call) echo(client, 10);
    const std::string request = raw::request(1, "echo", "1234");
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    client.send(request);
    loop().turn(1000);
    const int allocations = costs.allocations;
    EXPECT_EQ(client.received(), raw::reply(1, "1234"));
    EXPECT_EQ(allocations, 0);
}

TEST_F(ListenerCostTest, AClientHoldsNoMoreBehindACallThatWasAnsweredLater)
{
    constexpr std::ptrdiff_t kClients = 1000;
    std::vector<LoopbackClient> clients(kClients);
    const std::string request = raw::request(1, "later", std::string(50000, 'x'));
    Costs& costs = Costs::ofThisThread();
    LoopbackClient first = connected();
    echo(first, 200000);
    costs.reset();
    for (LoopbackClient& client : clients) {
        client.connect(port());
        echo(client, 10);
        client.send(request);
        ASSERT_TRUE(soon([&] { return !handler().waiting.empty(); }));
        handler().answerOne();
        ASSERT_FALSE(client.received().empty());
        client.forget();
    }
    const std::ptrdiff_t held = costs.heldBytes;
    EXPECT_EQ(listener()->clientCount(), 1001u);
    EXPECT_LE(held / kClients, 1024);
}

TEST_F(ListenerCostTest, ALateAnswerGoesOutWithADirectWriteAndNothingIsReadMeanwhile)
{
    LoopbackClient client = connected();
    for (int call = 0; call < 3; ++call) echo(client, 10);
    client.send(raw::request(1, "later", "1234"));
    loop().turn(1000);
    ASSERT_EQ(handler().waiting.size(), 1u);
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    EXPECT_FALSE(loop().turn(0));
    handler().answerOne();
    const Costs cost = costs;
    EXPECT_EQ(cost.receives, 0);
    EXPECT_EQ(cost.sends, 1);
    EXPECT_EQ(client.received(), raw::reply(1, "1234"));
}

TEST_F(ListenerCostTest, AReplyThatFitsGoesOutWithADirectWrite)
{
    LoopbackClient client = connected();
    echo(client, 10);
    const std::string request = raw::request(1, "echo", "1234");
    Costs& costs = Costs::ofThisThread();
    client.send(request);
    costs.reset();
    loop().turn(1000);
    const Costs cost = costs;
    EXPECT_EQ(cost.receives, 1);
    EXPECT_EQ(cost.sends, 1);
    EXPECT_EQ(client.received(), raw::reply(1, "1234"));
}

}  // namespace
