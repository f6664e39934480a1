#include "ctl/client/LocalSocket.h"

#include "ctl/base/Failure.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

namespace ctl
{
namespace
{

using QZ::Net::Deadline;

// Where the queue of a Unix socket is full, nothing tells when there is room.
constexpr int kNextTryMs = 20;

[[noreturn]] void throwNoService(const std::string& path, int error)
{
    throw Failure(kExitNoService, "there is no service at " + path + ": " + std::strerror(error),
                  "Start it: systemctl start orva-vpnd. Where it has another socket, name that "
                  "with --control.");
}

[[noreturn]] void throwStuck(const std::string& path, const char* what)
{
    throw Failure(kExitStuck, "the service at " + path + " is stuck: " + what,
                  "Look at its log (journalctl -u orva-vpnd) and restart it: systemctl restart "
                  "orva-vpnd.");
}

// Whether the descriptor is ready by then.
bool isReady(int fd, short events, const Deadline& deadline)
{
    pollfd entry = {fd, events, 0};
    while (true) {
        const int count = ::poll(&entry, 1, deadline.pollTimeoutMs());
        if (count > 0) return true;
        if ((count == 0 || errno == EINTR) && deadline.passed()) return false;
        if (count < 0 && errno != EINTR) return false;
    }
}

}  // namespace

LocalSocket::LocalSocket(const std::string& path, const Deadline& deadline)
    : m_path(path), m_socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof address.sun_path) {
        throw Failure(kExitUsage, "the path of the socket '" + path + "' must have 1 to " +
                                      std::to_string(sizeof address.sun_path - 1) + " bytes");
    }
    std::memcpy(address.sun_path, path.data(), path.size());
    if (!m_socket) throw Failure(kExitFailed, std::string("no socket: ") + std::strerror(errno));
    while (::connect(m_socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
           0) {
        if (errno == EACCES || errno == EPERM) {
            throw Failure(kExitRefused, "this user may not open " + path,
                          "Run this as root, or give the user access to the socket and its "
                          "folder.");
        }
        if (errno != EAGAIN && errno != EINTR) throwNoService(path, errno);
        if (deadline.passed()) throwStuck(path, "it takes no connection");
        ::poll(nullptr, 0, kNextTryMs);
    }
}

void LocalSocket::send(std::string_view bytes, const Deadline& deadline)
{
    while (!bytes.empty()) {
        const ssize_t count = ::send(m_socket.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count > 0) {
            bytes.remove_prefix(static_cast<std::size_t>(count));
            continue;
        }
        // An answer that says why may be there already.
        if (count < 0 && (errno == EPIPE || errno == ECONNRESET)) return;
        if (count < 0 && errno != EAGAIN && errno != EINTR) throwNoService(m_path, errno);
        if (!isReady(m_socket.get(), POLLOUT, deadline)) {
            throwStuck(m_path, "it does not take the request");
        }
    }
}

std::size_t LocalSocket::receive(char* bytes, std::size_t size, const Deadline& deadline)
{
    while (true) {
        const ssize_t count = ::recv(m_socket.get(), bytes, size, 0);
        if (count >= 0) return static_cast<std::size_t>(count);
        if (errno == ECONNRESET) return 0;
        if (errno != EAGAIN && errno != EINTR) throwNoService(m_path, errno);
        if (!hasMore(deadline)) throwStuck(m_path, "it gives no answer in time");
    }
}

bool LocalSocket::hasMore(const Deadline& deadline) const
{
    return isReady(m_socket.get(), POLLIN, deadline);
}

}  // namespace ctl
