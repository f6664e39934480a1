#pragma once

namespace panel
{

// How the program ends.
constexpr int kExitDone = 0;
constexpr int kExitDriverCode = 1;  // the driver answered with a code other than 0
constexpr int kExitFailed =
    2;  // wrong use, a driver or file that can not be loaded, or a driver that throws

}  // namespace panel
