#include "ctl/commands/Commands.h"
#include "ctl/commands/Follow.h"
#include "ctl/commands/InputFile.h"
#include "ctl/commands/SecretInput.h"
#include "ctl/commands/SettingNames.h"
#include "ctl/commands/ShownChange.h"
#include "ctl/view/StatusView.h"
#include "service/pki/Pem.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <optional>

namespace ctl
{
namespace
{

const SettingName& namedSetting(const std::string& word)
{
    return *std::find_if(kSettingNames.begin(), kSettingNames.end(), [&](const SettingName& each) {
        return each.word != nullptr && word == each.word;
    });
}

std::vector<std::string> settingWords()
{
    std::vector<std::string> words;
    for (const SettingName& each : kSettingNames) {
        if (each.word != nullptr) words.emplace_back(each.word);
    }
    return words;
}

std::string listOfSettings()
{
    std::string text;
    for (const SettingName& each : kSettingNames) {
        if (each.word != nullptr) text += "  " + padded(each.word, 15) + each.help + "\n";
    }
    return text;
}

Json valueOf(const SettingName& setting, const std::optional<std::string>& given)
{
    if (setting.kind == SettingKind::kSecret) {
        if (given) {
            throw Failure(kExitUsage,
                          "a password is not taken from the command line, where other users can "
                          "read it",
                          "Leave it out and type it when asked, or give it on standard input: "
                          "orva-vpnctl set password <FILE. Change it if it is in use: it may "
                          "stand in the shell's history now.");
        }
        return readSecret("New VPN password: ");
    }
    if (!given) throw Failure(kExitUsage, std::string("set ") + setting.word + " needs a value");
    if (setting.kind == SettingKind::kNumber) return wholeNumber(*given, setting.word);
    if (setting.kind == SettingKind::kCertificates) {
        return readInput(*given, vpnd::kMaxCertificateTextBytes);
    }
    return *given;
}

}  // namespace

void addSetCommand(CLI::App& app, Context& context)
{
    CLI::App* const command = app.add_subcommand("set", "Change one setting");
    struct Wanted {
        std::string word;
        std::optional<std::string> value;
        bool isDry = false;
    };
    const auto wanted = std::make_shared<Wanted>();
    command->add_option("setting", wanted->word, "What to change")
        ->type_name("SETTING")
        ->required()
        ->check(CLI::IsMember(settingWords()));
    command->add_option("value", wanted->value, "Its value; none for password")->type_name("VALUE");
    command->add_flag("--dry-run", wanted->isDry,
                      "Change nothing; say what would change and whether the tunnel would drop");
    command->footer(
        "Settings:\n" + listOfSettings() +
        "An empty value ('') clears a text. A value that begins with - stands behind\n"
        "--. Exit codes: 0 done, 2 the value breaks its rule, 7 not allowed, 12 it could\n"
        "not be stored.");
    command->callback([&context, wanted] {
        const SettingName& setting = namedSetting(wanted->word);
        Json body;
        body[setting.field] = valueOf(setting, wanted->value);
        if (wanted->isDry) body["dry_run"] = true;
        const Json change = clientOf(context).send("PATCH", "/v1/settings", body);
        printResult(context, change, [&] { return changeText(change); });
    });
}

void addSwitchCommands(CLI::App& app, Context& context)
{
    struct Switch {
        const char* name;
        const char* help;
    };
    for (const Switch& each : {
             Switch{"start", "Want the tunnel: it comes up when the VPN is enabled and on line"},
             Switch{"stop", "Take the tunnel down, until it is started again"},
             Switch{"enable", "Switch the VPN on"},
             Switch{"disable", "Switch the VPN off"},
             Switch{"online", "Say that the device is on line"},
             Switch{"offline", "Say that the device is off line; the tunnel goes down at once"},
             Switch{"check", "End the wait before the next attempt"},
         }) {
        CLI::App* const command = app.add_subcommand(each.name, each.help);
        command->footer(
            "Does not wait for the tunnel; orva-vpnctl wait does. Exit codes: 0 done, 7 not\n"
            "allowed or not now, 12 it could not be stored.");
        const std::string target = std::string("/v1/") + each.name;
        command->callback([&context, target] {
            const Json answer = clientOf(context).send("POST", target, Json::object());
            printResult(context, answer, [&] {
                return textAt(answer, "outcome") + "; the state is " +
                       statusLine(answer, context.language, context.style) + "\n";
            });
        });
    }
}

}  // namespace ctl
