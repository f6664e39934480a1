#pragma once

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>

// A client as raw as can be: a socket that never waits.
class LoopbackClient
{
public:
    // Not yet connected; 0 leaves the size of the receive buffer to the system.
    explicit LoopbackClient(int receiveBufferBytes = 0)
        : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        if (m_socket < 0) throw std::runtime_error("no socket");
        if (receiveBufferBytes > 0) {
            ::setsockopt(m_socket, SOL_SOCKET, SO_RCVBUF, &receiveBufferBytes,
                         sizeof receiveBufferBytes);
        }
    }
    LoopbackClient(LoopbackClient&& other) noexcept : m_socket(std::exchange(other.m_socket, -1)) {}
    LoopbackClient& operator=(LoopbackClient&& other) noexcept
    {
        std::swap(m_socket, other.m_socket);
        std::swap(m_received, other.m_received);
        std::swap(m_closed, other.m_closed);
        return *this;
    }
    ~LoopbackClient()
    {
        if (m_socket >= 0) ::close(m_socket);
    }

    // Connects as 127.0.0.<last>.
    void comeFrom(unsigned char last)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl((INADDR_LOOPBACK & ~0xffu) | last);
        const void* any = &address;
        if (::bind(m_socket, static_cast<const sockaddr*>(any), sizeof address) != 0) {
            throw std::runtime_error("no address");
        }
    }

    // On loopback the system answers at once, whether the server looks or not.
    void connect(std::uint16_t port)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const void* any = &address;
        if (::connect(m_socket, static_cast<const sockaddr*>(any), sizeof address) != 0) {
            throw std::runtime_error("no connection");
        }
        ::fcntl(m_socket, F_SETFL, O_NONBLOCK);
    }

    // How many bytes went out; 0 when there is no room.
    std::size_t trySend(const std::string& bytes)
    {
        const ssize_t sent = ::send(m_socket, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        return sent > 0 ? static_cast<std::size_t>(sent) : 0;
    }
    // For what certainly fits into the buffers.
    void send(const std::string& bytes)
    {
        if (trySend(bytes) != bytes.size()) throw std::runtime_error("not all was sent");
    }
    // Leaves no trace at the system, so that thousands may come and go.
    void resetAtTheEnd()
    {
        const linger none = {1, 0};
        ::setsockopt(m_socket, SOL_SOCKET, SO_LINGER, &none, sizeof none);
    }
    void finishSending() { ::shutdown(m_socket, SHUT_WR); }

    // Everything that has come so far.
    const std::string& received()
    {
        char chunk[65536];
        for (;;) {
            const ssize_t count = ::recv(m_socket, chunk, sizeof chunk, 0);
            if (count > 0) {
                m_received.append(chunk, static_cast<std::size_t>(count));
            } else {
                m_closed = m_closed || count == 0 || (errno != EAGAIN && errno != EINTR);
                return m_received;
            }
        }
    }
    void forget() { std::string().swap(m_received); }
    // Whether the server has closed the connection.
    bool closed()
    {
        received();
        return m_closed;
    }

private:
    int m_socket;
    std::string m_received;
    bool m_closed = false;
};
