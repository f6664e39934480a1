#pragma once

// Every status code that leaves the driver.

// At the host boundary.
constexpr int kStatusOk = 0;
constexpr int kStatusFailed = static_cast<int>(0x80000001u);  // bad argument or failure
constexpr int kStatusNoRtdb = static_cast<int>(0x80000000u);  // parameter access without database
constexpr int kStatusCollectNoRtdb = -3;                      // collection without database
constexpr int kStatusDestroyNull = 1;                         // DestroyDeviceCtrl without object

// Between the layers.
constexpr int kGlueDone = 1;             // what the run glue's start and end answer
constexpr int kConfigOtherVersion = -1;  // the configuration blob is of another version
constexpr int kConfigUnusable = 1;       // no record, no archive or an unusable length

// Device logic: collections, commands and channel writes.
constexpr int kResultOk = 0;
constexpr int kResultNoService = 1;   // no connection, or a service call failed
constexpr int kResultRefused = 4;     // the service refused, or the channel is read-only
constexpr int kResultBadCommand = 5;  // malformed or unknown command, bad argument
constexpr int kResultVpnIdle = 7;     // VPN enabled, not connected
constexpr int kResultVpnConnecting = 8;
constexpr int kResultNotNow = 9;  // the service answered 2 to a server command
constexpr int kResultVpnDisabled = 10;
constexpr int kResultVpnOther = 20;        // any other VPN status
constexpr int kResultMalformedWrite = -1;  // a channel write without "="
