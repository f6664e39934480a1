#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <vector>

namespace common
{

// The whole content of a regular file, or why there is none.
struct FileContent {
    std::vector<unsigned char> bytes;
    std::string problem;      // "No such file or directory"; empty: it has been read
    int error = 0;            // the system's number for that, where it has one
    struct stat status = {};  // of the file that was read
};

// Never waits for somebody to write, and allocates nothing beyond maxBytes; a larger file
// is a problem. The size that the system tells may be 0, as for files in /proc.
[[nodiscard]] FileContent readFile(const std::string& path, std::size_t maxBytes);

}  // namespace common
