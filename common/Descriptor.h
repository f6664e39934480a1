#pragma once

#include <unistd.h>
#include <utility>

namespace common
{

// Owns a descriptor of the system, or none, and closes it at its end.
class Descriptor
{
public:
    Descriptor() = default;
    // What open() and its like return; below 0 is none.
    explicit Descriptor(int fd) : m_fd(fd) {}
    ~Descriptor() { reset(); }
    Descriptor(Descriptor&& other) noexcept : m_fd(other.release()) {}
    Descriptor& operator=(Descriptor&& other) noexcept
    {
        if (this != &other) reset(other.release());
        return *this;
    }

    explicit operator bool() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    // The caller closes it from now on.
    [[nodiscard]] int release() { return std::exchange(m_fd, -1); }
    void reset(int fd = -1)
    {
        if (m_fd >= 0) ::close(m_fd);
        m_fd = fd;
    }

private:
    int m_fd = -1;
};

}  // namespace common
