#pragma once

#include "common/Descriptor.h"
#include "service/base/Clock.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace vpnd
{

using common::Descriptor;

class Timer;
class Watch;

// Who is called when a descriptor is ready.
class IWatcher
{
public:
    // With events as epoll names them. May end watches and timers, its own watch too.
    virtual void onReady(std::uint32_t events) = 0;

protected:
    ~IWatcher() = default;
};

// Waits for descriptors and times, on one thread.
//   1. Watches and timers are made over it.
//   2. run() calls them, until one of them says stop().
//   3. They end before it does.
class EventLoop
{
public:
    // Raises std::system_error when the system has no descriptor left.
    explicit EventLoop(Clock clock);
    EventLoop(const EventLoop&) = delete;
    EventLoop& operator=(const EventLoop&) = delete;

    std::int64_t nowMs() const { return m_clock(); }

    // Returns after stop(), however much is ready then.
    void run();
    // One wait, for maxWaitMs at most or, if negative, for ever; then one call for each
    // of up to 64 descriptors, in turns, and for each timer that is due. A watch that has
    // ended is not called, also when it was ready before. False when no descriptor was ready.
    // Raises std::system_error when the system refuses to wait.
    bool turn(int maxWaitMs);
    void stop() { m_stopped = true; }

private:
    friend class Timer;
    friend class Watch;

    // What is known of a descriptor. Its number is soon used again: the generation tells
    // an event of the present watch from one of a watch before it.
    struct Slot {
        IWatcher* watcher = nullptr;
        std::uint32_t generation = 0;
    };

    void control(int operation, int descriptor, std::uint32_t events);
    void call(std::uint64_t key, std::uint32_t events);
    Timer* nextTimer() const;
    int untilNextTimer(int maxWaitMs) const;
    void fireTimers();

    Clock m_clock;
    Descriptor m_epoll;
    std::vector<Slot> m_slots;  // by descriptor
    std::vector<Timer*> m_timers;
    bool m_stopped = false;
};

// A descriptor that the loop looks at for as long as this lives; closed with it.
// The watcher is called as long as an event lasts, not only when it begins.
class Watch
{
public:
    // Borrows loop and watcher. Raises std::system_error when the system refuses.
    Watch(EventLoop& loop, Descriptor descriptor, std::uint32_t events, IWatcher& watcher);
    ~Watch();
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    int descriptor() const { return m_descriptor.get(); }
    std::uint32_t events() const { return m_events; }
    // Other events from now on; errors and hang-ups are told always.
    void setEvents(std::uint32_t events);

private:
    EventLoop& m_loop;
    Descriptor m_descriptor;
    std::uint32_t m_events;
};

// Calls once after each start(). Must not be destroyed by its own call.
class Timer
{
public:
    Timer(EventLoop& loop, std::function<void()> action);
    ~Timer();
    Timer(const Timer&) = delete;
    Timer& operator=(const Timer&) = delete;

    // In so many milliseconds, 1 at least; an earlier start() counts no more.
    void start(std::int64_t delayMs);
    void cancel() { m_dueMs.reset(); }
    bool isRunning() const { return m_dueMs.has_value(); }

private:
    friend class EventLoop;

    EventLoop& m_loop;
    std::function<void()> m_action;
    std::optional<std::int64_t> m_dueMs;
};

}  // namespace vpnd
