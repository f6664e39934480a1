// A disk that misbehaves, for the program that this is linked to, or that loads it before the
// C library. The environment's ORVA_DISK_RULES names a file with two words, which may change
// at any time: a folder, and what its disk does:
//   ok         nothing
//   full       there is no room for anything that is written
//   readonly   nothing can be changed
//   broken     what is written cannot be synced
//   gone       it has been taken away and put back: only descriptors opened since then work
//   slow       a sync takes two seconds
//   hangs      a sync takes until the word is another one
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>

namespace
{

struct Rule {
    std::string folder;
    std::string word;
};

Rule present()
{
    const char* path = std::getenv("ORVA_DISK_RULES");
    if (path == nullptr) return {};
    const int before = errno;
    const long file = ::syscall(SYS_openat, AT_FDCWD, path, O_RDONLY | O_CLOEXEC);
    char text[512] = {};
    const long size = file < 0 ? 0 : ::syscall(SYS_read, file, text, sizeof text - 1);
    if (file >= 0) ::syscall(SYS_close, file);
    errno = before;
    const std::string all(text, size > 0 ? static_cast<std::size_t>(size) : 0);
    const std::size_t space = all.find(' ');
    if (space == std::string::npos) return {};
    return {all.substr(0, space), all.substr(space + 1, all.find('\n') - space - 1)};
}

// The word, if it is meant for this file.
std::string ruleOf(const char* path)
{
    const Rule rule = present();
    const bool isThere =
        !rule.folder.empty() && std::strncmp(path, rule.folder.c_str(), rule.folder.size()) == 0;
    return isThere ? rule.word : std::string();
}

std::string ruleOf(int descriptor)
{
    const int before = errno;
    char path[512] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    const ssize_t size = ::readlink(link.c_str(), path, sizeof path - 1);
    errno = before;
    return size > 0 ? ruleOf(path) : std::string();
}

// The function that would have been called.
template <class Function>
Function next(const char* name)
{
    void* found = ::dlsym(RTLD_NEXT, name);
    Function function = nullptr;
    std::memcpy(&function, &found, sizeof function);
    return function;
}

bool refuses(const std::string& rule)
{
    if (rule != "full" && rule != "readonly") return false;
    errno = rule == "full" ? ENOSPC : EROFS;
    return true;
}

// Descriptors that were opened since the disk is "gone".
std::array<std::atomic<bool>, 1024> openedSince;

int opened(int descriptor, const char* path)
{
    const auto index = static_cast<std::size_t>(descriptor);
    if (index < openedSince.size()) openedSince[index] = ruleOf(path) == "gone";
    return descriptor;
}

bool refusesAccess(int descriptor)
{
    const std::string rule = ruleOf(descriptor);
    const auto index = static_cast<std::size_t>(descriptor);
    if (rule != "gone" || (index < openedSince.size() && openedSince[index])) return refuses(rule);
    errno = EIO;
    return true;
}

bool refusesToOpen(const char* path, int flags)
{
    const std::string rule = ruleOf(path);
    const bool writes = (flags & O_ACCMODE) != O_RDONLY;
    const bool creates = (flags & O_CREAT) != 0 && ::faccessat(AT_FDCWD, path, F_OK, 0) != 0;
    if ((flags & O_CREAT) != 0 && (flags & O_EXCL) != 0 && !creates) return false;
    return ((rule == "readonly" && writes) || creates) && refuses(rule);
}

int sync(int descriptor, const char* name)
{
    std::string rule = ruleOf(descriptor);
    if (rule == "broken") {
        errno = EIO;
        return -1;
    }
    timespec pause = {2, 0};
    if (rule == "slow") ::nanosleep(&pause, nullptr);
    for (pause = {0, 1000000}; rule == "hangs"; rule = ruleOf(descriptor)) {
        ::nanosleep(&pause, nullptr);
    }
    return next<int (*)(int)>(name)(descriptor);
}

}  // namespace

#define REPLACES extern "C" __attribute__((visibility("default")))

REPLACES int fsync(int descriptor) { return sync(descriptor, "fsync"); }
REPLACES int fdatasync(int descriptor) { return sync(descriptor, "fdatasync"); }

REPLACES int open(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    if (refusesToOpen(path, flags)) return -1;
    return opened(next<int (*)(const char*, int, ...)>("open")(path, flags, mode), path);
}
REPLACES int open64(const char* path, int flags, ...)
{
    std::va_list arguments;
    va_start(arguments, flags);
    const unsigned mode = va_arg(arguments, unsigned);
    va_end(arguments);
    if (refusesToOpen(path, flags)) return -1;
    return opened(next<int (*)(const char*, int, ...)>("open64")(path, flags, mode), path);
}

REPLACES ssize_t write(int descriptor, const void* from, size_t bytes)
{
    if (refusesAccess(descriptor)) return -1;
    return next<ssize_t (*)(int, const void*, size_t)>("write")(descriptor, from, bytes);
}
REPLACES ssize_t pwrite(int descriptor, const void* from, size_t bytes, off_t at)
{
    if (refusesAccess(descriptor)) return -1;
    return next<ssize_t (*)(int, const void*, size_t, off_t)>("pwrite")(descriptor, from, bytes,
                                                                        at);
}
REPLACES ssize_t pwrite64(int descriptor, const void* from, size_t bytes, off64_t at)
{
    if (refusesAccess(descriptor)) return -1;
    return next<ssize_t (*)(int, const void*, size_t, off64_t)>("pwrite64")(descriptor, from, bytes,
                                                                            at);
}
REPLACES int ftruncate(int descriptor, off_t size)
{
    if (refusesAccess(descriptor)) return -1;
    return next<int (*)(int, off_t)>("ftruncate")(descriptor, size);
}
REPLACES int ftruncate64(int descriptor, off64_t size)
{
    if (refusesAccess(descriptor)) return -1;
    return next<int (*)(int, off64_t)>("ftruncate64")(descriptor, size);
}

REPLACES int mkdir(const char* path, mode_t mode)
{
    if (refuses(ruleOf(path))) return -1;
    return next<int (*)(const char*, mode_t)>("mkdir")(path, mode);
}
REPLACES int rename(const char* from, const char* to)
{
    if (ruleOf(from) == "readonly" && refuses("readonly")) return -1;
    return next<int (*)(const char*, const char*)>("rename")(from, to);
}
REPLACES int unlink(const char* path)
{
    if (ruleOf(path) == "readonly" && refuses("readonly")) return -1;
    return next<int (*)(const char*)>("unlink")(path);
}
REPLACES int access(const char* path, int mode)
{
    if ((mode & W_OK) != 0 && ruleOf(path) == "readonly" && refuses("readonly")) return -1;
    return next<int (*)(const char*, int)>("access")(path, mode);
}
