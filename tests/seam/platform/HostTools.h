#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

// A class with static functions where the driver's usual platform has a namespace. This
// runtime has a tick of its own and no watchdog.
struct HostTools {
    static std::int64_t tickCount()
    {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return (std::int64_t)now.tv_sec * 1000 + now.tv_nsec / 1000000;
    }
    static void feedWatchdog(pthread_t thread) {}
};
