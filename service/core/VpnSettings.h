#pragma once

#include <cstdint>
#include <string>

namespace vpnd
{

// Everything that clients set and the service remembers. SettingFields.h has a line for each.
struct VpnSettings {
    std::string server;  // empty: none yet
    std::int32_t port = 1194;
    std::string userName;      // empty: none yet
    std::string password;      // empty: none yet
    std::string certificates;  // PEM, as Pem.h writes it; empty: none yet
    std::string deviceNumber;  // empty: the configuration's serial number counts
    std::string deviceName;    // empty: the configuration's name counts
    std::int32_t beatIntervalS = 30;
    bool enabled = true;
    bool online = true;
    bool connect = true;  // the tunnel is wanted: started and not stopped since
};

}  // namespace vpnd
