#pragma once

namespace panel
{

// How the program ends.
constexpr int kExitDone = 0;
constexpr int kExitDriverCode = 1;  // the driver answered with a code other than 0
// wrong use, a driver or file that cannot be loaded, or a driver that throws
constexpr int kExitFailed = 2;
// Of poll --until.
constexpr int kExitTimeOver = 3;     // the state did not come in time
constexpr int kExitInterrupted = 4;  // Ctrl-C came before the state

}  // namespace panel
