#pragma once

#include "host/HostInterface.h"

#include <array>

namespace panel
{

// What the host knows of a channel of the VPN device.
struct ChannelInfo {
    int number;  // as people count, from 1; the driver's host index is one less
    const char* name;
    DATATYPE type;
    bool secret;
};

constexpr std::array<ChannelInfo, 10> kChannels = {{
    {1, "server address", DATATYPE_STRING, false},
    {2, "server port", DATATYPE_INT, false},
    {3, "VPN address", DATATYPE_STRING, false},
    {4, "heartbeat period", DATATYPE_INT, false},
    {5, "device name", DATATYPE_STRING, false},
    {6, "VPN enabled", DATATYPE_INT, false},
    {7, "connection state", DATATYPE_INT, false},
    {8, "device number", DATATYPE_STRING, false},
    {9, "VPN password", DATATYPE_STRING, true},
    {10, "VPN user name", DATATYPE_STRING, false},
}};
constexpr int kChannelCount = static_cast<int>(kChannels.size());

// The channel of that number; null when there is none.
constexpr const ChannelInfo* findChannel(int number)
{
    return number >= 1 && number <= kChannelCount ? &kChannels[static_cast<unsigned>(number) - 1U]
                                                  : nullptr;
}

}  // namespace panel
