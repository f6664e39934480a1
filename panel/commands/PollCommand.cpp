#include "panel/check/LoadDriver.h"
#include "panel/commands/Commands.h"
#include "panel/commands/DriverOptions.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/runtime/ChannelList.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/StopSignal.h"
#include "panel/view/CycleView.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

namespace panel
{

namespace
{

constexpr int kMaxPeriodMs = 24 * 60 * 60 * 1000;
constexpr int kMaxCycles = 1000000000;

struct PollOptions {
    DriverOptions driver;
    std::string channels;
    long long cycles = 0;  // 0: until a signal
    int periodMs = 1000;
};

int poll(const PollOptions& options)
{
    const ChannelFlags channels =
        options.channels.empty() ? allChannels() : parseChannelList(options.channels);
    const std::vector<unsigned char> blob = options.driver.configBlob();

    const CycleStyle style = chooseCycleStyle(options.driver.json);
    Output output(driverTextFor(style));
    const std::unique_ptr<DriverLibrary> library = loadDriver(options.driver.file);
    const StopSignal stop;
    VariableStore variables;
    DeviceSession session(*library, options.driver.device, variables);
    if (!initOrComplain(session, blob)) return kExitDriverCode;

    const auto view = makeCycleView(style, output, options.driver.showSecrets);
    const std::chrono::milliseconds period(std::max(options.periodMs, kMinPeriodMs));
    auto due = StopSignal::Clock::now();
    for (long long cycle = 1; !stop.raised(); ++cycle) {
        view->show(session.collect(channels));
        if (cycle == options.cycles) break;
        // A cycle that took longer than the period does not make the next ones hurry.
        due = std::max(due + period, StopSignal::Clock::now());
        if (stop.waitUntil(due)) break;
    }
    session.close();
    return kExitDone;
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
    command->footer(
        "Ctrl-C ends the polling after the cycle that is running, a second Ctrl-C at once.\n"
        "The code of a cycle is the state of the VPN. The exit code is 0 when all cycles ran,\n"
        "whatever their codes; 1 when the driver refused its configuration.");
    command->callback([options, &exitCode] { exitCode = poll(*options); });
}

}  // namespace panel
