#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace common
{

struct Utf8Character {
    std::uint32_t value = 0;
    std::size_t bytes = 1;  // of the text that it takes
    bool valid = false;
};

// The first character of a text that is not empty. Where the text does not begin
// with one (a stray or missing byte, a longer form than need be, half of a pair, or
// beyond the last character) a single byte that is not valid.
[[nodiscard]] Utf8Character firstCharacter(std::string_view text);

}  // namespace common
