#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace panel
{

// Largest file that is read as a value, a configuration or a library.
constexpr std::size_t kMaxFileBytes = 256U * 1024U * 1024U;

// The whole content of a regular file. Raises PanelError when it cannot be
// read or is larger than maxBytes; nothing is allocated beyond that.
std::vector<unsigned char> readFile(const std::string& path, std::size_t maxBytes = kMaxFileBytes);

// Writes the file anew. Raises PanelError when that fails.
void writeFile(const std::string& path, const std::vector<unsigned char>& bytes);

}  // namespace panel
