#include "panel/Commands.h"
#include "panel/DriverOptions.h"
#include "panel/ExitCodes.h"
#include "panel/PanelError.h"

#include <CLI/CLI.hpp>
#include <exception>
#include <sstream>

namespace
{

// One line on standard error for wrong use, the text itself for --help.
int mapParseError(const CLI::App& app, const CLI::ParseError& error)
{
    if (error.get_exit_code() == 0) return app.exit(error);
    std::string text = error.what();
    text = text.substr(0, text.find('\n'));
    panel::complain(text + "; see --help");
    return panel::kExitFailed;
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app("Plays the HMI runtime for a device driver library", "orva-panel");
    app.require_subcommand(1);
    app.footer(
        "Exit codes: 0 done, 1 the driver answered with another code than 0,\n"
        "2 wrong use, or a library or file that can not be loaded.");
    int exitCode = panel::kExitDone;
    panel::addPollCommand(app, exitCode);
    panel::addSendCommand(app, exitCode);
    panel::addWriteCommand(app, exitCode);
    panel::addRunCommand(app, exitCode);
    panel::addBlobCommand(app, exitCode);
    panel::addCheckCommand(app, exitCode);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return mapParseError(app, error);
    } catch (const std::exception& error) {
        panel::complain(error.what());
        return panel::kExitFailed;
    }
    return exitCode;
}
