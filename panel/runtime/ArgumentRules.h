#pragma once

#include "panel/runtime/CommandTable.h"
#include "panel/runtime/Value.h"

#include <optional>
#include <string>
#include <string_view>

namespace panel
{

// Whether the device, or its service, takes such a value.
bool fits(ArgumentRule rule, const std::string& text);
bool fits(ArgumentRule rule, int number);

// A text that is a whole decimal number, as the device reads it: with a sign or
// without, beyond 32 bits the nearest one.
std::optional<int> wholeNumberOf(const std::string& text);
// The value of a numeric variable as the device takes it for a whole number: the part
// behind the decimal point is cut off.
int truncatedNumber(const Value& value);

}  // namespace panel
