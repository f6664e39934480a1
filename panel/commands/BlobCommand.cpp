#include "panel/commands/Commands.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/runtime/ConfigBlob.h"
#include "panel/runtime/FileBytes.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <string>

namespace panel
{

namespace
{

struct BlobOptions {
    std::int32_t maxChannel = 0;
    std::string output;
};

}  // namespace

void addBlobCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command = app.add_subcommand("blob", "Write the stored configuration of a device");
    const auto options = std::make_shared<BlobOptions>();
    command->add_option("--max-channel", options->maxChannel, "Highest channel to publish")
        ->type_name("K")
        ->check(wholeNumber(INT32_MIN, INT32_MAX))
        ->required();
    command->add_option("--output", options->output, "The file to write")
        ->type_name("FILE")
        ->check(notEmpty("the name of a file"))
        ->required();
    command->footer("Exit codes: 0 done, 2 wrong use or a file that cannot be written.");
    command->callback([options, &exitCode] {
        writeFile(options->output, makeConfigBlob(options->maxChannel));
        exitCode = kExitDone;
    });
}

}  // namespace panel
