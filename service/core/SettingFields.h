#pragma once

#include "service/core/VpnSettings.h"

#include <array>
#include <bitset>
#include <cstddef>
#include <string>
#include <string_view>

namespace vpnd
{

// One setting, for all who go through them by name: store, history, configuration, people.
struct SettingField {
    const char* key;   // "server"; the same for ever, files hold it
    const char* rule;  // what would be right: "an IP address or a host name of at most 253 bytes"
    bool isSecret;
    // The value as text: numbers in decimal, switches as "true" and "false".
    std::string (*text)(const VpnSettings& settings);
    // Takes such a text. False, with nothing changed, when it breaks the rule. What may be
    // missing at first is set to nothing by an empty text.
    bool (*assign)(VpnSettings& settings, std::string_view text);
    bool (*isSame)(const VpnSettings& a, const VpnSettings& b);
    void (*copy)(VpnSettings& to, const VpnSettings& from);
};

// Places in settingFields().
enum SettingPlace : std::size_t {
    kServer,
    kPort,
    kUserName,
    kPassword,
    kCertificates,
    kDeviceNumber,
    kDeviceName,
    kBeatInterval,
    kEnabled,
    kOnline,
    kConnect,
    kSettingCount
};

using SettingSet = std::bitset<kSettingCount>;

[[nodiscard]] const std::array<SettingField, kSettingCount>& settingFields();

// Null when there is none of this key.
[[nodiscard]] const SettingField* findSetting(std::string_view key);

// Those that differ.
[[nodiscard]] SettingSet differences(const VpnSettings& a, const VpnSettings& b);

void copySettings(VpnSettings& to, const VpnSettings& from, const SettingSet& which);

// As people may see it: of a secret only "set" or "", of certificates their subjects.
[[nodiscard]] std::string shownText(const SettingField& field, const VpnSettings& settings);

}  // namespace vpnd
