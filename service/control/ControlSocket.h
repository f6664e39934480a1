#pragma once

#include "common/Descriptor.h"
#include "service/core/Caller.h"

#include <string>

namespace vpnd
{

// A socket that listens at the path, for everybody. Raises ControlError.
[[nodiscard]] common::Descriptor listenAt(const std::string& path);

// Who is at the other end, as the kernel noted it when the connection was made.
[[nodiscard]] Caller callerOf(int socket);

}  // namespace vpnd
