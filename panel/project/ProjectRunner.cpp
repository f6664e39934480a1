#include "panel/project/ProjectRunner.h"

#include "panel/project/DeviceRunner.h"
#include "panel/runtime/HostFunctions.h"
#include "panel/runtime/PanelError.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace panel
{

namespace
{

using RunClock = StopSignal::Clock;

// A driver that has not come back by then never will: more than six service
// calls of 10 s each.
constexpr std::chrono::milliseconds kLongestEnd{75000};
constexpr std::chrono::milliseconds kLongestLook{250};

// What the threads of the devices leave behind. The last one raises the stop.
class Outcome
{
public:
    Outcome(std::size_t devices, const StopSignal& stop) : m_stop(stop), m_running(devices) {}

    // error is empty when the device could do its work.
    void done(bool allWell, const std::string& error)
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!allWell) m_allWell = false;
        if (m_error.empty()) m_error = error;
        // Without one of its devices the project is not what it was meant to be.
        if (--m_running == 0 || !error.empty()) m_stop.raise();
        m_changed.notify_all();
    }
    bool waitForAll(RunClock::time_point deadline)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_until(lock, deadline, [this] { return m_running == 0; });
    }
    bool allWell() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_error.empty()) throw PanelError(m_error);
        return m_allWell;
    }

private:
    const StopSignal& m_stop;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_running;
    bool m_allWell = true;
    std::string m_error;
};

// The host's watchdog, looked at from time to time. Throws nothing while threads are
// running: what fails raises the stop and is kept.
class WatchdogLook
{
public:
    WatchdogLook(int limitMs, IRunEvents& events, const StopSignal& stop)
        : m_limit(limitMs), m_events(events), m_stop(stop)
    {
    }

    RunClock::time_point next() const
    {
        return RunClock::now() +
               std::clamp(m_limit / 4, std::chrono::milliseconds(1), kLongestLook);
    }
    void look()
    {
        try {
            for (const auto& report : hostWatchdog().look(RunClock::now(), m_limit)) {
                m_events.watchdog(report);
            }
        } catch (const std::exception&) {
            if (!m_failure) m_failure = std::current_exception();
            m_stop.raise();
        }
    }
    void rethrowFailure() const
    {
        if (m_failure) std::rethrow_exception(m_failure);
    }

private:
    std::chrono::milliseconds m_limit;
    IRunEvents& m_events;
    const StopSignal& m_stop;
    std::exception_ptr m_failure;
};

void runDevice(DeviceRunner& runner, RunClock::time_point start, Outcome& outcome)
{
    try {
        outcome.done(runner.run(start), {});
    } catch (const std::exception& error) {
        outcome.done(true, error.what());
    }
}

void waitForTheEnd(const Project& project, RunClock::time_point start, WatchdogLook& watchdog,
                   const StopSignal& stop)
{
    const RunClock::time_point end = project.durationMs == 0
                                         ? RunClock::time_point::max()
                                         : start + std::chrono::milliseconds(project.durationMs);
    while (RunClock::now() < end && !stop.waitUntil(std::min(end, watchdog.next()))) {
        watchdog.look();
    }
    stop.raise();
}

// A driver in the middle of a call comes back when the call is over.
void waitForTheDevices(Outcome& outcome, WatchdogLook& watchdog, void (*giveUp)())
{
    const RunClock::time_point patience = RunClock::now() + kLongestEnd;
    while (!outcome.waitForAll(watchdog.next())) {
        watchdog.look();
        if (RunClock::now() >= patience) giveUp();
    }
}

}  // namespace

bool runProject(const Project& project,
                const std::vector<std::unique_ptr<DriverLibrary>>& libraries,
                VariableStore& variables, IRunEvents& events, const StopSignal& stop,
                void (*giveUp)())
{
    Outcome outcome(project.devices.size(), stop);
    WatchdogLook watchdog(project.watchdogMs, events, stop);
    const RunClock::time_point start = RunClock::now();
    std::deque<DeviceRunner> runners;  // all of them before the first one runs
    for (std::size_t i = 0; i < project.devices.size(); ++i) {
        runners.emplace_back(project, i, *libraries[i], variables, events, stop);
    }
    std::vector<std::thread> threads;
    for (DeviceRunner& runner : runners) {
        try {
            threads.emplace_back(runDevice, std::ref(runner), start, std::ref(outcome));
        } catch (const std::system_error& error) {
            outcome.done(true, std::string("cannot start a thread: ") + error.what());
        }
    }
    waitForTheEnd(project, start, watchdog, stop);
    waitForTheDevices(outcome, watchdog, giveUp);
    for (std::thread& thread : threads) thread.join();
    watchdog.rethrowFailure();
    return outcome.allWell();
}

}  // namespace panel
