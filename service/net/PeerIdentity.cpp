#include "service/net/PeerIdentity.h"

#include "service/net/KnownUser.h"

#include <netinet/tcp.h>
#include <poll.h>

#include <cstddef>
#include <exception>
#include <optional>
#include <system_error>
#include <utility>

namespace vpnd
{
namespace
{

using Result = SocketLookup::Result;

constexpr const char* kNotFoundOut = "whose a connection is cannot be found out";

// Whether a process has the socket open and it is connected.
bool isLive(const SocketOwner& owner)
{
    const bool isConnected = owner.state == TCP_ESTABLISHED || owner.state == TCP_FIN_WAIT1 ||
                             owner.state == TCP_FIN_WAIT2;
    return isConnected && owner.inode != 0;
}

// Neither end has given the connection up.
bool isConnected(int socket)
{
    pollfd entry{socket, 0, 0};
    return ::poll(&entry, 1, 0) == 0;
}

}  // namespace

PeerIdentity::PeerIdentity(CountedLog& log, NetlinkLookup::Open openNetlink, std::string tables)
    : m_log(log), m_netlink(openNetlink), m_tables(std::move(tables))
{
}

Peer PeerIdentity::of(int socket) noexcept
{
    try {
        return ownerOf(socket);
    } catch (const std::exception& error) {
        m_log.warn(kNotFoundOut, error.what());
        return {};
    }
}

Peer PeerIdentity::ownerOf(int socket)
{
    const std::optional<SocketEnds> ends = endsOfPeer(socket);
    if (!ends || !ends->own.isLoopback() || !ends->other.isLoopback()) return {};
    SocketLookup lookup = m_netlink.find(*ends);
    if (lookup.result == Result::kFailed) lookup = lookUpInTables(m_tables.c_str(), *ends);
    if (lookup.result == Result::kFailed) m_log.warn(kNotFoundOut);
    if (lookup.result != Result::kFound || !isLive(lookup.owner)) return {};
    // As long as this end is alive nobody else's socket can be connected with the same ends:
    // what was found is not of somebody who came later and was given the same port.
    if (!isConnected(socket)) return {};
    return {knownUser(lookup.owner.uid)};
}

}  // namespace vpnd
