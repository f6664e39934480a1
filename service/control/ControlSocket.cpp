#include "service/control/ControlSocket.h"

#include "service/control/ControlListener.h"
#include "service/net/KnownUser.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <system_error>

namespace vpnd
{
namespace
{

using common::Descriptor;

constexpr mode_t kForEverybody = 0666;

[[noreturn]] void raise(const std::string& path, const std::string& why)
{
    throw ControlError("no control interface at " + path + ": " + why);
}

Descriptor newSocket(const std::string& path)
{
    Descriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) raise(path, std::generic_category().message(errno));
    return socket;
}

const sockaddr* plain(const sockaddr_un& address)
{
    const void* const any = &address;
    return static_cast<const sockaddr*>(any);
}

// A name in place of the program's, for texts: no more than the kernel keeps, and printable.
std::string programOf(pid_t pid)
{
    if (pid <= 0) return {};
    const std::string path = "/proc/" + std::to_string(pid) + "/comm";
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    char text[16];
    const ssize_t count = file ? ::read(file.get(), text, sizeof text) : 0;
    std::string name;
    for (ssize_t i = 0; i < count && text[i] != '\n'; ++i) {
        name += text[i] > ' ' && text[i] <= '~' ? text[i] : '?';
    }
    return name;
}

}  // namespace

Descriptor listenAt(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.front() != '/' || path.size() >= sizeof address.sun_path) {
        raise(path, "right would be a path from \"/\" on, of at most " +
                        std::to_string(sizeof address.sun_path - 1) + " bytes");
    }
    std::memcpy(address.sun_path, path.data(), path.size());

    struct stat status {
    };
    if (::lstat(path.c_str(), &status) == 0) {
        if (!S_ISSOCK(status.st_mode)) raise(path, "there is something that is no socket");
        if (::connect(newSocket(path).get(), plain(address), sizeof address) == 0 ||
            errno == EAGAIN) {
            raise(path, "another service answers there");
        }
        if (errno != ECONNREFUSED) raise(path, std::generic_category().message(errno));
        if (::unlink(path.c_str()) != 0 && errno != ENOENT) {
            raise(path,
                  "an old socket cannot be removed: " + std::generic_category().message(errno));
        }
    }
    Descriptor socket = newSocket(path);
    if (::bind(socket.get(), plain(address), sizeof address) != 0) {
        raise(path, std::generic_category().message(errno));
    }
    // Peers are judged by what the kernel says of them. The mask of the process does not count.
    if (::chmod(path.c_str(), kForEverybody) != 0 || ::listen(socket.get(), SOMAXCONN) != 0) {
        const int error = errno;
        ::unlink(path.c_str());
        raise(path, std::generic_category().message(error));
    }
    return socket;
}

Caller callerOf(int socket)
{
    Caller caller;
    caller.interface = Interface::kControl;
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return caller;
    caller.uid = knownUser(peer.uid);
    caller.program = programOf(peer.pid);
    return caller;
}

}  // namespace vpnd
