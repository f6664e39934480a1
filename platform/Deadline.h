#pragma once

#include <climits>
#include <cstdint>
#include <ctime>

namespace QZ::Net
{

// One point on the monotonic clock that ends a wait, however often it is interrupted.
class Deadline
{
public:
    explicit Deadline(unsigned int timeOutMs) : m_endNs(nowNs() + timeOutMs * kNsPerMs) {}

    [[nodiscard]] bool passed() const { return nowNs() >= m_endNs; }

    // What is left as poll takes it: rounded up, 0 when nothing is left. A wait
    // longer than poll can express is cut; whoever polls asks again anyway.
    [[nodiscard]] int pollTimeoutMs() const
    {
        const std::int64_t leftNs = m_endNs - nowNs();
        if (leftNs <= 0) return 0;
        const std::int64_t leftMs = (leftNs + kNsPerMs - 1) / kNsPerMs;
        return leftMs > INT_MAX ? INT_MAX : static_cast<int>(leftMs);
    }

private:
    static constexpr std::int64_t kNsPerMs = 1000000;

    static std::int64_t nowNs()
    {
        timespec now = {};
        clock_gettime(CLOCK_MONOTONIC, &now);
        return std::int64_t{now.tv_sec} * 1000 * kNsPerMs + now.tv_nsec;
    }

    std::int64_t m_endNs;
};

}  // namespace QZ::Net
