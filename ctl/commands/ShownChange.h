#pragma once

#include "ctl/base/Json.h"

#include <string>

namespace ctl
{

// What PATCH /v1/settings answers, in a line.
[[nodiscard]] std::string changeText(const Json& change);

}  // namespace ctl
