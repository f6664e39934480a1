#include "service/net/SocketLookup.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace vpnd
{
namespace
{

constexpr std::array<unsigned char, 12> kV4Prefix = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff};

using NameOfEnd = int (*)(int, sockaddr*, socklen_t*);

std::optional<SocketAddress> addressOf(int socket, NameOfEnd nameOfEnd)
{
    sockaddr_storage storage{};
    socklen_t size = sizeof storage;
    void* const any = &storage;
    if (nameOfEnd(socket, static_cast<sockaddr*>(any), &size) != 0) return std::nullopt;
    SocketAddress address;
    if (storage.ss_family == AF_INET6) {
        sockaddr_in6 v6;
        std::memcpy(&v6, &storage, sizeof v6);
        std::memcpy(address.bytes.data(), &v6.sin6_addr, address.bytes.size());
        address.port = ntohs(v6.sin6_port);
    } else if (storage.ss_family == AF_INET) {
        sockaddr_in v4;
        std::memcpy(&v4, &storage, sizeof v4);
        std::copy(kV4Prefix.begin(), kV4Prefix.end(), address.bytes.begin());
        std::memcpy(address.bytes.data() + kV4Prefix.size(), &v4.sin_addr, sizeof v4.sin_addr);
        address.port = ntohs(v4.sin_port);
    } else {
        return std::nullopt;
    }
    return address;
}

}  // namespace

bool SocketAddress::isV4() const
{
    return std::equal(kV4Prefix.begin(), kV4Prefix.end(), bytes.begin());
}

bool SocketAddress::isLoopback() const
{
    if (isV4()) return bytes[kV4Prefix.size()] == IN_LOOPBACKNET;
    return std::memcmp(bytes.data(), &in6addr_loopback, bytes.size()) == 0;
}

bool operator==(const SocketAddress& a, const SocketAddress& b)
{
    return a.bytes == b.bytes && a.port == b.port;
}

std::optional<SocketEnds> endsOfPeer(int socket)
{
    const auto own = addressOf(socket, ::getpeername);
    const auto other = addressOf(socket, ::getsockname);
    if (!own || !other) return std::nullopt;
    return SocketEnds{*own, *other};
}

}  // namespace vpnd
