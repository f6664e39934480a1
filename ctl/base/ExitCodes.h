#pragma once

namespace ctl
{

// How the program ends; docs/vpnctl.md has the same table.
enum ExitCode : int {
    kExitDone = 0,    // or connected
    kExitFailed = 1,  // nothing of what follows: output that cannot be written, an unusable file
    kExitUsage = 2,
    kExitIdle = 3,
    kExitTrying = 4,
    kExitFault = 5,
    kExitDisabled = 6,
    kExitRefused = 7,  // not allowed, or the present state does not allow it
    kExitNoService = 8,
    kExitTimeOver = 9,  // of wait
    kExitOtherVersion = 10,
    kExitStuck = 11,  // something listens there and gives no usable answer
    kExitNotStored = 12,
};

}  // namespace ctl
