#pragma once

#include <cstdint>
#include <string>

// The numbers and the record that travel to the clients.
namespace vpnd
{

// Integer results of the methods that change something.
constexpr std::int32_t kDone = 0;
constexpr std::int32_t kInvalid = 1;    // an argument is not acceptable; nothing changed
constexpr std::int32_t kNotNow = 2;     // acceptable, but the present state does not allow it
constexpr std::int32_t kNotStored = 3;  // could not be stored

// Status in the record.
constexpr std::int32_t kStatusConnected = 0;
constexpr std::int32_t kStatusIdle = 1;  // enabled, not connected
constexpr std::int32_t kStatusTrying = 2;
constexpr std::int32_t kStatusDisabled = 3;
constexpr std::int32_t kStatusFault = 4;  // gave up; needs a person

// getVpnState: 0 when disabled, else the tunnel's stage (ITunnelBackend.h), or
// this plus the reason of the fault.
constexpr std::int32_t kStateDisabled = 0;
constexpr std::int32_t kStateFaultBase = 100;

// The answer to getDeviceVPNInfo, fields in wire order.
struct DeviceInfo {
    std::int32_t status = kStatusIdle;
    std::string serverIP;
    std::int32_t serverPort = 0;
    std::string deviceName;
    std::string vpnIP;              // empty unless connected
    std::int32_t beatInterval = 0;  // seconds
};

}  // namespace vpnd
