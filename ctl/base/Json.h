#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ctl
{

// Fields keep the order in which they came.
using Json = nlohmann::ordered_json;

// Deepest nesting that is taken.
constexpr int kMaxJsonDepth = 32;

// Raises std::invalid_argument, which quotes nothing, for what is no JSON text or too deep.
[[nodiscard]] Json parseJson(std::string_view text);

// As one line, or as several with two blanks for each level. Characters that would control a
// terminal are written as \uNNNN, so it is the same JSON and shows as it is.
enum class Layout { kOneLine, kLines };
[[nodiscard]] std::string printed(const Json& value, Layout layout);

// The value at a path such as "tunnel.state" or "entries.0.id"; null where there is none.
[[nodiscard]] const Json* find(const Json& value, std::string_view path);

// The value as people read it, on one line and masked: a text without quotes, a number, true
// or false. Empty for null and where there is none; a list or object as JSON.
[[nodiscard]] std::string textAt(const Json& value, std::string_view path);
[[nodiscard]] std::optional<std::int64_t> numberAt(const Json& value, std::string_view path);
[[nodiscard]] std::optional<bool> flagAt(const Json& value, std::string_view path);

}  // namespace ctl
