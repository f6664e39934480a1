#include "host/StatusCodes.h"
#include "panel/check/LoadDriver.h"
#include "panel/commands/Commands.h"
#include "panel/commands/DriverOptions.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/view/CodeNames.h"
#include "panel/view/JsonLines.h"
#include "panel/view/Output.h"
#include "panel/view/TextLines.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace panel
{

namespace
{

struct WriteOptions {
    DriverOptions driver;
    int channel = 0;
    std::string type;
    std::string value;
};

int write(const WriteOptions& options)
{
    const Value value = parseValue(options.type, options.value);
    const std::vector<unsigned char> blob = options.driver.configBlob();

    Output output(options.driver.json ? Output::DriverText::kToStderr
                                      : Output::DriverText::kMixedIn);
    const std::unique_ptr<DriverLibrary> library = loadDriver(options.driver.file);
    VariableStore variables;
    DeviceSession session(*library, options.driver.device, variables);
    if (!initOrComplain(session, blob)) return kExitDriverCode;

    const CallResult result = session.write(options.channel, value);
    if (options.driver.json) {
        output.write(writeJson(options.channel, result));
    } else {
        output.write(callText(writeText(options.channel, value, options.driver.showSecrets),
                              codeWithMeaning(CodeOf::kWrite, result.code), result));
    }
    session.close();
    return result.code == kResultOk ? kExitDone : kExitDriverCode;
}

}  // namespace

void addWriteCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command = app.add_subcommand("write", "Load a driver and write one of its channels");
    const auto options = std::make_shared<WriteOptions>();
    // A value such as -hunter must not be taken for -h.
    command->set_help_flag("--help", "Print this help message and exit");
    options->driver.addTo(*command);
    command->add_option("channel", options->channel, "The channel, from 1 to 10")
        ->required()
        ->check(wholeNumber(1, kChannelCount));
    command->add_option("type", options->type, "int, double or string")->required();
    command
        ->add_option("value", options->value,
                     "The value; for a string @FILE is the content of a file, @@x the text @x")
        ->required();
    command->footer(
        "A value that begins with \"-\" stands behind \"--\": write --driver LIB -- 2 int -1\n"
        "The exit code is 1 when the driver answered with another code than 0.");
    command->callback([options, &exitCode] { exitCode = write(*options); });
}

}  // namespace panel
