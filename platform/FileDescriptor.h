#pragma once

#include <pthread.h>
#include <unistd.h>

#include <utility>

namespace QZ::Net
{

// The owner of a descriptor, from the line in which it comes into being. -1 is none.
class FileDescriptor
{
public:
    explicit FileDescriptor(int fd = -1) : m_fd(fd) {}
    ~FileDescriptor() { reset(); }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;

    [[nodiscard]] bool isOpen() const { return m_fd >= 0; }
    int get() const { return m_fd; }
    // Leaves the descriptor to the caller.
    [[nodiscard]] int release() { return std::exchange(m_fd, -1); }

    // Closes the descriptor and owns another one. Never the place where a cancelled thread
    // ends: close() would stay undone, and the unwind would not get out of a destructor.
    void reset(int fd = -1)
    {
        const int old = std::exchange(m_fd, fd);
        if (old < 0) return;
        int state = PTHREAD_CANCEL_ENABLE;
        pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state);
        close(old);
        pthread_setcancelstate(state, &state);
    }

private:
    int m_fd;
};

}  // namespace QZ::Net
