#pragma once

#include <cerrno>
#include <system_error>

namespace vpnd
{

// For a system call that has just failed.
[[noreturn]] inline void raiseSystemError(const char* call)
{
    throw std::system_error(errno, std::generic_category(), call);
}

}  // namespace vpnd
