#pragma once

#include "platform/QZNet.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <string>

inline sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

inline int tcpSocket()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_GE(fd, 0);
    return fd;
}

inline bool connectTo(int fd, std::uint16_t port)
{
    const sockaddr_in address = loopback(port);
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// A port, by default of the machine's choice, taken; listening when there is a backlog.
class Port
{
public:
    explicit Port(int backlog, std::uint16_t number = 0) : m_fd(tcpSocket())
    {
        const int on = 1;
        EXPECT_EQ(setsockopt(m_fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on), 0);
        sockaddr_in own = loopback(number);
        socklen_t length = sizeof own;
        EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&own), sizeof own), 0);
        EXPECT_EQ(getsockname(m_fd, reinterpret_cast<sockaddr*>(&own), &length), 0);
        m_number = ntohs(own.sin_port);
        EXPECT_TRUE(backlog < 0 || listen(m_fd, backlog) == 0);
    }
    ~Port() { release(); }
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    std::uint16_t number() const { return m_number; }
    QZ::Net::Address address() const
    {
        return QZ::Net::Address(("127.0.0.1:" + std::to_string(m_number)).c_str());
    }
    int accept() const { return ::accept(m_fd, nullptr, nullptr); }
    void release()
    {
        if (m_fd >= 0) close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd;
    std::uint16_t m_number = 0;
};

// A listener whose queue is full: it lets further connections wait.
class FullPort
{
public:
    explicit FullPort(std::uint16_t number = 0) : m_port(0, number)
    {
        for (int& fd : m_waiting) {
            fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
            connectTo(fd, m_port.number());
        }
    }
    ~FullPort()
    {
        for (const int fd : m_waiting) close(fd);
    }
    FullPort(const FullPort&) = delete;
    FullPort& operator=(const FullPort&) = delete;

    QZ::Net::Address address() const { return m_port.address(); }

private:
    Port m_port;
    int m_waiting[8];
};
