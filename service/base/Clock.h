#pragma once

#include <cstdint>
#include <functional>

namespace vpnd
{

// Milliseconds of a clock that only grows.
using Clock = std::function<std::int64_t()>;

}  // namespace vpnd
