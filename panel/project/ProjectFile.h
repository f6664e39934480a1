#pragma once

#include "panel/runtime/ChannelList.h"
#include "panel/runtime/Value.h"

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace panel
{

struct ProjectDevice {
    std::string name;
    std::string driver;               // path of the library; empty: the file names none
    std::string driverKey;            // where the file names it; empty: it does not
    std::vector<unsigned char> blob;  // stored configuration, empty for none
    ChannelFlags channels{};
    int periodMs = 0;
};

// What an action does.
struct CommandAction {
    std::string text;
};
struct WriteAction {
    int channel = 0;  // from 1
    Value value;
};
struct SetAction {
    NamedValue variable;
};

// Something that a device does at a time, or each time a variable gets a value.
struct ProjectAction {
    std::string where;               // "FILE:LINE: key 'KEY' in action"
    std::size_t device = 0;          // index into the project's devices
    std::optional<NamedValue> when;  // instead of the times
    int atMs = 0;                    // after the start
    int everyMs = 0;                 // 0: once
    int times = 0;                   // 0: without end, where everyMs is given
    std::variant<CommandAction, WriteAction, SetAction> what;
};

struct Project {
    int durationMs = 0;  // 0: until a signal
    int watchdogMs = 0;
    std::vector<ProjectDevice> devices;
    std::vector<NamedValue> variables;
    std::vector<ProjectAction> actions;
};

// Reads a project file: docs/project-files.md. Files that it names are looked up
// beside it and read here. Raises PanelError with "FILE:LINE: key 'KEY' ..." and
// what would be right; never quotes the value of a string variable.
Project loadProject(const std::string& path);

}  // namespace panel
