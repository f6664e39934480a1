#pragma once

#include "service/core/Counters.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

namespace vpnd
{

// From a call to its answer, which may come when nobody waits for it any more.
class CallTimer
{
public:
    using Calls = std::shared_ptr<std::vector<CallCounter>>;

    CallTimer() = default;
    CallTimer(Calls calls, std::size_t place)
        : m_calls(std::move(calls)), m_place(place), m_beganUs(nowUs())
    {
    }

    void stop() const
    {
        if (m_calls) (*m_calls)[m_place].latencies.add(nowUs() - m_beganUs);
    }

private:
    static std::int64_t nowUs()
    {
        const auto now = std::chrono::steady_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    }

    Calls m_calls;
    std::size_t m_place = 0;
    std::int64_t m_beganUs = 0;
};

}  // namespace vpnd
