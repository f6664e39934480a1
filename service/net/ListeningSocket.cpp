#include "service/net/ListeningSocket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <string>

namespace vpnd
{
namespace
{

[[noreturn]] void raise() { throw ListenError(errno, std::generic_category(), "listen"); }

// Where such sockets begin.
constexpr int kFirstInherited = 3;
constexpr const char* kRemedy =
    "; right would be one ListenStream= with the address of \"listen\", or no socket unit: "
    "systemctl mask --now orva-vpnd.socket";

std::string environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

int optionOf(int descriptor, int option)
{
    int value = 0;
    socklen_t size = sizeof value;
    return ::getsockopt(descriptor, SOL_SOCKET, option, &value, &size) == 0 ? value : -1;
}

bool isListening(int descriptor)
{
    const int domain = optionOf(descriptor, SO_DOMAIN);
    return (domain == AF_INET || domain == AF_INET6) &&
           optionOf(descriptor, SO_TYPE) == SOCK_STREAM && optionOf(descriptor, SO_ACCEPTCONN) == 1;
}

common::Descriptor inherited(const Endpoint& where)
{
    if (!isListening(kFirstInherited)) {
        throw InheritedSocketError(
            std::string("what the socket unit passes on is no TCP socket that listens") + kRemedy);
    }
    common::Descriptor socket(kFirstInherited);
    const std::string there = Endpoint::ofSocket(socket.get()).text();
    if (there != where.text()) {
        throw InheritedSocketError("the socket unit listens on " + there +
                                   ", the configuration on " + where.text() + kRemedy);
    }
    if (::fcntl(socket.get(), F_SETFD, FD_CLOEXEC) != 0 ||
        ::fcntl(socket.get(), F_SETFL, O_NONBLOCK) != 0) {
        raise();
    }
    return socket;
}

common::Descriptor made(const Endpoint& where)
{
    common::Descriptor socket(
        ::socket(where.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) raise();
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(socket.get(), where.address(), where.size()) != 0) raise();
    if (::listen(socket.get(), SOMAXCONN) != 0) raise();
    return socket;
}

}  // namespace

common::Descriptor listeningSocket(const Endpoint& where)
{
    // Else it is meant for another process: whoever started this one did not clear its
    // environment.
    if (environment("LISTEN_PID") != std::to_string(::getpid())) return made(where);
    const std::string count = environment("LISTEN_FDS");
    if (count != "1") {
        throw InheritedSocketError("the socket unit passes on " + count + " sockets" + kRemedy);
    }
    return inherited(where);
}

}  // namespace vpnd
