#pragma once

#include <string_view>

namespace panel
{

// Writes the whole text to a descriptor, also to one that does not block: it waits for
// a reader that is slow, as long as it takes. False when the other side is gone or full
// for ever.
[[nodiscard]] bool writeAll(int fd, std::string_view text);

}  // namespace panel
