#pragma once

#include "service/core/HistoryEntry.h"
#include "service/core/Reasons.h"
#include "service/core/Refusals.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <string_view>

namespace vpnd
{

// Fields in the order in which they were added.
using Json = nlohmann::ordered_json;

// On one line; what is no UTF-8 is replaced.
[[nodiscard]] std::string toText(const Json& json);

// The object that a body is, with plain values only; an empty body is an empty object.
// Nothing when it is something else, or names a field twice.
[[nodiscard]] std::optional<Json> readObject(std::string_view body);

// As docs/control-api.md shows them.
[[nodiscard]] Json textsOf(const RefusalText& refusal);
[[nodiscard]] Json textsOf(const ReasonText& reason);
[[nodiscard]] Json rowOf(const HistoryEntry& entry);
// All that GET /v1/reasons tells.
[[nodiscard]] Json catalogue();

}  // namespace vpnd
