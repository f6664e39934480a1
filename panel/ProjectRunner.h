#pragma once

#include "panel/ProjectFile.h"
#include "panel/RunView.h"
#include "panel/StopSignal.h"

namespace panel
{

// Runs a project until its duration is over, the stop is raised or no device is
// left: one thread per device, the watchdog on this one. Returns an exit code,
// see ExitCodes.h. Raises PanelError when a driver does not load; the other
// devices have been stopped then.
int runProject(const Project& project, VariableStore& variables, RunView& view,
               const StopSignal& stop);

}  // namespace panel
