#pragma once

#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>

namespace vpnd
{

// For a system call that has just failed.
[[noreturn]] inline void raiseSystemError(const char* call)
{
    throw std::system_error(errno, std::generic_category(), call);
}

// Owns a descriptor, or none: -1.
class Descriptor
{
public:
    Descriptor() = default;
    explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
    Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        reset();
        m_descriptor = std::exchange(other.m_descriptor, -1);
        return *this;
    }
    ~Descriptor() { reset(); }

    int get() const { return m_descriptor; }
    explicit operator bool() const { return m_descriptor >= 0; }
    void reset()
    {
        if (m_descriptor >= 0) ::close(std::exchange(m_descriptor, -1));
    }

private:
    int m_descriptor = -1;
};

}  // namespace vpnd
