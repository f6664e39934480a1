#pragma once

#include <cstdint>
#include <string>

// A snapshot of the panel's VPN as the service reports it. Fields stand in wire order.
struct DeviceVPNInfo {
    std::int32_t status = 1;  // 0 connected, 1 enabled but idle, 2 trying, 3 disabled, else fault
    std::string serverIP;     // address or host name of the VPN server
    std::int32_t serverPort = 0;
    std::string deviceName;         // the device's custom name
    std::string vpnIP;              // the panel's address inside the VPN; empty while not connected
    std::int32_t beatInterval = 0;  // heartbeat period, in seconds
};
