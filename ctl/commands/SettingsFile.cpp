#include "ctl/commands/SettingsFile.h"

#include "common/NearestWord.h"
#include "common/Toml.h"
#include "common/TomlLimits.h"
#include "common/Utf8.h"
#include "ctl/base/Failure.h"
#include "ctl/commands/SettingNames.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace ctl
{
namespace
{

// A basic string: quotes, backslashes and control characters are escaped.
std::string quoted(const std::string& text)
{
    std::string result = "\"";
    for (std::string_view rest = text; !rest.empty();) {
        const common::Utf8Character first = common::firstCharacter(rest);
        const std::string_view character = rest.substr(0, first.bytes);
        rest.remove_prefix(first.bytes);
        if (character == "\"" || character == "\\") {
            result += "\\" + std::string(character);
        } else if (first.value < 0x20 || first.value == 0x7F) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04X", first.value);
            result += escaped;
        } else {
            result += character;
        }
    }
    return result + "\"";
}

// PEM as it is; anything else that a service may tell, escaped.
std::string certificates(const std::string& text)
{
    const bool isPlain = std::all_of(text.begin(), text.end(), [](char c) {
        return c == '\n' || (c >= ' ' && c <= '~' && c != '\'');
    });
    return isPlain && !text.empty() ? "'''\n" + text + "'''" : quoted(text);
}

std::string valueText(const SettingName& setting, const Json& value)
{
    if (setting.kind == SettingKind::kCertificates && value.is_string()) {
        return certificates(value.get<std::string>());
    }
    if (value.is_string()) return quoted(value.get<std::string>());
    return printed(value, Layout::kOneLine);
}

[[noreturn]] void throwWrong(const std::string& name, const toml::source_region& at,
                             const std::string& what)
{
    throw Failure(kExitUsage, name + ":" + std::to_string(at.begin.line) + ": " + what);
}

const SettingName& named(const std::string& name, const toml::key& key)
{
    std::vector<std::string> keys;
    for (const SettingName& each : kSettingNames) {
        if (key == each.key) return each;
        keys.emplace_back(each.key);
    }
    const std::string nearest = common::nearestWord(key.str(), keys);
    throwWrong(name, key.source(),
               "there is no setting '" + std::string(key.str()) + "'" +
                   (nearest.empty() ? "" : "; the nearest is '" + nearest + "'"));
}

Json valueOf(const std::string& name, const SettingName& setting, const toml::node& node)
{
    const std::string begin = std::string(setting.key) + ": ";
    switch (setting.kind) {
        case SettingKind::kNumber:
            if (const auto* number = node.as_integer()) return number->get();
            throwWrong(name, node.source(), begin + "a whole number would be right");
        case SettingKind::kSwitch:
            if (const auto* flag = node.as_boolean()) return flag->get();
            throwWrong(name, node.source(), begin + "true or false would be right");
        default:
            if (const auto* text = node.as_string()) return text->get();
            throwWrong(name, node.source(), begin + "a text in quotes would be right");
    }
}

}  // namespace

std::string settingsAsToml(const Json& settings)
{
    std::string text = "# Settings of the VPN, for orva-vpnctl import.\n";
    for (const SettingName& each : kSettingNames) {
        const Json* const value = find(settings, std::string("settings.") + each.field);
        if (value == nullptr || value->is_null()) continue;
        text += std::string(each.key) + " = " + valueText(each, *value) + "\n";
    }
    return text;
}

Json settingsOfToml(const std::string& text, const std::string& name)
{
    if (const std::size_t line = common::lineThatIsTooDeep(text)) {
        throw Failure(kExitUsage, name + ":" + std::to_string(line) + ": nested too deep");
    }
    toml::table table;
    try {
        table = toml::parse(text, name);
    } catch (const toml::parse_error& error) {
        // Its own words may quote the line, a password with it.
        throwWrong(name, error.source(), "this is not TOML");
    }
    Json body = Json::object();
    for (const auto& [key, node] : table) {
        const SettingName& setting = named(name, key);
        body[setting.field] = valueOf(name, setting, node);
    }
    if (body.empty()) throw Failure(kExitUsage, name + ": there is no setting in it");
    return body;
}

}  // namespace ctl
