#include "service/net/NetlinkLookup.h"
#include "tests/service/LocalConnection.h"

#include <gtest/gtest.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/tcp.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace
{

using local::Descriptor;
using vpnd::NetlinkLookup;
using vpnd::SocketAddress;
using vpnd::SocketEnds;
using vpnd::SocketLookup;
using Result = SocketLookup::Result;

SocketAddress v4(unsigned char a, unsigned char b, unsigned char c, unsigned char d,
                 std::uint16_t port = 0)
{
    return {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff, 0xff, a, b, c, d}, port};
}

TEST(SocketAddressTest, OnlyLoopbackIsLoopback)
{
    EXPECT_TRUE(v4(127, 0, 0, 1).isLoopback());
    EXPECT_TRUE(v4(127, 255, 255, 255).isLoopback());
    EXPECT_TRUE((SocketAddress{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 0}.isLoopback()));
    for (const SocketAddress& other : {
             v4(126, 0, 0, 1),
             v4(128, 0, 0, 1),
             v4(0, 0, 0, 0),
             v4(10, 0, 0, 127),
             SocketAddress{},
             SocketAddress{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2}, 0},
             SocketAddress{{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 127, 0, 0, 1}, 0},
             SocketAddress{{0xfe, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1}, 0},
             SocketAddress{{127, 0, 0, 1}, 0},
         }) {
        EXPECT_FALSE(other.isLoopback());
    }
}

TEST(SocketEndsTest, TheyAreThoseOfTheOtherSocket)
{
    const Descriptor listener = local::listening("127.0.0.1");
    const Descriptor client = local::connected("127.0.0.1", listener);
    const Descriptor server = local::accepted(listener);
    const auto ends = vpnd::endsOfPeer(server.get());
    ASSERT_TRUE(ends);
    const auto clientPort = static_cast<std::uint16_t>(local::portOf(client));
    const auto serverPort = static_cast<std::uint16_t>(local::portOf(listener));
    EXPECT_TRUE(ends->own == v4(127, 0, 0, 1, clientPort));
    EXPECT_TRUE(ends->other == v4(127, 0, 0, 1, serverPort));
}

TEST(SocketEndsTest, WhatIsNotConnectedHasNone)
{
    EXPECT_FALSE(vpnd::endsOfPeer(local::listening("127.0.0.1").get()));
    EXPECT_FALSE(vpnd::endsOfPeer(-1));
    int pair[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, pair), 0);
    const Descriptor one(pair[0]);
    const Descriptor other(pair[1]);
    EXPECT_FALSE(vpnd::endsOfPeer(one.get()));
}

// Both ways to look, over the real system. A system may have one of them only: the
// emulator of a foreign processor has no diagnosis.
class BothLookupsTest : public testing::Test
{
protected:
    static bool hasNetlink() { return static_cast<bool>(NetlinkLookup::openDiagnosis()); }
    SocketLookup byNetlink(const SocketEnds& ends) { return m_netlink.find(ends); }
    static SocketLookup byTables(const SocketEnds& ends)
    {
        return vpnd::lookUpInTables("/proc/self/net", ends);
    }

private:
    NetlinkLookup m_netlink{NetlinkLookup::openDiagnosis};
};

