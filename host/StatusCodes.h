#pragma once

// Every status code that leaves the driver.

// At the host boundary.
constexpr int STATUS_OK = 0;
constexpr int STATUS_FAILED = static_cast<int>(0x80000001u);   // bad argument or failure
constexpr int STATUS_NO_RTDB = static_cast<int>(0x80000000u);  // parameter access without database
constexpr int STATUS_COLLECT_NO_RTDB = -3;                     // collection without database
constexpr int STATUS_DESTROY_NULL = 1;                         // DestroyDeviceCtrl without object

// Between the layers.
constexpr int GLUE_DONE = 1;              // what the run glue's start and end answer
constexpr int CONFIG_OTHER_VERSION = -1;  // the configuration blob is of another version
constexpr int CONFIG_UNUSABLE = 1;        // no record, no archive or an unusable length

// Device logic: collections, commands and channel writes.
constexpr int RESULT_OK = 0;
constexpr int RESULT_NO_SERVICE = 1;   // no connection, or a service call failed
constexpr int RESULT_REFUSED = 4;      // the service refused, or the channel is read-only
constexpr int RESULT_BAD_COMMAND = 5;  // malformed or unknown command, bad argument
constexpr int RESULT_VPN_IDLE = 7;     // VPN enabled, not connected
constexpr int RESULT_VPN_CONNECTING = 8;
constexpr int RESULT_NOT_NOW = 9;  // the service answered 2 to a server command
constexpr int RESULT_VPN_DISABLED = 10;
constexpr int RESULT_VPN_OTHER = 20;        // any other VPN status
constexpr int RESULT_MALFORMED_WRITE = -1;  // a channel write without "="
