#include "panel/project/DeviceRunner.h"

#include "host/StatusCodes.h"
#include "panel/runtime/HostFunctions.h"

#include <algorithm>

namespace panel
{

namespace
{

// Between two rounds: actions that set each other off must not take a whole processor.
constexpr std::chrono::milliseconds kShortestRound{1};

// This thread is under the host's watchdog while the object lives.
class Watched
{
public:
    explicit Watched(const std::string& device)
    {
        hostWatchdog().watch(::pthread_self(), device, Watchdog::Clock::now());
    }
    ~Watched() { hostWatchdog().unwatch(::pthread_self()); }
    Watched(const Watched&) = delete;
    Watched& operator=(const Watched&) = delete;
    static void feed() { hostWatchdog().feed(::pthread_self(), Watchdog::Clock::now()); }
};

std::vector<const ProjectAction*> conditionalActions(const Project& project, std::size_t device)
{
    std::vector<const ProjectAction*> actions;
    for (const ProjectAction& action : project.actions) {
        if (action.device == device && action.when) actions.push_back(&action);
    }
    return actions;
}

std::vector<NamedValue> valuesOf(const std::vector<const ProjectAction*>& actions)
{
    std::vector<NamedValue> values;
    for (const ProjectAction* action : actions) values.push_back(*action->when);
    return values;
}

}  // namespace

DeviceRunner::DeviceRunner(const Project& project, std::size_t device, const DriverLibrary& library,
                           VariableStore& variables, IRunEvents& events, const StopSignal& stop)
    : m_project(project),
      m_device(project.devices[device]),
      m_library(library),
      m_variables(variables),
      m_events(events),
      m_stop(stop),
      m_conditional(conditionalActions(project, device)),
      m_watch(variables, valuesOf(m_conditional))
{
    for (const ProjectAction& action : project.actions) {
        if (action.device != device || action.when) continue;
        const int left = action.everyMs == 0 ? 1 : action.times == 0 ? -1 : action.times;
        m_schedule.push_back({&action, {}, left});
    }
}

bool DeviceRunner::run(Clock::time_point start)
{
    const Watched watched(m_device.name);
    DeviceSession session(m_library, m_device.name, m_variables);
    const int status = session.init(m_device.blob);
    if (status != kStatusOk) {
        m_events.refused(m_device.name, status);
        return false;
    }

    m_nextPoll = start;
    for (Scheduled& scheduled : m_schedule) {
        scheduled.due = start + std::chrono::milliseconds(scheduled.action->atMs);
    }
    while (!m_stop.waitUntil(nextWake(Clock::now()), &m_watch.wakeup())) {
        if (m_stop.waitUntil(m_round + kShortestRound)) break;
        m_round = Clock::now();
        m_watch.wakeup().clear();
        Watched::feed();
        if (Clock::now() >= m_nextPoll) poll(session);
        doWhatIsDue(session);
    }
    session.close();
    return m_allWell;
}

void DeviceRunner::doWhatIsDue(DeviceSession& session)
{
    doWhatBecameTrue(session);
    // What becomes due meanwhile waits for the next round, so that polls get their turn.
    const Clock::time_point now = Clock::now();
    while (!m_stop.raised()) {
        Scheduled* next = mostOverdue(now);
        if (next == nullptr) return;
        if (next->left > 0) --next->left;
        // Later than this round in any case.
        next->due = std::max(next->due + std::chrono::milliseconds(next->action->everyMs),
                             now + std::chrono::milliseconds(1));
        Watched::feed();
        carryOut(session, *next->action);
        doWhatBecameTrue(session);
    }
}

void DeviceRunner::doWhatBecameTrue(DeviceSession& session)
{
    // What their actions make true waits for the next round, so that polls get their turn.
    for (std::size_t left = m_watch.pending(); left > 0 && !m_stop.raised(); --left) {
        Watched::feed();
        carryOut(session, *m_conditional[m_watch.take()]);
    }
}

void DeviceRunner::poll(DeviceSession& session)
{
    CycleResult result = session.collect(m_device.channels);
    m_events.cycle(m_device.name, result, m_lastCycle ? &*m_lastCycle : nullptr);
    m_lastCycle = std::move(result);
    // A cycle that took longer than the period does not make the next ones hurry.
    m_nextPoll = std::max(m_nextPoll + std::chrono::milliseconds(m_device.periodMs), Clock::now());
}

DeviceRunner::Scheduled* DeviceRunner::mostOverdue(Clock::time_point now)
{
    Scheduled* first = nullptr;
    for (Scheduled& scheduled : m_schedule) {
        if (scheduled.left == 0 || scheduled.due > now) continue;
        if (first == nullptr || scheduled.due < first->due) first = &scheduled;
    }
    return first;
}

void DeviceRunner::carryOut(DeviceSession& session, const ProjectAction& action)
{
    int code = kResultOk;
    if (const auto* command = std::get_if<CommandAction>(&action.what)) {
        m_events.beforeCommand(m_device.name, command->text);
        CallResult result = session.command(command->text);
        code = result.code;
        m_events.command(m_device.name, command->text, std::move(result));
    } else if (const auto* write = std::get_if<WriteAction>(&action.what)) {
        const CallResult result = session.write(write->channel, write->value);
        code = result.code;
        m_events.write(m_device.name, write->channel, write->value, result);
    } else if (const auto* set = std::get_if<SetAction>(&action.what)) {
        // The project was checked: the variable is there and has this type.
        if (m_variables.set(set->variable.name, set->variable.value)) {
            m_events.set(m_device.name, set->variable);
        }
    }
    if (code != kResultOk) m_allWell = false;
}

DeviceRunner::Clock::time_point DeviceRunner::nextWake(Clock::time_point now) const
{
    // Soon enough to feed the watchdog.
    Clock::time_point wake = now + std::chrono::milliseconds(m_project.watchdogMs) / 3;
    wake = std::min(wake, m_nextPoll);
    for (const Scheduled& scheduled : m_schedule) {
        if (scheduled.left != 0) wake = std::min(wake, scheduled.due);
    }
    return wake;
}

}  // namespace panel
