#pragma once

#include "panel/runtime/Value.h"

#include <string>
#include <string_view>

namespace panel
{

// The text on one line: control characters, those that turn the direction of
// writing and what is no UTF-8 are written as \xNN for each byte.
std::string displayText(std::string_view text);
// The same of a value; numbers as short as they can be read back.
std::string displayText(const Value& value);

}  // namespace panel