TEST_F(BothLookupsTest, TheyAgreeOverManySockets)
{
    if (!hasNetlink()) GTEST_SKIP() << "no netlink diagnosis here";
    const Descriptor v4Only = local::listening("127.0.0.1");
    const Descriptor v6Only = local::listening("::1");
    const Descriptor both = local::listening("::");
    std::vector<Descriptor> clients;
    std::vector<Descriptor> servers;
    const auto add = [&](const char* host, const Descriptor& listener) {
        clients.push_back(local::connected(host, listener));
        servers.push_back(local::accepted(listener));
    };
    for (int i = 0; i < 60; ++i) {
        add("127.0.0.1", v4Only);
        add("127.0.0.9", both);
        add("::ffff:127.0.0.1", v4Only);
        add("::ffff:127.0.0.1", both);
        add("::1", v6Only);
    }
    for (std::size_t i = 0; i < clients.size(); i += 3) ::shutdown(clients[i].get(), SHUT_WR);
    for (std::size_t i = 0; i < clients.size(); ++i) {
        const auto ends = vpnd::endsOfPeer(servers[i].get());
        ASSERT_TRUE(ends);
        struct stat file {
        };
        ASSERT_EQ(::fstat(clients[i].get(), &file), 0);
        const SocketLookup netlink = byNetlink(*ends);
        const SocketLookup tables = byTables(*ends);
        ASSERT_EQ(netlink.result, Result::kFound) << i;
        ASSERT_EQ(tables.result, Result::kFound) << i;
        EXPECT_EQ(netlink.owner.inode, file.st_ino);
        EXPECT_EQ(tables.owner.inode, file.st_ino);
        EXPECT_EQ(netlink.owner.uid, ::getuid());
        EXPECT_EQ(tables.owner.uid, ::getuid());
        // The end of sending may be acknowledged or not.
        for (const unsigned int state : {netlink.owner.state, tables.owner.state}) {
            const bool isHalfClosed = state == TCP_FIN_WAIT1 || state == TCP_FIN_WAIT2;
            EXPECT_TRUE(i % 3 == 0 ? isHalfClosed : state == TCP_ESTABLISHED) << state;
        }
    }
}

TEST_F(BothLookupsTest, OneThatListensAtThePortIsNotTheOther)
{
    for (const char* host : {"127.0.0.1", "::1"}) {
        const Descriptor listener = local::listening(host);
        const Descriptor client = local::connected(host, listener);
        const Descriptor server = local::accepted(listener);
        SocketEnds ends = *vpnd::endsOfPeer(server.get());
        ASSERT_EQ(byTables(ends).result, Result::kFound);
        if (hasNetlink()) {
            ASSERT_EQ(byNetlink(ends).result, Result::kFound);
        }
        // From the listener's address to a port of nobody.
        std::swap(ends.own, ends.other);
        ends.other.port = ends.own.port;
        EXPECT_EQ(byTables(ends).result, Result::kNone);
        if (hasNetlink()) {
            EXPECT_EQ(byNetlink(ends).result, Result::kNone);
        }
    }
}

// A kernel that says what it is told to, by messages that wait to be read.
class FalseKernel
{
public:
    FalseKernel()
    {
        s_opened = 0;
        int pair[2];
        local::require(
            ::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair) == 0,
            "no pair");
        m_end = Descriptor(pair[0]);
        s_other = Descriptor(pair[1]);
    }
    ~FalseKernel() { s_other.reset(); }
    FalseKernel(const FalseKernel&) = delete;
    FalseKernel& operator=(const FalseKernel&) = delete;

    // Can be opened once.
    static Descriptor open()
    {
        ++s_opened;
        return std::move(s_other);
    }
    static int opened() { return s_opened; }

    void say(const std::string& bytes)
    {
        local::require(::write(m_end.get(), bytes.data(), bytes.size()) >= 0, "no room");
    }
    template <class Body>
    static std::string message(unsigned int type, std::uint32_t sequence, const Body& body)
    {
        nlmsghdr head{};
        head.nlmsg_len = NLMSG_LENGTH(sizeof body);
        head.nlmsg_type = static_cast<__u16>(type);
        head.nlmsg_seq = sequence;
        std::string bytes(NLMSG_SPACE(sizeof body), '\0');
        std::memcpy(bytes.data(), &head, sizeof head);
        std::memcpy(bytes.data() + NLMSG_HDRLEN, &body, sizeof body);
        return bytes;
    }
    static std::string error(int code, std::uint32_t sequence = 1)
    {
        nlmsgerr body{};
        body.error = -code;
        return message(NLMSG_ERROR, sequence, body);
    }
    static std::string socketOf(uid_t uid, std::uint32_t sequence = 1)
    {
        inet_diag_msg body{};
        body.idiag_family = AF_INET;
        body.idiag_state = TCP_ESTABLISHED;
        body.idiag_uid = uid;
        body.idiag_inode = 77;
        body.id.idiag_src[0] = body.id.idiag_dst[0] = htonl(INADDR_LOOPBACK);
        body.id.idiag_sport = htons(1000);
        body.id.idiag_dport = htons(9009);
        return message(SOCK_DIAG_BY_FAMILY, sequence, body);
    }

