#pragma once

#include "service/daemon/Configuration.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vpnd
{

// What a key's value must be in the file before it is looked at.
enum class ValueKind { kText, kNumber, kSwitch, kTextOrNumber, kUsers };

// Where values are looked up that stand elsewhere.
struct Sources {
    std::string folder;  // of the configuration file, with "/" at its end; names begin there
    std::string machineIdFile;
};

// One key of the file; one table for the file, the command line and the tests of the page.
struct ConfigurationRule {
    std::string section;  // empty: at the top
    std::string key;
    ValueKind kind = ValueKind::kText;
    std::string right;  // what would be right
    // Takes a value: a text, a number in decimal, "true" or "false". Nothing when it is taken;
    // otherwise what is wrong, or an empty text when it is the value itself.
    std::function<std::optional<std::string>(Configuration&, const std::string&, const Sources&)>
        take;
    bool isSecret = false;                // its value is never told
    Users AccessRules::*users = nullptr;  // what a list of users is for, instead of take
};

[[nodiscard]] const std::vector<ConfigurationRule>& configurationRules();

// A value in a message: in quotes, on one line and not too long.
[[nodiscard]] std::string shownValue(std::string_view value);

// Null when there is none.
[[nodiscard]] const ConfigurationRule* findRule(std::string_view section, std::string_view key);

}  // namespace vpnd
