// The checked variants of libc's headers would be definitions of their own.
#undef _FORTIFY_SOURCE

#include "tests/platform/Costs.h"

#include <dlfcn.h>
#include <malloc.h>
#include <poll.h>
#include <sys/socket.h>

#include <cstdlib>
#include <cstring>
#include <new>

Costs& Costs::ofThisThread()
{
    static thread_local Costs costs;
    return costs;
}

namespace
{

// The function that ours stands in front of.
template <class Function>
Function behind(const char* name)
{
    void* const address = dlsym(RTLD_NEXT, name);
    Function function = nullptr;
    std::memcpy(&function, &address, sizeof function);
    return function;
}

void* allocate(std::size_t size)
{
    Costs& costs = Costs::ofThisThread();
    ++costs.allocations;
    costs.allocatedBytes += size;
    void* const memory =
        size <= costs.allocationLimit ? std::malloc(size != 0 ? size : 1) : nullptr;
    if (memory == nullptr) throw std::bad_alloc();
    costs.heldBytes += static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    return memory;
}

void giveBack(void* memory)
{
    Costs::ofThisThread().heldBytes -= static_cast<std::ptrdiff_t>(malloc_usable_size(memory));
    std::free(memory);
}

}  // namespace

#define ORVA_EXPORT __attribute__((visibility("default")))

extern "C" {

ORVA_EXPORT ssize_t send(int fd, const void* data, std::size_t count, int flags)
{
    ++Costs::ofThisThread().sends;
    static const auto next = behind<decltype(&send)>("send");
    return next(fd, data, count, flags);
}

ORVA_EXPORT ssize_t recv(int fd, void* data, std::size_t count, int flags)
{
    ++Costs::ofThisThread().receives;
    static const auto next = behind<decltype(&recv)>("recv");
    return next(fd, data, count, flags);
}

ORVA_EXPORT int poll(pollfd* entries, nfds_t count, int timeOutMs)
{
    ++Costs::ofThisThread().polls;
    static const auto next = behind<decltype(&poll)>("poll");
    return next(entries, count, timeOutMs);
}

ORVA_EXPORT int setsockopt(int fd, int level, int option, const void* value,
                           socklen_t length) noexcept
{
    ++Costs::ofThisThread().options;
    static const auto next = behind<decltype(&setsockopt)>("setsockopt");
    return next(fd, level, option, value, length);
}

ORVA_EXPORT void* memmove(void* to, const void* from, std::size_t count) noexcept
{
    Costs::ofThisThread().movedBytes += count;
    static const auto next = behind<decltype(&memmove)>("memmove");
    return next(to, from, count);
}
}

ORVA_EXPORT void* operator new(std::size_t size) { return allocate(size); }

ORVA_EXPORT void* operator new[](std::size_t size) { return allocate(size); }

ORVA_EXPORT void operator delete(void* memory) noexcept { giveBack(memory); }

ORVA_EXPORT void operator delete[](void* memory) noexcept { giveBack(memory); }

ORVA_EXPORT void operator delete(void* memory, std::size_t) noexcept { giveBack(memory); }

ORVA_EXPORT void operator delete[](void* memory, std::size_t) noexcept { giveBack(memory); }
