#pragma once

#include "panel/runtime/Watchdog.h"

namespace panel
{

// The watchdog behind the tool function watch_dog_report, which the program
// offers to the drivers it loads together with Orva_GetTickCount.
Watchdog& hostWatchdog();

}  // namespace panel
