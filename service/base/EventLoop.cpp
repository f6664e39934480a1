#include "service/base/EventLoop.h"

#include "service/base/SystemError.h"

#include <sys/epoll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <system_error>
#include <utility>

namespace vpnd
{
namespace
{

constexpr std::size_t kEventsInATurn = 64;
constexpr std::int64_t kLongestWaitMs = 60 * 60 * 1000;

std::uint64_t keyOf(int descriptor, std::uint32_t generation)
{
    return std::uint64_t{generation} << 32 | static_cast<std::uint32_t>(descriptor);
}

}  // namespace

EventLoop::EventLoop(Clock clock)
    : m_clock(std::move(clock)), m_epoll(::epoll_create1(EPOLL_CLOEXEC))
{
    if (!m_epoll) raiseSystemError("epoll");
}

void EventLoop::run()
{
    while (!m_stopped) turn(-1);
}

bool EventLoop::turn(int maxWaitMs)
{
    std::array<epoll_event, kEventsInATurn> events;
    const int count = ::epoll_wait(m_epoll.get(), events.data(), static_cast<int>(events.size()),
                                   untilNextTimer(maxWaitMs));
    if (count < 0 && errno != EINTR) raiseSystemError("epoll_wait");
    for (int i = 0; i < count && !m_stopped; ++i) {
        const epoll_event& event = events[static_cast<std::size_t>(i)];
        call(event.data.u64, event.events);
    }
    fireTimers();
    return count > 0;
}

void EventLoop::call(std::uint64_t key, std::uint32_t events)
{
    const Slot slot = m_slots[static_cast<std::uint32_t>(key)];
    if (slot.watcher != nullptr && slot.generation == key >> 32) slot.watcher->onReady(events);
}

void EventLoop::control(int operation, int descriptor, std::uint32_t events)
{
    epoll_event event{};
    event.events = events;
    event.data.u64 = keyOf(descriptor, m_slots[static_cast<std::size_t>(descriptor)].generation);
    if (::epoll_ctl(m_epoll.get(), operation, descriptor, &event) != 0)
        raiseSystemError("epoll_ctl");
}

Timer* EventLoop::nextTimer() const
{
    Timer* next = nullptr;
    for (Timer* each : m_timers) {
        if (each->isRunning() && (next == nullptr || *each->m_dueMs < *next->m_dueMs)) next = each;
    }
    return next;
}

int EventLoop::untilNextTimer(int maxWaitMs) const
{
    const Timer* next = nextTimer();
    if (next == nullptr) return maxWaitMs;
    const std::int64_t leftMs =
        std::clamp(*next->m_dueMs - m_clock(), std::int64_t{0}, kLongestWaitMs);
    const int waitMs = static_cast<int>(leftMs);
    return maxWaitMs < 0 ? waitMs : std::min(waitMs, maxWaitMs);
}

void EventLoop::fireTimers()
{
    Timer* next = nextTimer();
    if (next == nullptr) return;
    const std::int64_t nowMs = m_clock();
    for (; next != nullptr && *next->m_dueMs <= nowMs && !m_stopped; next = nextTimer()) {
        next->cancel();
        next->m_action();
    }
}

Watch::Watch(EventLoop& loop, Descriptor descriptor, std::uint32_t events, IWatcher& watcher)
    : m_loop(loop), m_descriptor(std::move(descriptor)), m_events(events)
{
    const auto index = static_cast<std::size_t>(m_descriptor.get());
    if (index >= loop.m_slots.size()) loop.m_slots.resize(index + 1);
    loop.control(EPOLL_CTL_ADD, m_descriptor.get(), events);
    loop.m_slots[index].watcher = &watcher;
}

Watch::~Watch()
{
    EventLoop::Slot& slot = m_loop.m_slots[static_cast<std::size_t>(m_descriptor.get())];
    slot.watcher = nullptr;
    ++slot.generation;
    // Closing the descriptor takes it out of the epoll set.
}

void Watch::setEvents(std::uint32_t events)
{
    if (events == m_events) return;
    m_loop.control(EPOLL_CTL_MOD, m_descriptor.get(), events);
    m_events = events;
}

Timer::Timer(EventLoop& loop, std::function<void()> action)
    : m_loop(loop), m_action(std::move(action))
{
    m_loop.m_timers.push_back(this);
}

Timer::~Timer()
{
    auto& timers = m_loop.m_timers;
    timers.erase(std::find(timers.begin(), timers.end(), this));
}

void Timer::start(std::int64_t delayMs)
{
    m_dueMs = m_loop.nowMs() + std::max(delayMs, std::int64_t{1});
}

}  // namespace vpnd
