#pragma once

#include "panel/runtime/DriverLibrary.h"

#include <memory>

namespace panel
{

// Loads a driver after a look at its file. Raises PanelError when that is no regular
// file, is cut or damaged, does not load or lacks an export.
std::unique_ptr<DriverLibrary> loadDriver(const std::string& path);

}  // namespace panel
