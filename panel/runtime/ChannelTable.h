#pragma once

#include "host/HostInterface.h"
#include "panel/runtime/CommandTable.h"

#include <array>
#include <optional>

namespace panel
{

// What may be written into a channel.
struct WriteRule {
    ArgumentRule rule;
    const char* values;  // that are right, in words
};
constexpr WriteRule kPasswordRule = {ArgumentRule::kPassword, "6 to 32 letters and digits"};
constexpr WriteRule kUserNameRule = {ArgumentRule::kUserName, "6 to 32 letters"};

// What the host knows of a channel of the VPN device.
struct ChannelInfo {
    int number;  // as people count, from 1; the driver's host index is one less
    const char* name;
    const char* projectName;  // that it has in the runtime's projects
    DATATYPE type;
    bool secret;
    const WriteRule* write;  // null: it can only be read
};

constexpr std::array<ChannelInfo, 10> kChannels = {{
    {1, "server address", "服务器地址", DATATYPE_STRING, false, nullptr},
    {2, "server port", "服务器端口", DATATYPE_INT, false, nullptr},
    {3, "VPN address", "VPN地址", DATATYPE_STRING, false, nullptr},
    {4, "heartbeat period", "心跳周期", DATATYPE_INT, false, nullptr},
    {5, "device name", "自定义设备名称", DATATYPE_STRING, false, nullptr},
    {6, "VPN enabled", "VPN使能", DATATYPE_INT, false, nullptr},
    {7, "connection state", "连接状态", DATATYPE_INT, false, nullptr},
    {8, "device number", "设备编号", DATATYPE_STRING, false, nullptr},
    {9, "VPN password", "VPN密码", DATATYPE_STRING, true, &kPasswordRule},
    {10, "VPN user name", "VPN用户名", DATATYPE_STRING, false, &kUserNameRule},
}};
constexpr int kChannelCount = static_cast<int>(kChannels.size());
constexpr int kConnectionStateChannel = 7;

// The channel of that number; null when there is none.
constexpr const ChannelInfo* findChannel(int number)
{
    return number >= 1 && number <= kChannelCount ? &kChannels[static_cast<unsigned>(number) - 1U]
                                                  : nullptr;
}

// The channel that a text means: its number, or one of its names, the English one with
// "-" or "_" for blanks as well and in upper or lower case. Null when there is none.
const ChannelInfo* findChannel(std::string_view text);

}  // namespace panel
