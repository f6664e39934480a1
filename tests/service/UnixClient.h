#pragma once

#include "common/Descriptor.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstddef>
#include <stdexcept>
#include <string>

// A client at a Unix socket that never waits.
class UnixClient
{
public:
    explicit UnixClient(const std::string& path)
        : m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        void* const any = &address;
        if (::connect(m_socket.get(), static_cast<sockaddr*>(any), sizeof address) != 0) {
            throw std::runtime_error("no connection to " + path);
        }
    }

    // As much as there is room for; the rest is what comes back.
    std::string send(const std::string& bytes)
    {
        const ssize_t count =
            ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        return bytes.substr(count < 0 ? 0 : static_cast<std::size_t>(count));
    }

    const std::string& received()
    {
        char bytes[16 * 1024];
        for (;;) {
            const ssize_t count = ::recv(m_socket.get(), bytes, sizeof bytes, 0);
            if (count <= 0) {
                m_isClosed = m_isClosed || count == 0 || errno == ECONNRESET;
                return m_received;
            }
            m_received.append(bytes, static_cast<std::size_t>(count));
        }
    }
    bool closed()
    {
        received();
        return m_isClosed;
    }
    // Takes off the front.
    std::string take(std::size_t bytes)
    {
        std::string front = m_received.substr(0, bytes);
        m_received.erase(0, bytes);
        return front;
    }
    int descriptor() const { return m_socket.get(); }

private:
    common::Descriptor m_socket;
    std::string m_received;
    bool m_isClosed = false;
};
