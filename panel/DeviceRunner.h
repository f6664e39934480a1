#pragma once

#include "panel/DeviceSession.h"
#include "panel/ProjectFile.h"
#include "panel/RunView.h"
#include "panel/StopSignal.h"

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

    // Borrows everything, for as long as it lives.
    DeviceRunner(const Project& project, std::size_t device, VariableStore& variables,
                 RunView& view, const StopSignal& stop);

    // Loads the driver and works until the stop. False when the driver answered
    // a command, a write or its configuration with another code than 0. Raises
    // PanelError when the driver does not load.
    [[nodiscard]] bool run(Clock::time_point start);

private:
    struct Scheduled {
        const ProjectAction* action;
        Clock::time_point due;
        int left;      // -1: without end
        bool wasTrue;  // of its condition
        bool isCondition() const { return action->when.has_value(); }
    };

    void poll(DeviceSession& session);
    bool isDue(Scheduled& scheduled, Clock::time_point now) const;
    void carryOut(DeviceSession& session, const ProjectAction& action);
    Clock::time_point nextWake(Clock::time_point now) const;

    const Project& m_project;
    const ProjectDevice& m_device;
    VariableStore& m_variables;
    RunView& m_view;
    const StopSignal& m_stop;
    std::vector<Scheduled> m_schedule;
    bool m_hasConditions = false;
    Clock::time_point m_nextPoll;
    std::optional<CycleResult> m_lastCycle;
    bool m_allWell = true;
};

}  // namespace panel
