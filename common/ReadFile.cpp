#include "common/ReadFile.h"

#include "common/Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace common
{
namespace
{

constexpr std::size_t kStepBytes = 4096;

FileContent failed(int error)
{
    FileContent content;
    content.problem = std::strerror(error);
    content.error = error;
    return content;
}

FileContent refused(const std::string& problem)
{
    FileContent content;
    content.problem = problem;
    return content;
}

}  // namespace

FileContent readFile(const std::string& path, std::size_t maxBytes)
{
    const FileContent tooLarge = refused("larger than " + std::to_string(maxBytes) + " bytes");
    // Not blocking, so that a pipe without a writer is refused instead of waited for.
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    FileContent content;
    if (!file || ::fstat(file.get(), &content.status) != 0) return failed(errno);
    if (!S_ISREG(content.status.st_mode)) return refused("no regular file");
    if (static_cast<std::uint64_t>(content.status.st_size) > maxBytes) return tooLarge;

    // One more than is told, so that the end shows in the read that fills it.
    std::size_t room = static_cast<std::size_t>(content.status.st_size) + 1;
    std::size_t filled = 0;
    for (;;) {
        content.bytes.resize(room);
        const ssize_t count = ::read(file.get(), content.bytes.data() + filled, room - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return failed(errno);
        if (count == 0) break;
        filled += static_cast<std::size_t>(count);
        if (filled > maxBytes) return tooLarge;
        if (filled == room) room = std::min(room + kStepBytes, maxBytes + 1);
    }
    content.bytes.resize(filled);
    return content;
}

}  // namespace common
