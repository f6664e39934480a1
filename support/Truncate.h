#pragma once

#include <cstdint>

// A double outside the target's range converts differently on each processor,
// so every truncation in the driver goes through one of these: toward zero,
// saturating at the ends, NaN gives 0.

[[nodiscard]] constexpr int truncToInt(double value)
{
    if (value != value) return 0;
    if (value >= 2147483647.0) return INT32_MAX;
    if (value <= -2147483648.0) return INT32_MIN;
    return static_cast<int>(value);
}

[[nodiscard]] constexpr std::uint32_t truncToUnsigned(double value)
{
    if (value != value || value <= 0.0) return 0;
    if (value >= 4294967295.0) return UINT32_MAX;
    return static_cast<std::uint32_t>(value);
}
