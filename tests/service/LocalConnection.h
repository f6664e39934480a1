#pragma once

#include "common/Descriptor.h"
#include "service/net/Endpoint.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>
#include <stdexcept>
#include <string>

// Plain sockets over loopback.
namespace local
{

using common::Descriptor;
using vpnd::Endpoint;

inline void require(bool isTrue, const char* what)
{
    if (!isTrue) throw std::runtime_error(what);
}

// "127.0.0.1" and 9 as an endpoint.
inline Endpoint at(const std::string& host, unsigned int port)
{
    const bool isV6 = host.find(':') != std::string::npos;
    const auto endpoint =
        Endpoint::parse((isV6 ? "[" + host + "]" : host) + ":" + std::to_string(port));
    require(endpoint.has_value(), "no address");
    return *endpoint;
}

inline unsigned int portOf(const Descriptor& socket)
{
    const std::string text = Endpoint::ofSocket(socket.get()).text();
    return static_cast<unsigned int>(std::stoul(text.substr(text.rfind(':') + 1)));
}

inline Descriptor bound(const Endpoint& where)
{
    Descriptor socket(::socket(where.family(), SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    require(::bind(socket.get(), where.address(), where.size()) == 0, "no bind");
    return socket;
}

inline Descriptor listening(const std::string& host, unsigned int port = 0)
{
    Descriptor socket = bound(at(host, port));
    require(::listen(socket.get(), SOMAXCONN) == 0, "no listen");
    return socket;
}

inline Descriptor accepted(const Descriptor& listener)
{
    Descriptor socket(::accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    require(static_cast<bool>(socket), "no accept");
    return socket;
}

inline void connect(const Descriptor& socket, const Endpoint& where)
{
    require(::connect(socket.get(), where.address(), where.size()) == 0, "no connection");
}

inline Descriptor connected(const std::string& host, const Descriptor& listener)
{
    const Endpoint where = at(host, portOf(listener));
    Descriptor socket(::socket(where.family(), SOCK_STREAM | SOCK_CLOEXEC, 0));
    connect(socket, where);
    return socket;
}

// Closed without a trace at the system.
inline void reset(Descriptor& socket)
{
    const linger none = {1, 0};
    ::setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &none, sizeof none);
    socket.reset();
}

// Does something as another user, in a process of its own that stays until the end of this.
class OtherUser
{
public:
    template <class Action>
    OtherUser(uid_t uid, Action action)
    {
        int ready[2];
        int go[2];
        require(::pipe2(ready, O_CLOEXEC) == 0 && ::pipe2(go, O_CLOEXEC) == 0, "no pipe");
        m_child = ::fork();
        if (m_child == 0) {
            ::close(ready[0]);
            ::close(go[1]);
            char word = 'n';
            if (::setresuid(uid, uid, uid) == 0) word = action() ? 'y' : 'f';
            if (::write(ready[1], &word, 1) != 1) ::_exit(1);
            while (::read(go[0], &word, 1) > 0) {
            }
            ::_exit(0);
        }
        ::close(ready[1]);
        ::close(go[0]);
        m_go = Descriptor(go[1]);
        const Descriptor answer(ready[0]);
        require(m_child > 0 && ::read(answer.get(), &m_word, 1) == 1, "no child");
        require(m_word != 'f', "the child failed");
    }
    ~OtherUser()
    {
        m_go.reset();
        ::waitpid(m_child, nullptr, 0);
    }
    OtherUser(const OtherUser&) = delete;
    OtherUser& operator=(const OtherUser&) = delete;

    // False where this process may not become another user: nothing was done.
    bool isPossible() const { return m_word != 'n'; }

private:
    pid_t m_child = -1;
    char m_word = 'n';
    Descriptor m_go;
};

}  // namespace local
