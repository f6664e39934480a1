#include "service/net/NetlinkLookup.h"

#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstring>

namespace vpnd
{
namespace
{

using Result = SocketLookup::Result;

// Answers to earlier questions are skipped; there are none unless one was given up.
constexpr int kMessagesAtMost = 8;
// In every network of the system. A socket may be bound to it.
constexpr std::uint32_t kLoopbackDevice = 1;

struct Question {
    nlmsghdr head;
    inet_diag_req_v2 body;
};
static_assert(sizeof(Question) == NLMSG_LENGTH(sizeof(inet_diag_req_v2)));

constexpr std::size_t kV4Offset = 12;

void put(const SocketAddress& address, bool isV4, __be32 (&words)[4])
{
    const std::size_t offset = isV4 ? kV4Offset : 0;
    std::memcpy(words, address.bytes.data() + offset, address.bytes.size() - offset);
}

SocketAddress addressOf(int family, const __be32 (&words)[4], __be16 port)
{
    SocketAddress address;
    address.port = ntohs(port);
    if (family == AF_INET) {
        address.bytes[10] = address.bytes[11] = 0xff;
        std::memcpy(address.bytes.data() + kV4Offset, words, 4);
    } else {
        std::memcpy(address.bytes.data(), words, address.bytes.size());
    }
    return address;
}

template <class Record>
Record read(const unsigned char* bytes)
{
    Record record;
    std::memcpy(&record, bytes, sizeof record);
    return record;
}

}  // namespace

common::Descriptor NetlinkLookup::openDiagnosis()
{
    common::Descriptor socket(
        ::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_SOCK_DIAG));
    // Connected to the kernel it takes nothing from anybody else.
    sockaddr_nl kernel{};
    kernel.nl_family = AF_NETLINK;
    const void* const address = &kernel;
    if (socket &&
        ::connect(socket.get(), static_cast<const sockaddr*>(address), sizeof kernel) != 0)
        socket.reset();
    return socket;
}

SocketLookup NetlinkLookup::find(const SocketEnds& ends)
{
    if (!m_socket) m_socket = m_open();
    SocketLookup lookup;
    if (m_socket && ask(ends)) lookup = answer(ends);
    if (lookup.result == Result::kFailed) m_socket.reset();
    if (lookup.result == Result::kFound) m_hasFound = true;
    // The kernel says the same when it has no diagnosis at all.
    if (lookup.result == Result::kNone && !m_hasFound) lookup.result = Result::kFailed;
    return lookup;
}

bool NetlinkLookup::ask(const SocketEnds& ends)
{
    const bool isV4 = ends.own.isV4();
    Question question{};
    question.head.nlmsg_len = sizeof question;
    question.head.nlmsg_type = SOCK_DIAG_BY_FAMILY;
    question.head.nlmsg_flags = NLM_F_REQUEST;
    question.head.nlmsg_seq = ++m_sequence;
    question.body.sdiag_family = isV4 ? AF_INET : AF_INET6;
    question.body.sdiag_protocol = IPPROTO_TCP;
    question.body.id.idiag_sport = htons(ends.own.port);
    question.body.id.idiag_dport = htons(ends.other.port);
    put(ends.own, isV4, question.body.id.idiag_src);
    put(ends.other, isV4, question.body.id.idiag_dst);
    question.body.id.idiag_if = kLoopbackDevice;
    question.body.id.idiag_cookie[0] = question.body.id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
    return ::write(m_socket.get(), &question, sizeof question) == sizeof question;
}

SocketLookup NetlinkLookup::answer(const SocketEnds& ends)
{
    constexpr std::size_t kHead = NLMSG_HDRLEN;
    std::array<unsigned char, 4096> bytes;
    for (int i = 0; i < kMessagesAtMost; ++i) {
        const ssize_t got = ::read(m_socket.get(), bytes.data(), bytes.size());
        if (got < 0 || static_cast<std::size_t>(got) < kHead) break;
        const auto count = static_cast<std::size_t>(got);
        const auto head = read<nlmsghdr>(bytes.data());
        if (head.nlmsg_seq != m_sequence) continue;
        if (head.nlmsg_len < kHead || head.nlmsg_len > count) break;
        const std::size_t length = head.nlmsg_len - kHead;
        const unsigned char* const body = bytes.data() + kHead;
        if (head.nlmsg_type == NLMSG_ERROR && length >= sizeof(nlmsgerr)) {
            if (read<nlmsgerr>(body).error != -ENOENT) break;
            return {Result::kNone, {}};
        }
        if (head.nlmsg_type != SOCK_DIAG_BY_FAMILY || length < sizeof(inet_diag_msg)) break;
        const auto found = read<inet_diag_msg>(body);
        const inet_diag_sockid& id = found.id;
        // Where no socket has these ends, the kernel names one that listens at the first.
        if (!(addressOf(found.idiag_family, id.idiag_src, id.idiag_sport) == ends.own) ||
            !(addressOf(found.idiag_family, id.idiag_dst, id.idiag_dport) == ends.other))
            return {Result::kNone, {}};
        return {Result::kFound, {found.idiag_uid, found.idiag_inode, found.idiag_state}};
    }
    return {};
}

}  // namespace vpnd
