#pragma once

#include "service/base/CountedLog.h"
#include "service/net/NetlinkLookup.h"
#include "service/net/Peer.h"

#include <string>

namespace vpnd
{

// Tells whose process is at the other end of a TCP connection within this machine: whose
// socket has its two addresses the other way round. Asks the kernel by netlink and, where
// that is not possible, reads its tables of sockets. When in doubt it is nobody. One thread.
class PeerIdentity
{
public:
    // Borrows the log. The others are for tests: how to reach the kernel, and where its
    // tables are.
    explicit PeerIdentity(CountedLog& log,
                          NetlinkLookup::Open openNetlink = NetlinkLookup::openDiagnosis,
                          std::string tables = "/proc/self/net");

    // Of a connected socket. Nobody is known
    //   - when one end is no loopback address,
    //   - when the other end is closed: the kernel then names root as its owner,
    //   - when its user has no number here, as one of another user namespace,
    //   - when neither way leads to an answer; the log has a line of it.
    // Never waits and raises nothing.
    [[nodiscard]] Peer of(int socket) noexcept;

private:
    Peer ownerOf(int socket);

    CountedLog& m_log;
    NetlinkLookup m_netlink;
    const std::string m_tables;
};

}  // namespace vpnd
