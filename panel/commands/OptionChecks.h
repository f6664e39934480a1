#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace panel
{

// A check for options that take a whole number within the bounds, with a message
// that says so and does not quote what was given.
std::function<std::string(const std::string&)> wholeNumber(std::int64_t least, std::int64_t most);
// The same for options that take any text but an empty one.
std::function<std::string(const std::string&)> notEmpty(const std::string& whatIsRight);

}  // namespace panel
