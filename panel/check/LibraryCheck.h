#pragma once

#include "panel/check/Finding.h"

#include <optional>
#include <string>
#include <vector>

namespace panel
{

enum class StringAbi { kNew, kOld };  // std::__cxx11::basic_string, and the one before it

// What a library is expected to be.
struct CheckOptions {
    std::string target;  // a name that targetOf() knows; empty: the PC that this runs on
    std::optional<StringAbi> stringAbi;
    std::vector<std::string> folders;  // looked into for needed libraries before the usual ones
    std::string runtime;               // the program that will load it; empty: not known
    bool dryCycle = true;              // where the library is for this PC's processor
};

// Looks at a library as the runtime will, without trusting its content. What is
// wrong with the files is a finding; PanelError only for an unreadable one.
std::vector<Finding> checkLibrary(const std::string& path, const CheckOptions& options);

}  // namespace panel
