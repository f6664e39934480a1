#include "panel/runtime/StopSignal.h"

#include <poll.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>

namespace panel
{

namespace
{

constexpr std::array<int, 2> kSignals = {SIGINT, SIGTERM};

// What the handler needs; -1 while nobody listens.
std::atomic<int> wakeFd{-1};
std::array<struct sigaction, kSignals.size()> oldActions;
std::atomic<bool> taken{false};  // one of the signals has come

extern "C" void onStopSignal(int number)
{
    const int savedErrno = errno;
    // A driver that does not come back must not keep people: the second of either
    // signal ends the program, even when two threads take both at the same time.
    if (taken.exchange(true)) {
        std::signal(number, SIG_DFL);
        ::raise(number);  // waits for the end of this handler
    }
    Wakeup::wake(wakeFd.load());
    errno = savedErrno;
}

}  // namespace

StopSignal::StopSignal()
{
    wakeFd = m_stop.fd();
    taken = false;
    struct sigaction action = {};
    action.sa_handler = onStopSignal;
    action.sa_flags = SA_RESTART;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &action, &oldActions[i]);
    }
}

StopSignal::~StopSignal()
{
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        ::sigaction(kSignals[i], &oldActions[i], nullptr);
    }
    wakeFd = -1;
}

bool StopSignal::waitUntil(Clock::time_point deadline, const Wakeup* also) const
{
    constexpr std::chrono::milliseconds kLongestWait{60000};
    while (true) {
        const Clock::time_point now = Clock::now();
        int timeoutMs = 0;
        if (deadline > now) {
            // Rounded up, so that the deadline is over when the wait is.
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(
                std::min<Clock::duration>(deadline - now, kLongestWait));
            timeoutMs = static_cast<int>(left.count());
        }
        // poll() passes over a descriptor below 0.
        std::array<pollfd, 2> entries = {
            {{m_stop.fd(), POLLIN, 0}, {also == nullptr ? -1 : also->fd(), POLLIN, 0}}};
        const int count = ::poll(entries.data(), entries.size(), timeoutMs);
        if (count > 0) return entries[0].revents != 0;
        if (count < 0 && errno != EINTR) return true;  // without a wait there must be no loop
        if (count == 0 && Clock::now() >= deadline) return false;
    }
}

void StopSignal::raise() const { m_stop.wake(); }

}  // namespace panel
