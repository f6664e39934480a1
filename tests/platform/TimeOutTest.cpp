#include "tests/platform/PeerLink.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <functional>
#include <list>
#include <mutex>
#include <thread>

// A call ends when its time is over: not before, and at most 20 ms later than poll(), the
// kernel's exact wait, does in the same run. Every call counts.
namespace
{

using Milliseconds = std::chrono::duration<double, std::milli>;

constexpr Milliseconds kTolerance(20);

// Time that this thread wanted to run and another one had the processor: the machine's.
Milliseconds stolenTime()
{
    std::ifstream file("/proc/thread-self/schedstat");
    double ranNs = 0;
    double waitedNs = 0;
    file >> ranNs >> waitedNs;
    return std::chrono::duration<double, std::nano>(waitedNs);
}

// How much longer than it should an action took.
template <class Action>
Milliseconds latenessOf(Milliseconds expected, Action action)
{
    const Milliseconds stolenBefore = stolenTime();
    const auto begin = std::chrono::steady_clock::now();
    action();
    const Milliseconds took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took.count(), expected.count());
    return took - expected - (stolenTime() - stolenBefore);
}

// One length of time: calls and bare polls beside each other until both ran so often.
class Race
{
public:
    Race(int timeOutMs, int rounds, int pairs) : m_timeOutMs(timeOutMs), m_rounds(rounds)
    {
        for (int i = 0; i < pairs; ++i) {
            // Begun at different places between the ticks of the kernel's coarse timers.
            const std::chrono::milliseconds shift(37 * i);
            m_threads.emplace_back([=] { run(shift, m_worstCall, callOn()); });
            m_threads.emplace_back(
                [=] { run(shift, m_worstPoll, [this] { poll(nullptr, 0, m_timeOutMs); }); });
        }
    }
    void finish()
    {
        for (std::thread& thread : m_threads) thread.join();
        const std::string times = std::to_string(m_timeOutMs) + " ms: worst call " +
                                  std::to_string(m_worstCall.count()) + " ms late, worst poll " +
                                  std::to_string(m_worstPoll.count()) + " ms";
        std::printf("%s\n", times.c_str());
        EXPECT_LE(m_worstCall.count(), (m_worstPoll + kTolerance).count()) << times;
    }

private:
    // A call over a connection of its own, to a service that never answers.
    std::function<void()> callOn() const
    {
        auto link = std::make_shared<peer_link::PeerLink>();
        return [=] {
            const auto timeOutMs = static_cast<unsigned int>(m_timeOutMs);
            const peer_link::Outcome outcome = peer_link::call(link->client, timeOutMs);
            EXPECT_EQ(outcome.info, "no reply within " + std::to_string(timeOutMs) + " ms");
            EXPECT_FALSE(link->takeRequest().empty());
        };
    }
    void run(std::chrono::milliseconds shift, Milliseconds& worst,
             const std::function<void()>& wait)
    {
        std::this_thread::sleep_for(shift);
        for (int i = 0; i < m_rounds; ++i) {
            const Milliseconds late = latenessOf(std::chrono::milliseconds(m_timeOutMs), wait);
            const std::lock_guard<std::mutex> lock(m_mutex);
            worst = std::max(worst, late);
        }
    }

    const int m_timeOutMs;
    const int m_rounds;
    std::mutex m_mutex;
    Milliseconds m_worstCall{0};
    Milliseconds m_worstPoll{0};
    std::list<std::thread> m_threads;
};

TEST(TimeOutTest, NoCallEndsBeforeItsTimeOrLate)
{
    Race races[] = {{10, 300, 1}, {40, 80, 1}, {150, 20, 2}, {700, 4, 4}, {3000, 1, 8}};
    for (Race& race : races) race.finish();
}

}  // namespace
