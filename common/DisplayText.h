#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace common
{

// Whether the character controls the screen, breaks the line or turns the direction of
// what follows, or cannot be seen though it changes how others look.
bool isControl(std::uint32_t character);

// The text on one line: control characters and what is no UTF-8 are written as \xNN
// for each byte.
std::string displayText(std::string_view text);

}  // namespace common
