#include "panel/check/LoadDriver.h"
#include "panel/commands/Commands.h"
#include "panel/commands/DriverOptions.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/commands/ProjectReview.h"
#include "panel/project/ProjectFile.h"
#include "panel/project/ProjectRunner.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/Complaint.h"
#include "panel/view/RunView.h"
#include "panel/view/TimeStamp.h"

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <memory>

namespace panel
{

namespace
{

constexpr int kMaxDurationMs = 24 * 60 * 60 * 1000;

struct RunOptions {
    std::string project;
    std::string driver;
    int durationMs = 0;
    bool check = false;
    bool json = false;
    bool showSecrets = false;
};

// The option goes before what the file names, and that before what there is besides.
void chooseDrivers(const std::string& option, const std::string& file, Project& project)
{
    for (ProjectDevice& device : project.devices) {
        if (option.empty() && !device.driver.empty()) continue;
        try {
            device.driver = chooseDriver(option);
        } catch (const PanelError& error) {
            throw PanelError(file + ": device '" + device.name +
                             "' has no key 'driver': " + error.what());
        }
        device.driverKey.clear();
    }
}

// The library of every device, in their order. A driver that does not load ends
// the run before any device has begun.
std::vector<std::unique_ptr<DriverLibrary>> loadLibraries(const Project& project)
{
    std::vector<std::unique_ptr<DriverLibrary>> libraries;
    for (const ProjectDevice& device : project.devices) {
        try {
            libraries.push_back(loadDriver(device.driver));
        } catch (const PanelError& error) {
            throw PanelError((device.driverKey.empty() ? "" : device.driverKey + ": ") +
                             error.what());
        }
    }
    return libraries;
}

[[noreturn]] void giveUp()
{
    complain("a driver does not come back; ending without cleaning up");
    std::_Exit(kExitFailed);
}

int run(const RunOptions& options)
{
    Project project = loadProject(options.project);
    if (options.durationMs > 0) project.durationMs = options.durationMs;
    chooseDrivers(options.driver, options.project, project);
    VariableStore variables;
    for (const NamedValue& variable : project.variables) {
        // The project was checked: no two have the same name.
        static_cast<void>(variables.define(variable.name, variable.value));
    }
    if (options.check) {
        const std::vector<ProjectRemark> remarks =
            reviewProject(project, variables, options.showSecrets);
        const std::string text = remarksText(remarks, options.json);
        Output(Output::DriverText::kMixedIn).write(options.json ? text : stamped(text));
        return wouldBeRefused(remarks) ? kExitDriverCode : kExitDone;
    }
    const std::vector<std::unique_ptr<DriverLibrary>> libraries = loadLibraries(project);
    const StopSignal stop;
    Output output(options.json ? Output::DriverText::kToStderr : Output::DriverText::kMixedIn);
    RunView view(output, variables, project, options.json, options.showSecrets);
    const bool allWell = runProject(project, libraries, variables, view, stop, giveUp);
    return allWell ? kExitDone : kExitDriverCode;
}

}  // namespace

void addRunCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command = app.add_subcommand("run", "Run the devices of a project file");
    const auto options = std::make_shared<RunOptions>();
    command->add_option("project", options->project, "The project file")
        ->required()
        ->type_name("PROJECT.toml");
    command
        ->add_option("--driver", options->driver,
                     "Use this library for every device; else that of the file, else that of "
                     "ORVA_DRIVER,\nelse the installed one")
        ->type_name("LIB")
        ->check(notEmpty("the name of a library"));
    command
        ->add_option("--duration", options->durationMs,
                     "End after this time, whatever the file says")
        ->type_name("MS")
        ->check(wholeNumber(1, kMaxDurationMs));
    command->add_flag("--check", options->check,
                      "Run nothing: say what would be refused, and what may not be meant");
    command->add_flag("--json", options->json, "One JSON object a line");
    command->add_flag("--show-secrets", options->showSecrets, "Show passwords instead of ********");
    command->footer(
        "Ctrl-C ends the devices after the calls that are running, a second Ctrl-C at once.\n"
        "The exit code is 1 when a driver answered a command, a write or its configuration with\n"
        "another code than 0; the codes of its cycles are the state of the VPN and do not count.\n"
        "It is 2 for wrong use, a library or file that cannot be loaded, or a driver that throws.\n"
        "With --check it is 1 when something would be refused.");
    command->callback([options, &exitCode] { exitCode = run(*options); });
}

}  // namespace panel
