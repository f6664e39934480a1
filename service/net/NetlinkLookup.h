#pragma once

#include "common/Descriptor.h"
#include "service/net/SocketLookup.h"

#include <cstdint>

namespace vpnd
{

// Asks the kernel for one socket at a time over one netlink socket, which is opened anew
// after every failure. Never waits: the kernel's answer is there when the question is sent.
class NetlinkLookup
{
public:
    // Gives a connected datagram socket that does not wait, or none.
    using Open = common::Descriptor (*)();
    static common::Descriptor openDiagnosis();

    explicit NetlinkLookup(Open open) : m_open(open), m_socket(open()) {}

    [[nodiscard]] SocketLookup find(const SocketEnds& ends);

private:
    bool ask(const SocketEnds& ends);
    SocketLookup answer(const SocketEnds& ends);

    Open m_open;
    common::Descriptor m_socket;
    std::uint32_t m_sequence = 0;
    bool m_hasFound = false;  // any socket so far
};

}  // namespace vpnd
