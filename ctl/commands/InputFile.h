#pragma once

#include <cstddef>
#include <string>

namespace ctl
{

// The whole file, or standard input for "-". Raises Failure when it cannot be read or is larger
// than that.
[[nodiscard]] std::string readInput(const std::string& path, std::size_t maxBytes);

// The number that the text is. Raises Failure, which quotes it, when it is none; what: its name.
[[nodiscard]] long long wholeNumber(const std::string& text, const std::string& what);

}  // namespace ctl
