#pragma once

#include "service/control/ControlFacts.h"
#include "service/core/Controller.h"
#include "service/core/History.h"

#include <cstdint>
#include <string>
#include <vector>

namespace vpnd
{

// All numbers as OpenMetrics text.
[[nodiscard]] std::string metricsText(const ControlFacts& facts, const Controller& controller,
                                      const History& history,
                                      const std::vector<CallCounter>& controlCalls,
                                      std::uint64_t controlRefused);

}  // namespace vpnd
