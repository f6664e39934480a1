#pragma once

#include "panel/project/IRunEvents.h"
#include "panel/project/ProjectFile.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/StopSignal.h"
#include "panel/runtime/ValueWatch.h"

#include <chrono>
#include <vector>

namespace panel
{

// One device of a running project: polls it and carries out its actions. Lives
// on the device's own thread, as does the driver object in it.
class DeviceRunner
{
public:
    using Clock = StopSignal::Clock;

    // Borrows everything, for as long as it lives. Conditions count from here on, so
    // that what the first device to run does is seen by the others.
    DeviceRunner(const Project& project, std::size_t device, const DriverLibrary& library,
                 VariableStore& variables, IRunEvents& events, const StopSignal& stop);

    // Works until the stop. False when the driver answered a command, a write or
    // its configuration with another code than 0. Raises PanelError when the
    // library makes no object or an event cannot be reported.
    [[nodiscard]] bool run(Clock::time_point start);

private:
    struct Scheduled {
        const ProjectAction* action;
        Clock::time_point due;
        int left;  // -1: without end
    };

    void poll(DeviceSession& session);
    void doWhatIsDue(DeviceSession& session);
    void doWhatBecameTrue(DeviceSession& session);
    // The action that has been due for the longest time, the first in the file of
    // several; null when none is.
    Scheduled* mostOverdue(Clock::time_point now);
    void carryOut(DeviceSession& session, const ProjectAction& action);
    Clock::time_point nextWake(Clock::time_point now) const;

    const Project& m_project;
    const ProjectDevice& m_device;
    const DriverLibrary& m_library;
    VariableStore& m_variables;
    IRunEvents& m_events;
    const StopSignal& m_stop;
    std::vector<Scheduled> m_schedule;
    std::vector<const ProjectAction*> m_conditional;  // in the order of the watched values
    ValueWatch m_watch;
    Clock::time_point m_round;  // when the last one began
    Clock::time_point m_nextPoll;
    std::optional<CycleResult> m_lastCycle;
    bool m_allWell = true;
};

}  // namespace panel
