#pragma once

#include "panel/ProjectFile.h"
#include "panel/RunView.h"
#include "panel/StopSignal.h"

#include <memory>
#include <vector>

namespace panel
{

// Runs a project until its duration is over, the stop is raised or no device is
// left: one thread per device, the watchdog on this one. Returns an exit code,
// see ExitCodes.h. libraries are those of the devices, in their order. Raises
// PanelError when a library makes no object or nothing can be shown any more; the
// devices have been stopped then.
int runProject(const Project& project, const std::vector<std::unique_ptr<DriverLibrary>>& libraries,
               VariableStore& variables, RunView& view, const StopSignal& stop);

}  // namespace panel
