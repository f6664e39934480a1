#pragma once

#include <cstddef>
#include <string_view>

namespace common
{

// Most names in one key (a.b.c has three), and most brackets that stand in each other.
constexpr int kMaxTomlDepth = 16;

// The line of a TOML text, counted from 1, that goes deeper than that; 0 when none
// does. The parser of such a text would use up the stack.
[[nodiscard]] std::size_t lineThatIsTooDeep(std::string_view text);

}  // namespace common
