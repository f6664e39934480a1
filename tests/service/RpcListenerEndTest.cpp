#include "tests/service/FewDescriptors.h"
#include "tests/service/ListenerFixture.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

// The end of a listener that has much to do.
namespace
{

using vpnd::Descriptor;

// Does something from within a turn of the loop.
class FromTheLoop final : public vpnd::IWatcher
{
public:
    FromTheLoop(vpnd::EventLoop& loop, std::function<void()> action)
        : m_action(std::move(action)), m_watch(loop, readable(), EPOLLIN, *this)
    {
    }
    void onReady(std::uint32_t) override { m_action(); }

private:
    static Descriptor readable()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        ::close(ends[1]);
        return Descriptor(ends[0]);
    }

    std::function<void()> m_action;
    vpnd::Watch m_watch;
};

class RpcListenerEndTest : public ListenerFixture
{
protected:
    // What may be under way for longer: one that does not read, one with many requests left.
    void someAreAtWork()
    {
        while (served.size() < 4) served.push_back(ListenerFixture::served());
        deaf.connect(port());
        loop().turn(1000);
        stall(deaf);
        ASSERT_FALSE(deaf.closed());
        std::string requests;
        for (int i = 0; i < 300; ++i) requests += request(1);
        served[0].send(requests);
        loop().turn(0);
    }
    // What is ready in the same turn: connections to be taken, requests to be read, good and
    // malformed, and one that has left.
    void moreComes()
    {
        served[1].send(request(1));
        served[2].send(raw::u32(0));
        served[3].finishSending();
        for (LoopbackClient& client : waiting) client.connect(port());
    }
    void everythingIsPending()
    {
        someAreAtWork();
        moreComes();
    }
    void allAreClosed()
    {
        for (LoopbackClient& client : served) EXPECT_TRUE(isClosed(client));
        for (LoopbackClient& client : waiting) EXPECT_TRUE(isClosed(client));
        EXPECT_TRUE(isClosed(deaf));
    }
    void someTurns()
    {
        for (int turn = 0; turn < 10; ++turn) loop().turn(0);
    }

    std::vector<LoopbackClient> served;
    std::vector<LoopbackClient> waiting{3};
    LoopbackClient deaf{4096};
};

TEST_F(RpcListenerEndTest, StoppedWithEverythingPendingItDoesNothingMore)
{
    everythingIsPending();
    listener()->stop();
    EXPECT_EQ(listener()->clientCount(), 0u);
    someTurns();
    EXPECT_EQ(listener()->clientCount(), 0u);
    allAreClosed();
    listener()->stop();
}

TEST_F(RpcListenerEndTest, DestroyedWithEverythingPendingItDoesNothingMore)
{
    everythingIsPending();
    listener().reset();
    someTurns();
    allAreClosed();
}

TEST_F(RpcListenerEndTest, StoppedInTheMidstOfATurnItDoesNothingMore)
{
    // Ready before all else in that turn, or behind it.
    for (const bool first : {true, false}) {
        listen(100);
        served.clear();
        waiting = std::vector<LoopbackClient>(3);
        deaf = LoopbackClient(4096);
        std::unique_ptr<FromTheLoop> stop;
        const auto comes = [&] {
            stop = std::make_unique<FromTheLoop>(loop(), [&] { listener()->stop(); });
        };
        someAreAtWork();
        if (first) comes();
        moreComes();
        if (!first) comes();
        loop().turn(0);
        EXPECT_EQ(listener()->clientCount(), 0u);
        someTurns();
        EXPECT_EQ(listener()->clientCount(), 0u);
        allAreClosed();
    }
}

TEST_F(RpcListenerEndTest, DestroyedInTheMidstOfATurnItIsTouchedNoMore)
{
    someAreAtWork();
    const FromTheLoop destroys(loop(), [&] { listener().reset(); });
    moreComes();
    loop().turn(0);
    someTurns();
    allAreClosed();
}

TEST_F(RpcListenerEndTest, AStopWhileAcceptingIsDelayedIsForGood)
{
    for (const bool destroyed : {false, true}) {
        listen(100);
        LoopbackClient client = ListenerFixture::served();
        LoopbackClient late;
        {
            const std::uint16_t where = port();
            vpnd::EventLoop& here = loop();
            const FewDescriptors few;
            FewDescriptors::none();
            late.connect(where);
            here.turn(1000);
            EXPECT_FALSE(here.turn(0));
            ASSERT_FALSE(late.closed());
        }
        // The time for the next try has come, and it would succeed.
        pass(1000);
        listener()->stop();
        if (destroyed) listener().reset();
        someTurns();
        EXPECT_TRUE(isClosed(late));
        EXPECT_TRUE(isClosed(client));
    }
}

TEST_F(RpcListenerEndTest, TheLoopEndsAtOnceHoweverMuchIsPending)
{
    everythingIsPending();
    const FromTheLoop ends(loop(), [&] { loop().stop(); });
    loop().run();
    EXPECT_GT(listener()->clientCount(), 0u);
}

}  // namespace
