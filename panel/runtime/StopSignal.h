#pragma once

#include "panel/runtime/Wakeup.h"

#include <chrono>

namespace panel
{

// Turns SIGINT and SIGTERM into a condition that every thread can wait for;
// the signal after the first one ends the program. One
// object at a time; restores what the signals did before at its end.
class StopSignal
{
public:
    using Clock = std::chrono::steady_clock;

    // Raises PanelError when the system has no descriptor left.
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    bool raised() const { return waitUntil(Clock::time_point::min()); }
    // Waits for the stop, at the longest until the deadline or until also is woken;
    // true when the stop has been raised.
    bool waitUntil(Clock::time_point deadline, const Wakeup* also = nullptr) const;
    // The same as a signal.
    void raise() const;

private:
    Wakeup m_stop;
};

}  // namespace panel
