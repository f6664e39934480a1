#pragma once

#include <stdexcept>

namespace panel
{

// What stops the program: one line for the person in front of it, without the
// program's name and without secrets. Ends it with kExitFailed.
class PanelError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

}  // namespace panel
