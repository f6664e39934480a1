#include "host/StatusCodes.h"
#include "panel/check/LoadDriver.h"
#include "panel/commands/Commands.h"
#include "panel/commands/DriverOptions.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/SlowCallNotice.h"
#include "panel/commands/WrongUse.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/DisplayText.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/CodeNames.h"
#include "panel/view/Complaint.h"
#include "panel/view/Explain.h"
#include "panel/view/JsonLines.h"
#include "panel/view/Output.h"
#include "panel/view/Secrets.h"
#include "panel/view/TextLines.h"
#include "panel/view/TimeStamp.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace panel
{

namespace
{

struct SendOptions {
    DriverOptions driver;
    std::vector<std::string> variables;
    std::string firstCommand;
    std::vector<std::string> commands;
};

void defineVariables(const std::vector<std::string>& texts, VariableStore& variables)
{
    for (const std::string& text : texts) {
        NamedValue variable = parseVariable(text);
        if (!variables.define(variable.name, std::move(variable.value))) {
            throw PanelError("variable " + variable.name + " is defined twice");
        }
    }
}

int send(const SendOptions& options)
{
    VariableStore variables;
    defineVariables(options.variables, variables);
    const std::vector<unsigned char> blob = options.driver.configBlob();

    Output output(options.driver.json ? Output::DriverText::kToStderr
                                      : Output::DriverText::kMixedIn);
    const std::unique_ptr<DriverLibrary> library = loadDriver(options.driver.driverLibrary());
    DeviceSession session(*library, options.driver.device, variables);
    if (!initOrComplain(session, blob)) return kExitDriverCode;

    int exitCode = kExitDone;
    SlowCallNotice notice(kPatience, [] { complain(stillWaitingText()); });
    for (const std::string& command : options.commands) {
        const bool secrets = options.driver.showSecrets;
        const Explanation read = readCommand(command, variables, {secrets});
        notice.callBegins();
        CallResult result = session.command(command);
        notice.callEnded();
        std::string shown = command;
        if (!secrets) {
            shown = maskCommand(command, variables);
            maskWritten(command, result);
        }
        const Explanation explanation = explainCommand(command, result, read, variables);
        output.write(options.driver.json
                         ? commandJson(shown, result, explanation)
                         : stamped(callText(displayText(std::string_view(shown)),
                                            codeWithMeaning(CodeOf::kCommand, result.code), result,
                                            explanation)));
        if (result.code != kResultOk) exitCode = kExitDriverCode;
    }
    session.close();
    return exitCode;
}

}  // namespace

void addSendCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command =
        app.add_subcommand("send", "Load a driver and send it text commands, one after the other");
    const auto options = std::make_shared<SendOptions>();
    command->set_help_flag("--help", "Print this help message and exit");
    options->driver.addTo(*command);
    command
        ->add_option("--var", options->variables,
                     "Define a host variable: NAME=TYPE:VALUE with type int, double or string;\n"
                     "string:@FILE is the content of a file, string:@@x the text @x")
        ->type_name("NAME=TYPE:VALUE")
        ->allow_extra_args(false);
    // On purpose an option for the first command only: one that takes several
    // would split a command that stands in brackets.
    command
        ->add_option("commands", options->firstCommand,
                     "One or more, for example \"STARTVPN(a,p,r)\"")
        ->required();
    command->allow_extras();
    command->footer(
        "orva-panel commands lists them. Where the code is not 0 a line tells the cause; a text "
        "that\n"
        "names no variable is noted.\n"
        "The exit code is 1 when the driver answered a command or its configuration with another\n"
        "code than 0; 2 for wrong use, a library or file that cannot be loaded, or a driver that\n"
        "throws; else 0.");
    command->callback([command, options, &exitCode] {
        options->commands = {options->firstCommand};
        bool optionsOver = false;
        for (const std::string& more : command->remaining()) {
            if (!optionsOver && more == "--") {
                optionsOver = true;
            } else if (!optionsOver && !more.empty() && more.front() == '-') {
                throw PanelError("send: an unknown option" + nearestOption(*command, more) +
                                 "; see --help");
            } else {
                options->commands.push_back(more);
            }
        }
        exitCode = send(*options);
    });
}

}  // namespace panel
