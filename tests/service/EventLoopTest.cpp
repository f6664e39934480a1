#include "service/base/EventLoop.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace
{

using vpnd::Descriptor;
using vpnd::EventLoop;
using vpnd::Timer;
using vpnd::Watch;

// A pipe with a byte in it, watched for as long as this lives.
class ReadyPipe final : public vpnd::IWatcher
{
public:
    ReadyPipe(EventLoop& loop, std::function<void()> action) : m_action(std::move(action))
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
        m_writeEnd = Descriptor(ends[1]);
        if (::write(ends[1], "x", 1) != 1) throw std::runtime_error("no byte");
        m_watch = std::make_unique<Watch>(loop, Descriptor(ends[0]), EPOLLIN, *this);
    }
    void onReady(std::uint32_t) override { m_action(); }
    int descriptor() const { return m_watch->descriptor(); }

private:
    std::function<void()> m_action;
    Descriptor m_writeEnd;
    std::unique_ptr<Watch> m_watch;
};

class EventLoopTest : public testing::Test
{
protected:
    using Calls = std::vector<std::string>;

    std::function<void()> noting(const std::string& name)
    {
        return [this, name] { calls.push_back(name); };
    }

    std::int64_t nowMs = 5000;
    EventLoop loop{[this] { return nowMs; }};
    Calls calls;
};

TEST_F(EventLoopTest, AWaitThatTheSystemRefusesIsRaisedInsteadOfTriedForEver)
{
    // The lowest free number is the next one.
    const int next = ::dup(STDIN_FILENO);
    ::close(next);
    EventLoop broken([this] { return nowMs; });
    ::close(next);
    EXPECT_THROW(broken.run(), std::system_error);
}

TEST_F(EventLoopTest, EveryoneWhoIsReadyIsCalledInEachTurn)
{
    const ReadyPipe one(loop, noting("one"));
    const ReadyPipe two(loop, noting("two"));
    loop.turn(0);
    EXPECT_EQ(calls, (Calls{"one", "two"}));
    loop.turn(-1);
    EXPECT_EQ(calls.size(), 4u) << "a byte that nobody reads stays an event";
}

TEST_F(EventLoopTest, AWatchThatHasEndedIsNotCalledForWhatWasReadyBefore)
{
    std::unique_ptr<ReadyPipe> pipes[2];
    for (int i = 0; i < 2; ++i) {
        // Whoever is first ends the other one.
        pipes[i] = std::make_unique<ReadyPipe>(loop, [&, i] {
            calls.push_back("first");
            pipes[1 - i].reset();
        });
    }
    loop.turn(0);
    EXPECT_EQ(calls, Calls{"first"});
}

TEST_F(EventLoopTest, AWatchMayEndItself)
{
    std::unique_ptr<ReadyPipe> pipe;
    pipe = std::make_unique<ReadyPipe>(loop, [&] {
        calls.push_back("once");
        pipe.reset();
    });
    loop.turn(0);
    loop.turn(0);
    EXPECT_EQ(calls, Calls{"once"});
}

TEST_F(EventLoopTest, ANewWatchWithTheNumberOfAnEndedOneGetsNoneOfItsEvents)
{
    std::unique_ptr<ReadyPipe> old;
    std::unique_ptr<ReadyPipe> successor;
    const ReadyPipe first(loop, [&] {
        if (!old) return;
        const int number = old->descriptor();
        old.reset();
        successor = std::make_unique<ReadyPipe>(loop, noting("successor"));
        EXPECT_EQ(successor->descriptor(), number) << "the test needs the same number";
    });
    old = std::make_unique<ReadyPipe>(loop, noting("old"));
    loop.turn(0);
    EXPECT_EQ(calls, Calls{});
    loop.turn(0);
    EXPECT_EQ(calls, Calls{"successor"});
}

