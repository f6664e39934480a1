#include "common/NearestWord.h"
#include "host/StatusCodes.h"
#include "panel/check/LoadDriver.h"
#include "panel/commands/Commands.h"
#include "panel/commands/DriverOptions.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/SlowCallNotice.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/CodeNames.h"
#include "panel/view/Complaint.h"
#include "panel/view/Explain.h"
#include "panel/view/JsonLines.h"
#include "panel/view/Output.h"
#include "panel/view/TextLines.h"
#include "panel/view/TimeStamp.h"

#include <CLI/CLI.hpp>
#include <memory>

namespace panel
{

namespace
{

struct WriteOptions {
    DriverOptions driver;
    std::string channel;
    std::string type;
    std::string value;
};

// What was given is not quoted: with the arguments in the wrong order it is a password.
int channelOf(const std::string& text)
{
    if (const ChannelInfo* channel = findChannel(text)) return channel->number;
    std::vector<std::string> names;
    for (const ChannelInfo& channel : kChannels) {
        names.emplace_back(channel.name);
        names.emplace_back(channel.projectName);
    }
    const std::string nearest = common::nearestWord(text, names);
    throw PanelError("no channel has that number or name" +
                     (nearest.empty() ? "" : "; the nearest is '" + nearest + "'") +
                     "; orva-panel channels lists them");
}

int write(const WriteOptions& options)
{
    const int channel = channelOf(options.channel);
    const Value value = parseValue(options.type, options.value);
    const std::vector<unsigned char> blob = options.driver.configBlob();

    Output output(options.driver.json ? Output::DriverText::kToStderr
                                      : Output::DriverText::kMixedIn);
    const std::unique_ptr<DriverLibrary> library = loadDriver(options.driver.driverLibrary());
    VariableStore variables;
    DeviceSession session(*library, options.driver.device, variables);
    if (!initOrComplain(session, blob)) return kExitDriverCode;

    SlowCallNotice notice(kPatience, [] { complain(stillWaitingText()); });
    notice.callBegins();
    const CallResult result = session.write(channel, value);
    notice.callEnded();
    const bool secrets = options.driver.showSecrets;
    const Explanation explanation = explainWrite(channel, value, result);
    output.write(
        options.driver.json
            ? writeJson(channel, value, secrets, result, explanation)
            : stamped(callText(writeText(channel, value, secrets),
                               codeWithMeaning(CodeOf::kWrite, result.code), result, explanation)));
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
    command
        ->add_option("channel", options->channel,
                     "The channel, from 1 to 10 or by its name, for example \"VPN user name\"")
        ->required();
    command->add_option("type", options->type, "int, double or string")->required();
    command
        ->add_option("value", options->value,
                     "The value; for a string @FILE is the content of a file, @@x the text @x")
        ->required();
    command->footer(
        "A value that begins with \"-\" stands behind \"--\": write --driver LIB -- 2 int -1\n"
        "The exit code is 1 when the driver answered the write or its configuration with another\n"
        "code than 0; 2 for wrong use, a library or file that cannot be loaded, or a driver that\n"
        "throws; else 0.");
    command->callback([options, &exitCode] { exitCode = write(*options); });
}

}  // namespace panel
