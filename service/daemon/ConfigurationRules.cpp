#include "service/daemon/ConfigurationRules.h"

#include "common/DisplayText.h"
#include "common/ReadFile.h"
#include "service/core/SettingFields.h"
#include "service/core/Validation.h"
#include "service/daemon/Serial.h"
#include "service/net/Endpoint.h"
#include "service/pki/Pem.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <utility>

namespace vpnd
{
namespace
{

using Problem = std::optional<std::string>;

constexpr std::size_t kMaxShownBytes = 80;
// What the system takes as the path of a socket.
constexpr std::size_t kMaxControlBytes = 107;
constexpr std::size_t kLeastRows = 100;
constexpr std::size_t kMostRows = 100000;
constexpr std::uint64_t kLeastBytesADay = 64 * 1024;
constexpr std::uint64_t kMostBytesADay = 1024 * 1024 * 1024;
constexpr const char* kRightUsers =
    "users, \"@group\", numbers of users or \"everybody\", such as [\"root\", \"@operators\", "
    "1001]";

Problem when(bool isWrong) { return isWrong ? Problem("") : std::nullopt; }

bool isOneOf(std::initializer_list<std::string_view> words, const std::string& text)
{
    return std::find(words.begin(), words.end(), text) != words.end();
}

// A whole number within the bounds.
std::optional<std::uint64_t> numberIn(std::string_view text, std::uint64_t least,
                                      std::uint64_t most)
{
    std::uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || rest != end || number < least || number > most) {
        return std::nullopt;
    }
    return number;
}

std::string pathOf(const std::string& name, const Sources& sources)
{
    return !name.empty() && name.front() == '/' ? name : sources.folder + name;
}

Problem takeTunnel(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.tunnel = text;
    return when(!isOneOf({"simulated"}, text));
}

Problem takeListen(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.listen = text;
    return when(!Endpoint::parse(text));
}

Problem takeState(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.state = text;
    return when(text != kNoState && (text.empty() || text.front() != '/'));
}

Problem takeControl(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.control = text;
    return when(text != kNoControl &&
                (text.empty() || text.front() != '/' || text.size() > kMaxControlBytes));
}

Problem takeName(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.deviceName = text;
    return when(!isDeviceName(text));
}

Problem takeSerial(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.serial = text;
    return when(!isDeviceNumber(text));
}

Problem takeFound(Configuration& configuration, SerialNumber serial)
{
    configuration.serial = std::move(serial.text);
    return serial.problem.empty() ? std::nullopt : Problem(std::move(serial.problem));
}

Problem takeSerialFile(Configuration& configuration, const std::string& name,
                       const Sources& sources)
{
    return takeFound(configuration, serialFromFile(pathOf(name, sources)));
}

Problem takeSerialSource(Configuration& configuration, const std::string& text,
                         const Sources& sources)
{
    if (text != "machine-id") return "";
    return takeFound(configuration, serialFromMachineId(sources.machineIdFile));
}

Problem takeOthersSee(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.access.masksSecrets = text == "stars";
    return when(!isOneOf({"stars", "nothing"}, text));
}

Problem takeRows(Configuration& configuration, const std::string& text, const Sources&)
{
    const auto rows = numberIn(text, kLeastRows, kMostRows);
    configuration.history.rows = static_cast<std::uint32_t>(rows.value_or(0));
    return when(!rows);
}

Problem takeBytesPerDay(Configuration& configuration, const std::string& text, const Sources&)
{
    std::string_view digits = text;
    std::uint64_t unit = 1;
    const std::pair<std::string_view, std::uint64_t> units[] = {
        {" KiB", 1024}, {" MiB", 1024 * 1024}, {" GiB", 1024 * 1024 * 1024}};
    for (const auto& [name, bytes] : units) {
        if (text.size() <= name.size() || digits.substr(text.size() - name.size()) != name)
            continue;
        digits.remove_suffix(name.size());
        unit = bytes;
        break;
    }
    const auto number = numberIn(digits, 1, kMostBytesADay / unit);
    configuration.history.bytesADay = number.value_or(0) * unit;
    return when(configuration.history.bytesADay < kLeastBytesADay);
}

Problem takeLogLevel(Configuration& configuration, const std::string& text, const Sources&)
{
    configuration.logLevel = text;
    return when(!isOneOf({"debug", "info", "warn", "error", "off"}, text));
}

Problem takeAuthorities(Configuration& configuration, const std::string& name,
                        const Sources& sources)
{
    const common::FileContent file =
        common::readFile(pathOf(name, sources), kMaxCertificateTextBytes);
    if (!file.problem.empty()) return "cannot be read: " + file.problem;
    Certificates certificates = readCertificates(std::string(file.bytes.begin(), file.bytes.end()));
    if (certificates.refusal != nullptr) return std::string("is refused: ") + certificates.refusal;
    configuration.initial.certificates = std::move(certificates.pem);
    return std::nullopt;
}

// Of what kind a setting is, its value at first tells.
ValueKind kindOf(const SettingField& field)
{
    const std::string first = field.text(VpnSettings());
    if (first == "true" || first == "false") return ValueKind::kSwitch;
    return numberIn(first, 0, UINT64_MAX) ? ValueKind::kNumber : ValueKind::kText;
}

ConfigurationRule ruleOf(const SettingField& field)
{
    const auto take = [&field](Configuration& configuration, const std::string& text,
                               const Sources&) {
        return when(!field.assign(configuration.initial, text));
    };
    return {"settings", field.key, kindOf(field), field.rule, take, field.isSecret};
}

ConfigurationRule usersOf(const char* section, const char* key, Users AccessRules::*users)
{
    return {section, key, ValueKind::kUsers, kRightUsers, {}, false, users};
}

std::vector<ConfigurationRule> allRules()
{
    constexpr ValueKind kText = ValueKind::kText;
    const std::string number = findSetting("device-number")->rule;
    std::vector<ConfigurationRule> rules = {
        {"", "tunnel", kText, "\"simulated\"", &takeTunnel},
        {"", "listen", kText, "a numeric address with port, such as \"127.0.0.1:9009\"",
         &takeListen},
        {"", "state", kText, "a folder's path from \"/\" on, or \"none\"", &takeState},
        {"", "control", kText, "a socket's path from \"/\" on, of at most 107 bytes, or \"none\"",
         &takeControl},
        {"device", "name", kText, findSetting("device-name")->rule, &takeName},
        {"device", "serial", kText, number, &takeSerial},
        {"device", "serial-file", kText, "a file that holds " + number, &takeSerialFile},
        {"device", "serial-from", kText, "\"machine-id\"", &takeSerialSource},
        usersOf("callers", "read", &AccessRules::readers),
        usersOf("callers", "change", &AccessRules::changers),
        usersOf("secrets", "show-to", &AccessRules::secretReaders),
        {"secrets", "others-see", kText, "\"stars\" or \"nothing\"", &takeOthersSee},
        {"history", "rows", ValueKind::kNumber, "a whole number from 100 to 100000", &takeRows},
        {"history", "bytes-per-day", ValueKind::kTextOrNumber,
         "\"64 KiB\" to \"1 GiB\", with KiB, MiB or GiB, or as many bytes", &takeBytesPerDay},
        {"log", "level", kText, "\"debug\", \"info\", \"warn\", \"error\" or \"off\"",
         &takeLogLevel},
    };
    for (const SettingField& field : settingFields()) {
        // Certificates are too long for a line: they stand in a file of their own.
        const bool isLong = std::string_view(field.key) == "certificates";
        rules.push_back(isLong ? ConfigurationRule{"settings", "ca-file", kText,
                                                   std::string("a file with ") + field.rule,
                                                   &takeAuthorities}
                               : ruleOf(field));
    }
    return rules;
}

}  // namespace

const std::vector<ConfigurationRule>& configurationRules()
{
    static const std::vector<ConfigurationRule> rules = allRules();
    return rules;
}

std::string shownValue(std::string_view value)
{
    const bool isLong = value.size() > kMaxShownBytes;
    return '"' + common::displayText(value.substr(0, kMaxShownBytes)) + (isLong ? "...\"" : "\"");
}

const ConfigurationRule* findRule(std::string_view section, std::string_view key)
{
    for (const ConfigurationRule& rule : configurationRules()) {
        if (rule.section == section && rule.key == key) return &rule;
    }
    return nullptr;
}

}  // namespace vpnd
