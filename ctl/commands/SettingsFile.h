#pragma once

#include "ctl/base/Json.h"

#include <cstddef>
#include <string>

namespace ctl
{

constexpr std::size_t kMaxSettingsFileBytes = 256 * 1024;

// The settings of GET /v1/settings as TOML; the password only where the answer has it.
[[nodiscard]] std::string settingsAsToml(const Json& settings);

// The body for PATCH /v1/settings of such a text; name: of the file, for what is wrong in it.
// Raises Failure, which quotes no value.
[[nodiscard]] Json settingsOfToml(const std::string& text, const std::string& name);

}  // namespace ctl
