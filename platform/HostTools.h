#pragma once

#include <pthread.h>

#include <cstdint>

// The runtime's tool functions. Weak: a host that lacks one is no reason not to load.
extern "C" {
std::int64_t Orva_GetTickCount() __attribute__((weak));
void watch_dog_report(pthread_t thread) __attribute__((weak));
}

namespace HostTools
{

// Milliseconds that only grow: the host's tick, or the monotonic clock without one.
std::int64_t tickCount();

// Tells the host's watchdog that the thread is alive; nothing where there is no watchdog.
void feedWatchdog(pthread_t thread);

}  // namespace HostTools
