#pragma once

#include <string>

namespace ctl
{

// Writes a file that only its owner may read, whole or not at all: a file that was there is
// replaced when all of the new one is on the disk. Raises Failure.
void writePrivateFile(const std::string& path, const std::string& content);

}  // namespace ctl
