#pragma once

#include "service/control/Json.h"
#include "service/core/Controller.h"

#include <optional>
#include <string>
#include <string_view>

namespace vpnd
{

// Of the JSON fields: "device_number" for the setting "device-number".
[[nodiscard]] std::string fieldNameOf(const SettingField& field);
// A text, a number or a switch.
[[nodiscard]] Json valueOf(const SettingField& field, const VpnSettings& settings);

// What the body of PATCH /v1/settings asks for.
struct SettingsPatch {
    // Why it is refused, if it is; then the field and what would be right.
    std::optional<Refusal> refusal;
    std::string field;
    std::string detail;

    SettingsChange change;
    bool isDryRun = false;

    [[nodiscard]] static SettingsPatch read(std::string_view body);
};

}  // namespace vpnd
