#pragma once

#include "common/DisplayText.h"
#include "panel/runtime/Value.h"

#include <string>

namespace panel
{

using common::displayText;
using common::isControl;

// The same of a value; numbers as short as they can be read back.
std::string displayText(const Value& value);

}  // namespace panel
