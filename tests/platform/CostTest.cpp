#include "tests/platform/Costs.h"
#include "tests/platform/EndlessService.h"
#include "tests/platform/PeerLink.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

using namespace peer_link;
using QZ::RPC::SyncProxy;
using QZ::utils::String;

class SteadyCallTest : public testing::Test
{
protected:
    // Makes one call whose reply is there already; answers what it cost.
    Costs costOfCall(unsigned int timeOutMs)
    {
        EXPECT_TRUE(link.send(reply(++m_calls, block)));
        bool matches = false;
        Costs& costs = Costs::ofThisThread();
        costs.reset();
        {
            SyncProxy proxy(&link.client);
            proxy.setTimeOut(timeOutMs);
            proxy.argsBuffer(method)->write("argument", 8, 0);
            proxy.sync();
            char bytes[32];
            matches = proxy.resultBuffer()->read(bytes, sizeof bytes, 0) != 0;
        }
        const Costs cost = costs;
        EXPECT_TRUE(matches);
        EXPECT_FALSE(link.takeRequest().empty());
        return cost;
    }

    PeerLink link;
    const String method = "getDeviceVPNInfo";
    const std::string block = "as long as a record is, more or less";

private:
    std::uint32_t m_calls = 0;
};

TEST_F(SteadyCallTest, CostsOneSendAndOneReceive)
{
    costOfCall(10000);
    for (int i = 0; i < 100; ++i) {
        const Costs cost = costOfCall(10000);
        ASSERT_EQ(cost.sends, 1);
        ASSERT_EQ(cost.receives, 1);
        ASSERT_EQ(cost.polls, 0);
        ASSERT_EQ(cost.options, 0);
    }
}

TEST_F(SteadyCallTest, AllocatesNothing)
{
    costOfCall(10000);
    for (int i = 0; i < 100; ++i) ASSERT_EQ(costOfCall(10000).allocations, 0);
}

TEST_F(SteadyCallTest, SetsTheTimeOutOfTheSocketOnlyWhenItChanges)
{
    EXPECT_EQ(costOfCall(10000).options, 1);
    EXPECT_EQ(costOfCall(10000).options, 0);
    EXPECT_EQ(costOfCall(3000).options, 1);
    EXPECT_EQ(costOfCall(3000).options, 0);
    EXPECT_EQ(costOfCall(10000).options, 1);
    EXPECT_EQ(costOfCall(10000).options, 0);
}

TEST_F(SteadyCallTest, ALookWhetherItIsOnlineCostsOneReceive)
{
    costOfCall(10000);
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    EXPECT_TRUE(link.client.online());
    EXPECT_EQ(costs.receives, 1);
    EXPECT_EQ(costs.systemCalls(), 1);
}

TEST(CostTest, ALengthThatIsRefusedAllocatesNothing)
{
    const unsigned char lengths[][4] = {
        {1, 0, 0, 0}, {0xFF, 0xFF, 0xFF, 0x7F}, {0, 0, 0, 0x80}, {0xFF, 0xFF, 0xFF, 0xFF}};
    for (const auto& length : lengths) {
        String text;
        QZ::RPC::ByteView forMember(length, 4);
        QZ::RPC::ByteView forFunction(length, 4);
        Costs& costs = Costs::ofThisThread();
        costs.reset();
        const int member = text.deserialize(&forMember);
        const int function = QZ::utils::Deserialize(&forFunction, text);
        const int allocations = costs.allocations;
        EXPECT_EQ(allocations, 0);
        EXPECT_EQ(member, 0);
        EXPECT_EQ(function, 0);
    }
}

TEST(CostTest, AStringForWhichThereIsNoMemoryIsRefused)
{
    QZ::RPC::ByteBuffer buffer;
    ASSERT_NE(String(std::string(100000, 'x')).serialize(&buffer), 0);
    String text("old");
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    costs.allocationLimit = 1000;
    const int result = text.deserialize(&buffer);
    costs.reset();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(text, "old");
}

TEST(CostTest, AReplyForWhichThereIsNoMemoryBreaksTheConnection)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, std::string(100000, 'x'))));
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    costs.allocationLimit = 6000;
    const Outcome outcome = call(link.client, 5000);
    costs.reset();
    EXPECT_EQ(outcome.info, "out of memory");
    EXPECT_FALSE(link.client.online());
}

TEST(CostTest, AMethodNameThatIsTooLongAllocatesNothing)
{
    Bytes body = {1, 0, 0, 0, 65, 0, 0, 0};
    body.resize(1000, 'm');
    QZ::RPC::ByteView view(body.data(), body.size());
    QZ::RPC::RequestHead head;
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    const bool isRead = readHead(view, head);
    const int allocations = costs.allocations;
    EXPECT_FALSE(isRead);
    EXPECT_EQ(allocations, 0);
}

TEST(CostTest, LateRepliesThatComeWhileSendingAreNotKept)
{
    PeerLink link;
    EXPECT_EQ(call(link.client, 1).info, "no reply within 1 ms");
    const EndlessService service(link, reply(1, std::string(20000, 'x')), 0);
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    const Outcome outcome = call(link.client, 200, std::string(500000, 'a'));
    const Costs cost = costs;
    EXPECT_EQ(outcome.info, "request not sent within 200 ms");
    EXPECT_GT(cost.receives, 2);
    // The request twice, and a few replies.
    EXPECT_LT(cost.allocatedBytes, 2000000u);
}

TEST(CostTest, ARequestThatIsRefusedIsNotSent)
{
    PeerLink link;
    const std::string tooLong(QZ::RPC::kMaxFrameBytes, 'a');
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    const Outcome outcome = call(link.client, 1000, tooLong);
    EXPECT_EQ(costs.systemCalls(), 0);
    EXPECT_TRUE(outcome.raised);
}

}  // namespace
