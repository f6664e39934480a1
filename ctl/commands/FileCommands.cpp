#include "ctl/commands/Commands.h"
#include "ctl/commands/Follow.h"
#include "ctl/commands/InputFile.h"
#include "ctl/commands/SettingsFile.h"
#include "ctl/commands/ShownChange.h"
#include "ctl/report/FileOutput.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ctl
{
namespace
{

void exportWithSecrets(const Context& context, const std::string& path)
{
    const ControlClient client = clientOf(context);
    const Json status = client.get("/v1/status");
    if (!flagAt(status, "you.may_change").value_or(false)) {
        throw Failure(kExitRefused, "settings with secrets are for those who may change them",
                      "That is " + textAt(status, "you.rules.change") + ".");
    }
    const Json settings = client.get("/v1/settings?secrets=1");
    const Json* const password = find(settings, "settings.password");
    if (password == nullptr || !password->is_string()) {
        throw Failure(kExitRefused, "the service does not tell the password",
                      "Who sees it is " + textAt(status, "you.rules.secrets") + ".");
    }
    writePrivateFile(path, settingsAsToml(settings));
    const Json result = {{"file", path}};
    printResult(context, result, [&] {
        return "written, readable for you alone: " + textAt(result, "file") + "\n";
    });
}

}  // namespace

void addExportCommand(CLI::App& app, Context& context)
{
    CLI::App* const command =
        app.add_subcommand("export", "Print all settings as TOML, without the password");
    const auto path = std::make_shared<std::string>();
    command
        ->add_option("--with-secrets", *path,
                     "Write them to this file, with the password and mode 0600; for those who "
                     "may change and see it")
        ->type_name("FILE");
    command->footer(
        "A file that was there is replaced when the new one is whole. Exit codes: 0 done, 7 not\n"
        "allowed, 1 the file cannot be written.");
    command->callback([&context, path] {
        if (!path->empty()) return exportWithSecrets(context, *path);
        const Json settings = clientOf(context).get("/v1/settings");
        printResult(context, settings, [&] { return settingsAsToml(settings); });
    });
}

void addImportCommand(CLI::App& app, Context& context)
{
    CLI::App* const command =
        app.add_subcommand("import", "Take over the settings of a file, all that it names or none");
    struct Wanted {
        std::string path;
        bool isDry = false;
    };
    const auto wanted = std::make_shared<Wanted>();
    command->add_option("file", wanted->path, "As export writes it; - for standard input")
        ->type_name("FILE")
        ->required();
    command->add_flag("--dry-run", wanted->isDry,
                      "Change nothing; say what would change and whether the tunnel would drop");
    command->footer(
        "What the file does not name stays. Exit codes: 0 done, 2 a value breaks its rule and\n"
        "nothing has changed, 7 not allowed, or somebody else changed settings meanwhile, 12 it\n"
        "could not be stored.");
    command->callback([&context, wanted] {
        Json body = settingsOfToml(readInput(wanted->path, kMaxSettingsFileBytes), wanted->path);
        const ControlClient client = clientOf(context);
        const std::string version = textAt(client.get("/v1/settings"), "version");
        if (wanted->isDry) body["dry_run"] = true;
        const Json change = client.send("PATCH", "/v1/settings", body, version);
        printResult(context, change, [&] { return changeText(change); });
    });
}

}  // namespace ctl
