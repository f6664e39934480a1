#pragma once

#include <initializer_list>
#include <string_view>

namespace panel
{

// The keys that a project file may have, in the order of docs/project-files.md.
using KeyList = std::initializer_list<std::string_view>;
inline const KeyList kProjectKeys = {"duration_ms", "watchdog_ms", "device", "variable", "action"};
inline const KeyList kDeviceKeys = {"name",      "driver",   "max_channel", "blob",
                                    "no_config", "channels", "period_ms"};
inline const KeyList kVariableKeys = {"name", "type", "value"};
inline const KeyList kActionKeys = {"device", "at_ms",   "every_ms", "times",
                                    "when",   "command", "write",    "set"};

}  // namespace panel
