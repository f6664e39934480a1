#include "panel/ProjectRunner.h"

#include "panel/DeviceRunner.h"
#include "panel/DriverOptions.h"
#include "panel/ExitCodes.h"
#include "panel/HostFunctions.h"
#include "panel/PanelError.h"

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <system_error>
#include <thread>

namespace panel
{

namespace
{

using Clock = StopSignal::Clock;

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
        if (!allWell) m_driverCode = true;
        if (m_error.empty()) m_error = error;
        // Without one of its devices the project is not what it was meant to be.
        if (--m_running == 0 || !error.empty()) m_stop.raise();
        m_changed.notify_all();
    }
    bool waitForAll(Clock::time_point deadline)
    {
        std::unique_lock<std::mutex> lock(m_mutex);
        return m_changed.wait_until(lock, deadline, [this] { return m_running == 0; });
    }
    int exitCode() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        if (!m_error.empty()) throw PanelError(m_error);
        return m_driverCode ? kExitDriverCode : kExitDone;
    }

private:
    const StopSignal& m_stop;
    mutable std::mutex m_mutex;
    std::condition_variable m_changed;
    std::size_t m_running;
    bool m_driverCode = false;
    std::string m_error;
};

void runDevice(DeviceRunner runner, Clock::time_point start, Outcome& outcome)
{
    try {
        outcome.done(runner.run(start), {});
    } catch (const std::exception& error) {
        outcome.done(true, error.what());
    }
}

}  // namespace

int runProject(const Project& project, const std::vector<std::unique_ptr<DriverLibrary>>& libraries,
               VariableStore& variables, RunView& view, const StopSignal& stop)
{
    Outcome outcome(project.devices.size(), stop);
    const Clock::time_point start = Clock::now();
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < project.devices.size(); ++i) {
        try {
            threads.emplace_back(runDevice,
                                 DeviceRunner(project, i, *libraries[i], variables, view, stop),
                                 start, std::ref(outcome));
        } catch (const std::system_error& error) {
            outcome.done(true, std::string("cannot start a thread: ") + error.what());
        }
    }

    const std::chrono::milliseconds limit(project.watchdogMs);
    const std::chrono::milliseconds lookPeriod =
        std::clamp(limit / 4, std::chrono::milliseconds(1), kLongestLook);
    // Nothing may leave this function while a thread is running.
    std::exception_ptr failure;
    const auto look = [&] {
        try {
            for (const auto& report : hostWatchdog().look(Clock::now(), limit)) {
                view.watchdog(report);
            }
        } catch (const std::exception&) {
            if (!failure) failure = std::current_exception();
            stop.raise();
        }
    };
    const Clock::time_point end = project.durationMs == 0
                                      ? Clock::time_point::max()
                                      : start + std::chrono::milliseconds(project.durationMs);
    while (Clock::now() < end &&
           !stop.waitUntil(std::min<Clock::time_point>(end, Clock::now() + lookPeriod))) {
        look();
    }
    stop.raise();

    // A driver in the middle of a call comes back when the call is over.
    const Clock::time_point patience = Clock::now() + kLongestEnd;
    while (!outcome.waitForAll(Clock::now() + lookPeriod)) {
        look();
        if (Clock::now() < patience) continue;
        complain("a driver does not come back; ending without cleaning up");
        std::_Exit(kExitFailed);  // its thread can be neither ended nor waited for
    }
    for (std::thread& thread : threads) thread.join();
    if (failure) std::rethrow_exception(failure);
    return outcome.exitCode();
}

}  // namespace panel
