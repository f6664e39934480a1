#pragma once

#include <array>

namespace ctl
{

enum class SettingKind { kText, kNumber, kSwitch, kSecret, kCertificates };

// One setting under its three names.
struct SettingName {
    const char* word;   // of "set"; null: not set there
    const char* field;  // of docs/control-api.md
    const char* key;    // of exported files
    SettingKind kind;
    const char* help;
};

inline constexpr std::array<SettingName, 11> kSettingNames = {{
    {"server", "server", "server", SettingKind::kText, "address or host name of the VPN server"},
    {"port", "port", "port", SettingKind::kNumber, "its port, 1 to 65535"},
    {"user", "user", "user", SettingKind::kText, "VPN user name"},
    {"password", "password", "password", SettingKind::kSecret,
     "VPN password; asked for, or one line on standard input"},
    {"ca", "certificates", "certificates", SettingKind::kCertificates,
     "file with CA certificates, or - for standard input"},
    {"device-number", "device_number", "device-number", SettingKind::kText, "device number"},
    {"beat", "beat_interval", "beat-interval", SettingKind::kNumber,
     "seconds between two heartbeats, 1 to 3600"},
    {"name", "device_name", "device-name", SettingKind::kText, "name of this device"},
    {nullptr, "enabled", "enabled", SettingKind::kSwitch, ""},
    {nullptr, "online", "online", SettingKind::kSwitch, ""},
    {nullptr, "connect", "connect", SettingKind::kSwitch, ""},
}};

}  // namespace ctl
