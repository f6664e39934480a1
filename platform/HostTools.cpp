#include "platform/HostTools.h"

#include <ctime>

namespace HostTools
{

std::int64_t tickCount()
{
    if (Orva_GetTickCount != nullptr) return Orva_GetTickCount();
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1000000;
}

void feedWatchdog(pthread_t thread)
{
    if (watch_dog_report != nullptr) watch_dog_report(thread);
}

}  // namespace HostTools
