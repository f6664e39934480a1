#include "ctl/report/FileOutput.h"

#include "common/Descriptor.h"
#include "ctl/base/Failure.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

namespace ctl
{
namespace
{

[[noreturn]] void giveUp(const std::string& path, const std::string& temporary)
{
    const int error = errno;
    if (!temporary.empty()) ::unlink(temporary.c_str());
    throw Failure(kExitFailed, "cannot write " + path + ": " + std::strerror(error));
}

}  // namespace

void writePrivateFile(const std::string& path, const std::string& content)
{
    struct stat status = {};
    if (::stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode)) {
        throw Failure(kExitFailed, "cannot write " + path + ": it is no regular file");
    }
    // mkostemp gives it mode 0600.
    std::string temporary = path + ".XXXXXX";
    const common::Descriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file) giveUp(path, {});
    for (std::string_view rest = content; !rest.empty();) {
        const ssize_t count = ::write(file.get(), rest.data(), rest.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) giveUp(path, temporary);
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    if (::fsync(file.get()) != 0 || ::rename(temporary.c_str(), path.c_str()) != 0) {
        giveUp(path, temporary);
    }
}

}  // namespace ctl
