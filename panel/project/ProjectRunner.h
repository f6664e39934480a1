#pragma once

#include "panel/project/IRunEvents.h"
#include "panel/project/ProjectFile.h"
#include "panel/runtime/DriverLibrary.h"
#include "panel/runtime/StopSignal.h"
#include "panel/runtime/VariableStore.h"

#include <memory>
#include <vector>

namespace panel
{

// Runs a project until its duration is over, the stop is raised or no device is
// left: one thread per device, the watchdog on this one. libraries are those of the
// devices, in their order. False when a driver answered a command, a write or its
// configuration with another code than 0. Raises PanelError when a library makes no
// object or an event cannot be reported; the devices have been stopped then. giveUp
// must end the program: a driver does not come back, and its thread can be neither
// ended nor waited for.
[[nodiscard]] bool runProject(const Project& project,
                              const std::vector<std::unique_ptr<DriverLibrary>>& libraries,
                              VariableStore& variables, IRunEvents& events, const StopSignal& stop,
                              void (*giveUp)());

}  // namespace panel
