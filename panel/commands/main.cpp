#include "panel/commands/Commands.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/WrongUse.h"
#include "panel/view/Complaint.h"
#include "panel/view/Output.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <exception>
#include <sstream>

namespace
{

// The text that --help and --version ask for.
void showHelp(const CLI::App& app, const CLI::ParseError& error)
{
    std::ostringstream text;
    app.exit(error, text, text);
    panel::Output(panel::Output::DriverText::kMixedIn).write(text.str());
}

// Runs the command that is given.
void parse(CLI::App& app, int argc, char** argv, int& exitCode)
{
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) return showHelp(app, error);
        panel::complain(panel::wrongUse(app, error) + "; see --help");
        exitCode = panel::kExitFailed;
    }
}

// An exception from a library's static objects or from a thread of its own.
[[noreturn]] void endWithoutAbort()
{
    panel::complain("an exception came out of a library where none can be caught");
    std::_Exit(panel::kExitFailed);
}

}  // namespace

int main(int argc, char** argv)
{
    std::set_terminate(endWithoutAbort);
    CLI::App app("Plays the HMI runtime for a device driver library", "orva-panel");
    app.require_subcommand(1);
    app.footer(
        "Exit codes:\n"
        "0: done; of poll --until: the state has come\n"
        "1: a command, write or configuration was answered with another code than 0\n"
        "   (cycles do not count)\n"
        "2: wrong use, a library or file that cannot be loaded, or a driver that throws\n"
        "3, 4: of poll --until, see there");
    app.set_version_flag("--version", "orva-panel " ORVA_VERSION);
    int exitCode = panel::kExitDone;
    panel::addPollCommand(app, exitCode);
    panel::addSendCommand(app, exitCode);
    panel::addWriteCommand(app, exitCode);
    panel::addRunCommand(app, exitCode);
    panel::addBlobCommand(app, exitCode);
    panel::addCheckCommand(app, exitCode);
    panel::addCommandsCommand(app, exitCode);
    panel::addChannelsCommand(app, exitCode);
    const auto isCommand = [&app](const std::string& word) {
        const auto all = app.get_subcommands([](const CLI::App*) { return true; });
        return std::any_of(all.begin(), all.end(),
                           [&word](const CLI::App* one) { return one->get_name() == word; });
    };
    if (argc > 1 && argv[1][0] != '-' && !isCommand(argv[1])) {
        panel::complain(panel::unknownCommand(app, argv[1]) + "; see --help");
        return panel::kExitFailed;
    }
    try {
        parse(app, argc, argv, exitCode);
    } catch (const std::exception& error) {
        panel::complain(error.what());
        return panel::kExitFailed;
    }
    return exitCode;
}
