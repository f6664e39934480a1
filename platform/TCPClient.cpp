#include "platform/Deadline.h"
#include "platform/FileDescriptor.h"
#include "platform/QZNet.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>

namespace QZ::Net
{

namespace
{

// Whether the connection that was started comes up before the deadline.
bool waitConnected(int fd, const Deadline& deadline)
{
    pollfd entry = {fd, POLLOUT, 0};
    int ready = 0;
    do {
        ready = poll(&entry, 1, deadline.pollTimeoutMs());
    } while (ready < 0 && errno == EINTR);
    int error = 0;
    socklen_t length = sizeof error;
    return ready > 0 && getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length) == 0 && error == 0;
}

// Where nobody listens, a client's own port may happen to be the one it asks for.
// Such a connection talks to itself and would keep the service from its port.
bool isConnectedToItself(int fd)
{
    sockaddr_in own = {};
    sockaddr_in peer = {};
    socklen_t ownLength = sizeof own;
    socklen_t peerLength = sizeof peer;
    if (getsockname(fd, reinterpret_cast<sockaddr*>(&own), &ownLength) != 0 ||
        getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &peerLength) != 0) {
        return true;
    }
    if (own.sin_port != peer.sin_port || own.sin_addr.s_addr != peer.sin_addr.s_addr) return false;
    // Closing must give the port back at once.
    const linger abort = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    return true;
}

// Not by fcntl(): on 32-bit ARM that takes a panel with glibc 2.28 or newer.
bool setBlocking(int fd)
{
    int nonBlocking = 0;
    return ioctl(fd, FIONBIO, &nonBlocking) == 0;
}

bool establish(int fd, const Address& address, const Deadline& deadline)
{
    const int on = 1;
    if (setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on) != 0) return false;
    sockaddr_in peer = {};
    peer.sin_family = AF_INET;
    peer.sin_addr.s_addr = htonl(address.ip());
    peer.sin_port = htons(address.port());
    if (::connect(fd, reinterpret_cast<const sockaddr*>(&peer), sizeof peer) != 0) {
        // An interrupted attempt goes on by itself, like one in progress.
        if (errno != EINPROGRESS && errno != EINTR) return false;
        if (!waitConnected(fd, deadline)) return false;
    }
    return !isConnectedToItself(fd) && setBlocking(fd);
}

class TCPFactory final : public IClientFactory
{
public:
    int connect(const Address& address, unsigned int timeOutMs) override
    {
        const Deadline deadline(timeOutMs);
        FileDescriptor fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        if (!fd.isOpen() || !establish(fd.get(), address, deadline)) return -1;
        return fd.release();
    }
};

}  // namespace

IClientFactory* TCPClient::NewFactory() { return new TCPFactory; }

}  // namespace QZ::Net
