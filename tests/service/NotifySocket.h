#pragma once

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

// A service manager's end of $NOTIFY_SOCKET. The environment has its address while it lives.
class NotifySocket
{
public:
    // A path or, from "@" on, a name in the abstract name space.
    explicit NotifySocket(const std::string& address) : m_path(address)
    {
        m_socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        std::memcpy(name.sun_path, address.data(), address.size());
        if (address[0] == '@') name.sun_path[0] = '\0';
        const void* const any = &name;
        EXPECT_EQ(::bind(m_socket, static_cast<const sockaddr*>(any),
                         static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size())),
                  0);
        ::setenv("NOTIFY_SOCKET", address.c_str(), 1);
    }
    ~NotifySocket()
    {
        ::unsetenv("NOTIFY_SOCKET");
        ::close(m_socket);
        if (m_path[0] == '/') ::unlink(m_path.c_str());
    }
    NotifySocket(const NotifySocket&) = delete;
    NotifySocket& operator=(const NotifySocket&) = delete;

    // All messages so far.
    const std::vector<std::string>& messages()
    {
        char message[4096];
        for (ssize_t count = 0; (count = ::recv(m_socket, message, sizeof message, 0)) > 0;) {
            m_messages.emplace_back(message, static_cast<std::size_t>(count));
        }
        return m_messages;
    }
    int descriptor() const { return m_socket; }

private:
    std::string m_path;
    int m_socket = -1;
    std::vector<std::string> m_messages;
};

// A variable of the environment for as long as it lives.
class EnvironmentVariable
{
public:
    EnvironmentVariable(const char* name, const std::string& value) : m_name(name)
    {
        ::setenv(name, value.c_str(), 1);
    }
    ~EnvironmentVariable() { ::unsetenv(m_name); }
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    const char* m_name;
};