TEST_F(EventLoopTest, AWatchIsCalledForWhatItWaitsForOnly)
{
    class Counter final : public vpnd::IWatcher
    {
    public:
        void onReady(std::uint32_t events) override { seen.push_back(events); }
        std::vector<std::uint32_t> seen;
    } counter;
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const Descriptor readEnd(ends[0]);
    Watch watch(loop, Descriptor(ends[1]), 0, counter);
    EXPECT_FALSE(loop.turn(0));
    EXPECT_TRUE(counter.seen.empty());
    watch.setEvents(EPOLLOUT);
    EXPECT_TRUE(loop.turn(0));
    EXPECT_EQ(counter.seen, std::vector<std::uint32_t>{EPOLLOUT});
}

TEST_F(EventLoopTest, StoppedItCallsNobodyElse)
{
    const ReadyPipe stops(loop, [this] {
        calls.push_back("stop");
        loop.stop();
    });
    const ReadyPipe ready(loop, noting("ready"));
    Timer timer(loop, noting("timer"));
    timer.start(1);
    nowMs += 1;
    loop.run();
    EXPECT_EQ(calls, Calls{"stop"});
}

TEST_F(EventLoopTest, TimersGoOffInTheirOrderOnceEach)
{
    Timer late(loop, noting("late"));
    Timer early(loop, noting("early"));
    late.start(20);
    early.start(10);
    loop.turn(0);
    EXPECT_EQ(calls, Calls{});
    nowMs += 9;
    loop.turn(0);
    EXPECT_EQ(calls, Calls{});
    nowMs += 100;
    loop.turn(-1);
    EXPECT_EQ(calls, (Calls{"early", "late"}));
    loop.turn(0);
    EXPECT_EQ(calls.size(), 2u);
}

TEST_F(EventLoopTest, ATimerCancelledByAnotherOneDoesNotGoOff)
{
    Timer second(loop, noting("second"));
    Timer first(loop, [&] {
        calls.push_back("first");
        second.cancel();
    });
    first.start(1);
    second.start(2);
    nowMs += 10;
    loop.turn(0);
    EXPECT_EQ(calls, Calls{"first"});
    EXPECT_FALSE(second.isRunning());
}

TEST_F(EventLoopTest, ATimerThatHasEndedDoesNotGoOff)
{
    auto timer = std::make_unique<Timer>(loop, noting("timer"));
    timer->start(1);
    nowMs += 1;
    timer.reset();
    loop.turn(0);
    EXPECT_EQ(calls, Calls{});
}

TEST_F(EventLoopTest, ATimerThatStartsItselfAgainDoesNotHoldUpTheLoop)
{
    Timer* itself = nullptr;
    Timer timer(loop, [&] {
        calls.push_back("again");
        itself->start(0);
    });
    itself = &timer;
    timer.start(0);
    nowMs += 1;
    loop.turn(0);
    EXPECT_EQ(calls, Calls{"again"});
    nowMs += 1;
    loop.turn(0);
    EXPECT_EQ(calls.size(), 2u);
}

TEST_F(EventLoopTest, TimersGoOffAlsoWhileSomebodyIsAlwaysReady)
{
    const ReadyPipe always(loop, [] {});
    Timer timer(loop, noting("timer"));
    timer.start(1);
    nowMs += 1;
    loop.turn(-1);
    EXPECT_EQ(calls, Calls{"timer"});
}

TEST_F(EventLoopTest, MoreThanATurnCanCallGetTheirTurnOneAfterTheOther)
{
    std::vector<int> counts(200);
    std::vector<std::unique_ptr<ReadyPipe>> pipes;
    for (int& count : counts) {
        pipes.push_back(std::make_unique<ReadyPipe>(loop, [&count] { ++count; }));
    }
    for (int turn = 0; turn < 4; ++turn) loop.turn(0);
    for (const int count : counts) EXPECT_GE(count, 1);
}

TEST_F(EventLoopTest, ItWaitsForTheNextTimerAndNoLonger)
{
    const auto begin = std::chrono::steady_clock::now();
    EventLoop real([] {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
    });
    Timer timer(real, [&] { real.stop(); });
    timer.start(30);
    real.run();
    EXPECT_GE(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(29));
}

}  // namespace
