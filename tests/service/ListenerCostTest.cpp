#include "tests/platform/Costs.h"
#include "tests/service/ListenerFixture.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

// What clients cost the service. A program of its own: Costs replaces functions of the process.
namespace
{

// Sends back what it is called with.
class Echo final : public QZ::RPC::IDispatcher
{
public:
    const char* dispatch(std::string_view, QZ::utils::IBuffer& args,
                         QZ::utils::IBuffer& result) override
    {
        std::string block(args.size(), '\0');
        args.read(block.data(), args.size(), 0);
        result.write(block.data(), static_cast<unsigned int>(std::uint64_t{block.size()}), 0);
        return nullptr;
    }
};

class ListenerCostTest : public ListenerFixture
{
protected:
    void SetUp() override
    {
        ListenerFixture::SetUp();
        listener() = std::make_unique<vpnd::RpcListener>(
            loop(), *vpnd::Endpoint::parse("127.0.0.1:0"), m_echo, log());
    }

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

private:
    Echo m_echo;
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