private:
    Descriptor m_end;
    static Descriptor s_other;
    static int s_opened;
};

Descriptor FalseKernel::s_other;
int FalseKernel::s_opened = 0;

const SocketEnds kEnds = {v4(127, 0, 0, 1, 1000), v4(127, 0, 0, 1, 9009)};

// What comes of it when this is all the kernel says.
SocketLookup said(const std::vector<std::string>& messages)
{
    FalseKernel kernel;
    for (const std::string& each : messages) kernel.say(each);
    NetlinkLookup lookup(FalseKernel::open);
    return lookup.find(kEnds);
}

TEST(NetlinkLookupTest, TheAnswerToTheQuestionCounts)
{
    const SocketLookup right = said({FalseKernel::socketOf(1234)});
    ASSERT_EQ(right.result, Result::kFound);
    EXPECT_EQ(right.owner.uid, 1234u);
    EXPECT_EQ(right.owner.inode, 77u);
    EXPECT_EQ(right.owner.state, unsigned{TCP_ESTABLISHED});
}

TEST(NetlinkLookupTest, AnswersToOtherQuestionsArePassedOver)
{
    const std::string other = FalseKernel::socketOf(0, 7);
    const SocketLookup right =
        said({other, FalseKernel::error(ENOENT, 0), FalseKernel::socketOf(1234)});
    ASSERT_EQ(right.result, Result::kFound);
    EXPECT_EQ(right.owner.uid, 1234u);
    EXPECT_EQ(said({other}).result, Result::kFailed);
    std::vector<std::string> many(8, other);
    many.push_back(FalseKernel::socketOf(1234));
    EXPECT_EQ(said(many).result, Result::kFailed) << "not for ever";
}

TEST(NetlinkLookupTest, WhatIsNoAnswerIsAFailure)
{
    const std::string right = FalseKernel::socketOf(1234);
    std::vector<std::vector<std::string>> wrong = {
        {},
        {""},
        {"x"},
        {std::string(5000, '\xff')},
        {FalseKernel::error(EPERM)},
        {FalseKernel::message(NLMSG_DONE, 1, 0)},
        {FalseKernel::message(NLMSG_ERROR, 1, 0)},
        {FalseKernel::message(SOCK_DIAG_BY_FAMILY, 1, 0)},
    };
    for (std::size_t length = 1; length < NLMSG_LENGTH(sizeof(inet_diag_msg)); ++length) {
        wrong.push_back({right.substr(0, length)});
    }
    std::string shorter = right;
    shorter[0] = 8;  // the message's length
    wrong.push_back({shorter});
    for (const auto& messages : wrong) EXPECT_EQ(said(messages).result, Result::kFailed);
}

TEST(NetlinkLookupTest, AnotherSocketThanTheOneAskedForIsNone)
{
    FalseKernel kernel;
    NetlinkLookup lookup(FalseKernel::open);
    kernel.say(FalseKernel::socketOf(1234, 1));
    ASSERT_EQ(lookup.find(kEnds).result, Result::kFound);
    std::uint32_t sequence = 1;
    for (const SocketEnds& ends : {SocketEnds{kEnds.own, v4(127, 0, 0, 1, 9010)},
                                   SocketEnds{kEnds.own, v4(127, 0, 0, 2, 9009)},
                                   SocketEnds{v4(127, 0, 0, 1, 1001), kEnds.other},
                                   SocketEnds{v4(127, 1, 0, 1, 1000), kEnds.other}}) {
        kernel.say(FalseKernel::socketOf(0, ++sequence));
        EXPECT_EQ(lookup.find(ends).result, Result::kNone);
    }
    EXPECT_EQ(FalseKernel::opened(), 1);
}

