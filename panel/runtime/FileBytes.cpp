#include "panel/runtime/FileBytes.h"

#include "common/Descriptor.h"
#include "panel/runtime/PanelError.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <cstdint>
#include <cstring>

namespace panel
{

namespace
{

[[noreturn]] void fail(const char* what, const std::string& path, int error)
{
    throw PanelError(std::string("cannot ") + what + " '" + path + "': " + std::strerror(error));
}

}  // namespace

std::vector<unsigned char> readFile(const std::string& path, std::size_t maxBytes)
{
    // Not blocking, so that a pipe without a writer is refused instead of waited for.
    const common::Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status = {};
    if (!file || ::fstat(file.get(), &status) != 0) fail("read", path, errno);
    if (!S_ISREG(status.st_mode)) throw PanelError("cannot read '" + path + "': no regular file");
    if (static_cast<std::uint64_t>(status.st_size) > maxBytes) {
        throw PanelError("cannot read '" + path + "': larger than " + std::to_string(maxBytes) +
                         " bytes");
    }
    std::vector<unsigned char> bytes(static_cast<std::size_t>(status.st_size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = ::read(file.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail("read", path, errno);
        if (count == 0) break;  // became shorter meanwhile
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

void writeFile(const std::string& path, const std::vector<unsigned char>& bytes)
{
    common::Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file) fail("write", path, errno);
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(file.get(), bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) fail("write", path, errno);
        written += static_cast<std::size_t>(count);
    }
    // A full disk may tell so only here.
    if (::close(file.release()) != 0) fail("write", path, errno);
}

}  // namespace panel
