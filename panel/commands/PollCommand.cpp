#include "host/StatusCodes.h"
#include "panel/check/LoadDriver.h"
#include "panel/commands/Commands.h"
#include "panel/commands/DriverOptions.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/commands/SlowCallNotice.h"
#include "panel/runtime/ChannelList.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/StopSignal.h"
#include "panel/view/Complaint.h"
#include "panel/view/CycleView.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <memory>
#include <optional>

namespace panel
{

namespace
{

constexpr int kMaxPeriodMs = 24 * 60 * 60 * 1000;
constexpr int kMaxCycles = 1000000000;
constexpr int kMaxTimeoutS = 24 * 60 * 60;

// The states that can be waited for, by the code of a cycle.
const std::map<std::string, int> kStates = {{"connected", kResultOk},
                                            {"idle", kResultVpnIdle},
                                            {"connecting", kResultVpnConnecting},
                                            {"disabled", kResultVpnDisabled},
                                            {"fault", kResultVpnOther},
                                            {"no-service", kResultNoService}};

struct PollOptions {
    DriverOptions driver;
    std::string channels;
    long long cycles = 0;  // 0: until a signal
    int periodMs = 1000;
    std::string until;
    int timeoutS = 0;  // 0: none
};

std::string stateNames()
{
    std::string names;
    for (const auto& [name, code] : kStates) names += (names.empty() ? "" : ", ") + name;
    return names;
}

class Polling
{
public:
    using Clock = StopSignal::Clock;

    Polling(const PollOptions& options, DeviceSession& session, ICycleView& view)
        : m_options(options), m_session(session), m_view(view), m_notice(kPatience, [this] {
              complain("cycle " + std::to_string(m_cycle) + ": " + stillWaitingText());
          })
    {
        if (!options.until.empty()) m_until = kStates.at(options.until);
    }

    int run(const ChannelFlags& channels)
    {
        const Clock::time_point start = Clock::now();
        const Clock::time_point end = m_options.timeoutS == 0
                                          ? Clock::time_point::max()
                                          : start + std::chrono::seconds(m_options.timeoutS);
        const std::chrono::milliseconds period(std::max(m_options.periodMs, kMinPeriodMs));
        Clock::time_point due = start;
        while (!m_stop.raised()) {
            if (poll(channels) == m_until) return kExitDone;
            if (m_cycle == m_options.cycles) return m_until ? kExitTimeOver : kExitDone;
            // A cycle that took longer than the period does not make the next ones hurry.
            due = std::max(due + period, Clock::now());
            if (m_stop.waitUntil(std::min(due, end))) break;
            if (Clock::now() >= end) return kExitTimeOver;
        }
        return m_until ? kExitInterrupted : kExitDone;
    }

private:
    std::optional<int> poll(const ChannelFlags& channels)
    {
        ++m_cycle;
        m_notice.callBegins();
        const CycleResult result = m_session.collect(channels);
        if (m_notice.callEnded()) m_view.startAnew();
        m_view.show(result);
        return result.code;
    }

    const PollOptions& m_options;
    DeviceSession& m_session;
    ICycleView& m_view;
    const StopSignal m_stop;
    std::optional<int> m_until;
    long long m_cycle = 0;
    SlowCallNotice m_notice;
};

int poll(const PollOptions& options)
{
    const ChannelFlags channels =
        options.channels.empty() ? allChannels() : parseChannelList(options.channels);
    const std::vector<unsigned char> blob = options.driver.configBlob();

    const CycleStyle style = chooseCycleStyle(options.driver.json);
    Output output(driverTextFor(style));
    const std::unique_ptr<DriverLibrary> library = loadDriver(options.driver.driverLibrary());
    VariableStore variables;
    DeviceSession session(*library, options.driver.device, variables);
    if (!initOrComplain(session, blob)) return kExitDriverCode;

    const auto view = makeCycleView(style, output, options.driver.showSecrets);
    const int exitCode = Polling(options, session, *view).run(channels);
    session.close();
    return exitCode;
}

}  // namespace

void addPollCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command = app.add_subcommand("poll", "Load a driver and show its channels");
    const auto options = std::make_shared<PollOptions>();
    options->driver.addTo(*command);
    command->add_option("--channels", options->channels, "Ask for these only, for example 1,2,7-10")
        ->type_name("LIST")
        ->check(notEmpty("a list such as 1,2,7-10"));
    command->add_option("--cycles", options->cycles, "End after N cycles instead of on Ctrl-C")
        ->type_name("N")
        ->check(wholeNumber(1, kMaxCycles));
    command
        ->add_option("--period", options->periodMs,
                     "Time between two cycles, 1000 unless given; below 10 counts as 10")
        ->type_name("MS")
        ->check(wholeNumber(0, kMaxPeriodMs));
    CLI::Option* until = command->add_option(
        "--until", options->until, "End as soon as the VPN is in that state: " + stateNames());
    until->type_name("STATE")->check([](const std::string& text) {
        return kStates.count(text) == 1 ? std::string() : "must be one of " + stateNames();
    });
    command
        ->add_option("--timeout", options->timeoutS,
                     "End when the state has not come in that time, after the call that is running")
        ->type_name("S")
        ->check(wholeNumber(1, kMaxTimeoutS))
        ->needs(until);
    command->footer(
        "Ctrl-C ends the polling after the cycle that is running, a second Ctrl-C at once.\n"
        "The code of a cycle is the state of the VPN. The exit code is 0 when all cycles ran,\n"
        "whatever their codes; 1 when the driver refused its configuration; 2 for wrong use, a\n"
        "library or file that cannot be loaded, or a driver that throws.\n"
        "With --until it is 0 when the state has come, 3 when the time or the cycles were over\n"
        "before, 4 when Ctrl-C came before.");
    command->callback([options, &exitCode] { exitCode = poll(*options); });
}

}  // namespace panel
