#pragma once

#include <cstdint>
#include <string>
#include <tuple>

namespace vpnd
{

// Everything that the service remembers. The defaults are examples, such that
// a first look at the device shows something in every channel.
struct VpnSettings {
    std::string server = "vpn.example.com";
    std::int32_t port = 1194;
    std::string deviceName = "panel";
    std::string factorySerial = "ORVA-000001";
    std::string deviceNumber;  // as set by a client; empty: the factory serial counts
    std::int32_t beatIntervalS = 30;
    std::string userName = "exampleuser";
    std::string password = "example123";
    std::string certificates;  // PEM, as Pem.h writes it; empty: none yet
    bool enabled = true;
    bool online = true;
    bool connect = true;  // the tunnel is wanted: started and not stopped since
};

inline bool operator==(const VpnSettings& a, const VpnSettings& b)
{
    const auto fields = [](const VpnSettings& s) {
        return std::tie(s.server, s.port, s.deviceName, s.factorySerial, s.deviceNumber,
                        s.beatIntervalS, s.userName, s.password, s.certificates, s.enabled,
                        s.online, s.connect);
    };
    return fields(a) == fields(b);
}

// Where the settings are kept.
class ISettingsStore
{
public:
    virtual ~ISettingsStore() = default;
    // Keeps all of the settings or, answering false, what was kept before.
    [[nodiscard]] virtual bool save(const VpnSettings& settings) = 0;

protected:
    ISettingsStore() = default;
    ISettingsStore(const ISettingsStore&) = default;
    ISettingsStore& operator=(const ISettingsStore&) = default;
};

// Keeps nothing beyond the process: the service's own copy is all there is.
class MemoryStore final : public ISettingsStore
{
public:
    [[nodiscard]] bool save(const VpnSettings&) override { return true; }
};

}  // namespace vpnd
