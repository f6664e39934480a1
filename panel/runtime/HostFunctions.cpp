#include "panel/runtime/HostFunctions.h"

#include <cstdint>

// The runtime's tool functions for the drivers in this process. Declared here
// once more because the drivers' own declaration is weak, and a weak definition
// is not what a host offers.
extern "C" {
[[gnu::visibility("default")]] std::int64_t Orva_GetTickCount();
[[gnu::visibility("default")]] void watch_dog_report(pthread_t thread);
}

namespace panel
{

Watchdog& hostWatchdog()
{
    static Watchdog watchdog;
    return watchdog;
}

}  // namespace panel

std::int64_t Orva_GetTickCount()
{
    const auto sinceStart = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(sinceStart).count();
}

void watch_dog_report(pthread_t thread)
{
    panel::hostWatchdog().feed(thread, panel::Watchdog::Clock::now());
}
