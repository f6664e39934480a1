#pragma once

#include "host/StatusCodes.h"
#include "platform/CString.h"

#include <cstdint>

// The device's vocabulary. Device logic, conversions, archive, driver object and run glue
// each carry it, also where they do not read it yet: whoever begins to read it there finds
// texts that are built before the source's own objects, whenever other sources' are. The
// text tables are objects of their own in each source that includes this header, built in
// the order in which they stand here.

// Value of a channel's request flag.
constexpr int kFlagRequested = 1;    // the host wants the channel in this cycle
constexpr int FLAG_VALUE_READY = 3;  // a fresh value waits to be published

// Read/write class of a channel.
constexpr std::int32_t CHANNEL_READWRITE = 0;
constexpr std::int32_t CHANNEL_READONLY = 2;

// Channels by number (1-based; the host's index plus one). 0 is the result slot.
enum Channel : int {
    kChannelResult = 0,
    kChannelServerAddress = 1,
    kChannelServerPort = 2,
    kChannelVpnAddress = 3,
    kChannelBeatInterval = 4,
    kChannelDeviceName = 5,
    kChannelVpnEnabled = 6,
    kChannelVpnState = 7,
    kChannelDeviceSn = 8,
    kChannelVpnPassword = 9,
    kChannelVpnUserName = 10,
};
constexpr int kChannelCount = 10;

// Command words, matched without regard to case.
constexpr int kCommandCount = 12;
const CString DEV_STR_SETVPNSERVER("SETVPNSERVER");
const CString DEV_STR_SETVPNCA("SETVPNCA");
const CString DEV_STR_SETDEVICESN("SETDEVICESN");
const CString DEV_STR_STARTVPN("STARTVPN");
const CString DEV_STR_STOPVPN("STOPVPN");
const CString DEV_STR_SETALIVETIME("SETALIVETIME");
const CString DEV_STR_REFRESH("REFRESH");
const CString DEV_STR_ACTIVATEVPN("Enable");
const CString DEV_STR_ONLINE("Online");
const CString DEV_STR_OFFLINE("Offline");
const CString DEV_STR_GETVPNPASSWD("GetVPNPasswd");
const CString DEV_STR_SETVPNPASSWD("SetVPNPasswd");

// The command words in dispatch order.
const CString IOCTRL_STR_PROPERTYNAME[kCommandCount] = {
    DEV_STR_SETVPNSERVER, DEV_STR_SETVPNCA,     DEV_STR_SETDEVICESN,  DEV_STR_STARTVPN,
    DEV_STR_STOPVPN,      DEV_STR_SETALIVETIME, DEV_STR_REFRESH,      DEV_STR_ACTIVATEVPN,
    DEV_STR_ONLINE,       DEV_STR_OFFLINE,      DEV_STR_GETVPNPASSWD, DEV_STR_SETVPNPASSWD,
};

// Properties: the device declares none.
const CString DEV_STR_PROPERTYINITVALUE("");
const CString DEV_STR_PROPERTYNAME("");
const CString DEV_STR_PROPERTLIST[2] = {"0 - 禁用", "1 - 启用"};

// Channel names; entry k - 1 names channel k.
const CString DEV_STR_CHLNAMES[kChannelCount] = {
    "服务器地址",      // server address
    "服务器端口",      // server port
    "VPN地址",         // VPN address
    "心跳周期",        // heartbeat period
    "自定义设备名称",  // custom device name
    "VPN使能",         // VPN enable
    "连接状态",        // connection state
    "设备编号",        // device number
    "VPN密码",         // VPN password
    "VPN用户名",       // VPN user name
};

// Read/write class by channel number; entry 0 belongs to the result slot.
constexpr std::int32_t DEV_DWORD_CHLRWTYPE[kChannelCount + 1] = {
    CHANNEL_READONLY, CHANNEL_READONLY,  CHANNEL_READONLY,  CHANNEL_READONLY,
    CHANNEL_READONLY, CHANNEL_READONLY,  CHANNEL_READONLY,  CHANNEL_READONLY,
    CHANNEL_READONLY, CHANNEL_READWRITE, CHANNEL_READWRITE,
};

// Result of a collection by the VPN status 0 to 3 that the service reports.
constexpr std::int32_t VPN_STATE_RESULT_CODE[4] = {kResultOk, kResultVpnIdle, kResultVpnConnecting,
                                                   kResultVpnDisabled};
