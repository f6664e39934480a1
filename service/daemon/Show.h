#pragma once

#include "service/daemon/Options.h"

#include <cstddef>
#include <string>

namespace vpnd
{

// What the folder keeps, for people, whole lines; so many of the history. Passwords do not appear.
// Raises StoreError.
[[nodiscard]] std::string shownState(Show what, const std::string& folder, std::size_t rows);

}  // namespace vpnd