TEST(NetlinkLookupTest, NoneIsAFailureUntilOneWasFound)
{
    // The kernel says the same when it lacks the module.
    FalseKernel kernel;
    NetlinkLookup lookup(FalseKernel::open);
    kernel.say(FalseKernel::error(ENOENT, 1));
    EXPECT_EQ(lookup.find(kEnds).result, Result::kFailed);

    FalseKernel another;
    NetlinkLookup other(FalseKernel::open);
    another.say(FalseKernel::socketOf(1, 1));
    another.say(FalseKernel::error(ENOENT, 2));
    EXPECT_EQ(other.find(kEnds).result, Result::kFound);
    EXPECT_EQ(other.find(kEnds).result, Result::kNone);
}

TEST(NetlinkLookupTest, AFailureOpensItAnewTheNextTime)
{
    FalseKernel kernel;
    NetlinkLookup lookup(FalseKernel::open);
    EXPECT_EQ(lookup.find(kEnds).result, Result::kFailed) << "silence";
    EXPECT_EQ(FalseKernel::opened(), 1);
    EXPECT_EQ(lookup.find(kEnds).result, Result::kFailed) << "not to be opened";
    EXPECT_EQ(FalseKernel::opened(), 2);
}

TEST(NetlinkLookupTest, TheKernelsSocketTakesNothingFromOthers)
{
    const Descriptor socket = NetlinkLookup::openDiagnosis();
    if (!socket) GTEST_SKIP() << "no netlink diagnosis here";
    sockaddr_nl own{};
    socklen_t size = sizeof own;
    void* const any = &own;
    auto* const address = static_cast<sockaddr*>(any);
    ASSERT_EQ(::getsockname(socket.get(), address, &size), 0);
    ASSERT_NE(own.nl_pid, 0u);
    const Descriptor forger(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
    const std::string forged = FalseKernel::socketOf(0);
    EXPECT_EQ(::sendto(forger.get(), forged.data(), forged.size(), 0, address, size), -1);
    char byte = 0;
    EXPECT_EQ(::recv(socket.get(), &byte, 1, MSG_DONTWAIT), -1);
}

// Tables as the test writes them.
class SocketTablesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        char name[] = "/tmp/orva-tables-XXXXXX";
        ASSERT_NE(::mkdtemp(name), nullptr);
        m_folder = name;
    }
    void TearDown() override
    {
        for (const char* name : {"/tcp", "/tcp6"}) std::remove((m_folder + name).c_str());
        ::rmdir(m_folder.c_str());
    }
    void table(const char* name, const std::string& lines)
    {
        std::ofstream(m_folder + "/" + name) << kTitles << lines;
    }
    SocketLookup find() { return vpnd::lookUpInTables(m_folder.c_str(), kEnds); }

    // Addresses as this processor writes them.
    static std::string address(const char* before, unsigned int port)
    {
        const std::uint32_t number = htonl(INADDR_LOOPBACK);
        char text[64];
        std::snprintf(text, sizeof text, "%s%08X:%04X", before, number, port);
        return text;
    }
    static std::string line(unsigned int own, unsigned int other, const char* rest,
                            const char* before = "")
    {
        return "   1: " + address(before, own) + " " + address(before, other) + " " + rest + "\n";
    }
    static std::string right(const char* uid = " 1234")
    {
        return line(1000, 9009,
                    (std::string("01 00000000:00000000 00:00000000 00000000 ") + uid +
                     "        0 31337 1 0000000000000000 20 0 0 10 -1")
                        .c_str());
    }
    static constexpr const char* kOthers =
        "01 00000000:00000000 00:00000000 00000000     0        0 5 1 0000000000000000";
    static constexpr const char* kTitles =
        "  sl  local_address rem_address   st tx_queue rx_queue tr tm->when retrnsmt   uid\n";

