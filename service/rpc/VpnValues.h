#pragma once

#include <cstdint>
#include <string>

// The numbers and the record that travel to the clients.
namespace vpnd
{

// Integer results of the methods that change something.
constexpr std::int32_t kResultDone = 0;
constexpr std::int32_t kResultInvalid = 1;     // an argument is not acceptable; nothing changed
constexpr std::int32_t kResultNotNow = 2;      // acceptable, but not in the present state
constexpr std::int32_t kResultNotStored = 3;   // could not be stored
constexpr std::int32_t kResultNotAllowed = 4;  // not for this caller; nothing changed

// Status in the record.
constexpr std::int32_t kStatusConnected = 0;
constexpr std::int32_t kStatusIdle = 1;  // enabled, not connected
constexpr std::int32_t kStatusTrying = 2;
constexpr std::int32_t kStatusDisabled = 3;
constexpr std::int32_t kStatusFault = 4;  // gave up; needs a person

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
