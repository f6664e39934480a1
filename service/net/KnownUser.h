#pragma once

#include <sys/types.h>

#include <optional>

namespace vpnd
{

// The user, unless the number stands for those that have none here, as users of another
// namespace. Reads the system's number for them when it is first asked.
[[nodiscard]] std::optional<uid_t> knownUser(uid_t uid);

}  // namespace vpnd
