#pragma once

#include <chrono>
#include <string>

namespace panel
{

// Longer than a driver may take for a cycle with a service that never answers.
constexpr std::chrono::milliseconds kDryCycleTimeout{90000};

struct DryCycleResult {
    bool completed = false;
    std::string text;     // the outcome of the cycle, or what went wrong and where
    std::string printed;  // what the library put on standard output, the first 2048 bytes
};

// One whole life of a device, with one polling cycle, in a process of its own: a
// library that crashes or hangs is reported and harms nobody, and ends with this
// program at the latest. For a program with one thread only.
DryCycleResult runDryCycle(const std::string& library,
                           std::chrono::milliseconds timeout = kDryCycleTimeout);

}  // namespace panel
