#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <optional>

namespace vpnd
{

// An address of a TCP socket; one of IPv4 as IPv6 writes it, ::ffff:127.0.0.1. All bytes as
// they travel, the port as a number.
struct SocketAddress {
    std::array<unsigned char, 16> bytes{};
    std::uint16_t port = 0;

    bool isV4() const;
    bool isLoopback() const;
};
[[nodiscard]] bool operator==(const SocketAddress& a, const SocketAddress& b);

// The two addresses of a connected socket.
struct SocketEnds {
    SocketAddress own;
    SocketAddress other;
};

// The ends of the socket at the other end; nothing when the system does not tell.
[[nodiscard]] std::optional<SocketEnds> endsOfPeer(int socket);

// What the kernel knows of a socket.
struct SocketOwner {
    uid_t uid = 0;
    std::uint32_t inode = 0;
    unsigned int state = 0;  // TCP_ESTABLISHED and so on
};

struct SocketLookup {
    enum class Result { kFound, kNone, kFailed };
    Result result = Result::kFailed;
    SocketOwner owner;  // when found
};

// One way to find out: reads the tables tcp and tcp6 in a folder, no more than 4 MiB of each.
[[nodiscard]] SocketLookup lookUpInTables(const char* folder, const SocketEnds& ends);

}  // namespace vpnd
