#include "panel/runtime/FileBytes.h"

#include "common/Descriptor.h"
#include "common/ReadFile.h"
#include "panel/runtime/PanelError.h"

#include <fcntl.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <utility>

namespace panel
{

namespace
{

[[noreturn]] void failToWrite(const std::string& path, int error)
{
    throw PanelError("cannot write '" + path + "': " + std::strerror(error));
}

}  // namespace

std::vector<unsigned char> readFile(const std::string& path, std::size_t maxBytes)
{
    common::FileContent content = common::readFile(path, maxBytes);
    if (!content.problem.empty()) {
        throw PanelError("cannot read '" + path + "': " + content.problem);
    }
    return std::move(content.bytes);
}

void writeFile(const std::string& path, const std::vector<unsigned char>& bytes)
{
    common::Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666));
    if (!file) failToWrite(path, errno);
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t count = ::write(file.get(), bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) failToWrite(path, errno);
        written += static_cast<std::size_t>(count);
    }
    // A full disk may tell so only here.
    if (::close(file.release()) != 0) failToWrite(path, errno);
}

}  // namespace panel