private:
    std::string m_folder;
};

TEST_F(SocketTablesTest, TheLineWithBothEndsCounts)
{
    table("tcp", line(9009, 1000, kOthers) + line(1000, 9010, kOthers) + line(1001, 9009, kOthers) +
                     right() + line(1000, 9009, kOthers));
    const SocketLookup lookup = find();
    ASSERT_EQ(lookup.result, Result::kFound);
    EXPECT_EQ(lookup.owner.uid, 1234u);
    EXPECT_EQ(lookup.owner.inode, 31337u);
    EXPECT_EQ(lookup.owner.state, unsigned{TCP_ESTABLISHED});
}

TEST_F(SocketTablesTest, AddressesOfIPv4MayStandInTheOtherTable)
{
    const std::uint32_t prefix = htonl(0xffff);
    char before[32];
    std::snprintf(before, sizeof before, "0000000000000000%08X", prefix);
    table("tcp6", line(1000, 9009, kOthers, before));
    EXPECT_EQ(find().result, Result::kFound);
    EXPECT_EQ(find().owner.inode, 5u);
    table("tcp", line(9009, 1000, kOthers));
    EXPECT_EQ(find().owner.inode, 5u);
    table("tcp", right());
    EXPECT_EQ(find().owner.inode, 31337u);
}

TEST_F(SocketTablesTest, WithoutATableItIsAFailureWithoutALineItIsNone)
{
    EXPECT_EQ(find().result, Result::kFailed);
    table("tcp", "");
    EXPECT_EQ(find().result, Result::kNone) << "a system without IPv6";
    table("tcp6", "");
    EXPECT_EQ(find().result, Result::kNone);
}

TEST_F(SocketTablesTest, LinesAreReadWhereverTheyStand)
{
    // Across the border of what is read at once.
    const std::size_t border = 16 * 1024 - std::string(kTitles).size();
    const std::string one = line(1, 2, kOthers);
    for (std::size_t before = 0; before <= right().size(); ++before) {
        std::string lines;
        while (lines.size() + one.size() < border - before) lines += one;
        lines.resize(border - before - 1, ' ');
        table("tcp", lines + "\n" + right() + one);
        ASSERT_EQ(find().owner.uid, 1234u) << before;
    }
}

TEST_F(SocketTablesTest, WhatCannotBeReadIsAFailure)
{
    for (const char* uid : {"-1", "x", "4294967296", "1x"}) {
        table("tcp", right(uid));
        EXPECT_EQ(find().result, Result::kFailed) << uid;
    }
    table("tcp", line(1000, 9009, ""));
    EXPECT_EQ(find().result, Result::kFailed);
    table("tcp", line(1000, 9009, "zz 0:0 0:0 0 0 0 5 1"));
    EXPECT_EQ(find().result, Result::kFailed);
    table("tcp", std::string(100000, 'x'));
    EXPECT_EQ(find().result, Result::kFailed);
}

TEST_F(SocketTablesTest, ALineThatIsNotWholeDoesNotCount)
{
    const std::string whole = right();
    table("tcp", whole.substr(0, whole.find("31337") + 3));
    EXPECT_EQ(find().result, Result::kNone);
}

TEST_F(SocketTablesTest, NoMoreThanFourMebibytesAreRead)
{
    const std::string one = line(1, 2, kOthers);
    std::string lines;
    while (lines.size() + one.size() < 4 * 1024 * 1024 - 1000) lines += one;
    table("tcp", lines + right());
    EXPECT_EQ(find().result, Result::kFound);
    for (int i = 0; i < 200; ++i) lines += one;
    table("tcp", lines + right());
    EXPECT_EQ(find().result, Result::kFailed);
}

}  // namespace
