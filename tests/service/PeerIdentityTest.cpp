#include "service/net/PeerIdentity.h"
#include "tests/service/CapturedLog.h"
#include "tests/service/ListenerFixture.h"
#include "tests/service/LocalConnection.h"

#include <net/if.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace
{

using local::Descriptor;
using local::OtherUser;
using vpnd::NetlinkLookup;
using vpnd::Peer;
using vpnd::PeerIdentity;

constexpr uid_t kOther = 12345;
constexpr uid_t kNobody = 65534;
constexpr const char* kNoOtherUser = "this process may not become another user";

Descriptor noNetlink() { return Descriptor(); }

struct Way {
    const char* name;
    NetlinkLookup::Open open;
    const char* tables;
};

// Each of the two ways alone.
const Way kNetlinkAlone = {"netlink", NetlinkLookup::openDiagnosis, "/none"};
const Way kTablesAlone = {"tables", noNetlink, "/proc/self/net"};
const Way kNeither = {"neither", noNetlink, "/none"};

class PeerIdentityTest : public testing::TestWithParam<Way>
{
protected:
    void SetUp() override
    {
        spdlog::set_level(spdlog::level::off);
        if (GetParam().open == NetlinkLookup::openDiagnosis && !NetlinkLookup::openDiagnosis())
            GTEST_SKIP() << "no netlink diagnosis here";
    }

    std::optional<uid_t> uidOf(const Descriptor& socket) { return m_identity.of(socket.get()).uid; }

    vpnd::EventLoop m_loop{[] { return std::int64_t{0}; }};
    vpnd::CountedLog m_log{m_loop};
    PeerIdentity m_identity{m_log, GetParam().open, GetParam().tables};
};

INSTANTIATE_TEST_SUITE_P(Each, PeerIdentityTest, testing::Values(kNetlinkAlone, kTablesAlone),
                         [](const auto& one) { return std::string(one.param.name); });

struct Hosts {
    const char* listening;
    const char* connecting;
};

constexpr Hosts kHosts[] = {
    {"127.0.0.1", "127.0.0.1"},
    {"127.0.0.1", "::ffff:127.0.0.1"},
    {"0.0.0.0", "127.0.0.77"},
    {"::1", "::1"},
    {"::", "127.0.0.1"},
    {"::", "::ffff:127.0.0.1"},
    {"::", "::1"},
};

TEST_P(PeerIdentityTest, TheOwnUserIsSeen)
{
    for (const Hosts& hosts : kHosts) {
        const Descriptor listener = local::listening(hosts.listening);
        const Descriptor client = local::connected(hosts.connecting, listener);
        EXPECT_EQ(uidOf(local::accepted(listener)), ::getuid()) << hosts.connecting;
    }
}

TEST_P(PeerIdentityTest, AnotherUserIsSeen)
{
    for (const Hosts& hosts : kHosts) {
        const Descriptor listener = local::listening(hosts.listening);
        Descriptor client;
        const OtherUser other(kOther, [&] {
            client = local::connected(hosts.connecting, listener);
            return true;
        });
        if (!other.isPossible()) GTEST_SKIP() << kNoOtherUser;
        EXPECT_EQ(uidOf(local::accepted(listener)), kOther) << hosts.connecting;
    }
}

TEST_P(PeerIdentityTest, NobodyIsNobody)
{
    const Descriptor listener = local::listening("127.0.0.1");
    Descriptor client;
    const OtherUser nobody(kNobody, [&] {
        client = local::connected("127.0.0.1", listener);
        return true;
    });
    if (!nobody.isPossible()) GTEST_SKIP() << kNoOtherUser;
    EXPECT_EQ(uidOf(local::accepted(listener)), std::nullopt);
}

TEST_P(PeerIdentityTest, OneThatOnlyEndedItsSendingIsSeen)
{
    const Descriptor listener = local::listening("127.0.0.1");
    const Descriptor client = local::connected("127.0.0.1", listener);
    const Descriptor server = local::accepted(listener);
    ::shutdown(client.get(), SHUT_WR);
    EXPECT_EQ(uidOf(server), ::getuid());
}

// The kernel names root as the owner of a socket that nobody has open any more.
TEST_P(PeerIdentityTest, OneThatConnectsSendsAndClosesAtOnceIsNobody)
{
    for (const bool leavesATrace : {true, false}) {
        const Descriptor listener = local::listening("127.0.0.1");
        for (int i = 0; i < 200; ++i) {
            Descriptor client = local::connected("127.0.0.1", listener);
            ASSERT_EQ(::send(client.get(), "change", 6, MSG_NOSIGNAL), 6);
            if (!leavesATrace) local::reset(client);
        }
        for (int i = 0; i < 200; ++i) {
            const Descriptor server = local::accepted(listener);
            ASSERT_EQ(uidOf(server), std::nullopt) << i;
            char bytes[16];
            ASSERT_EQ(::recv(server.get(), bytes, sizeof bytes, 0), 6) << "the change is there";
        }
    }
}

TEST_P(PeerIdentityTest, OneThatLeavesLaterIsNobodyToo)
{
    const Descriptor listener = local::listening("127.0.0.1");
    Descriptor client = local::connected("127.0.0.1", listener);
    const Descriptor server = local::accepted(listener);
    EXPECT_EQ(uidOf(server), ::getuid());
    client.reset();
    EXPECT_EQ(uidOf(server), std::nullopt);
}

// What happens while the kernel is being asked.
std::function<void()> s_meanwhile;
bool s_isEarly = false;

template <NetlinkLookup::Open open>
Descriptor openMeanwhile()
{
    if (s_meanwhile) std::exchange(s_meanwhile, {})();
    return s_isEarly ? Descriptor() : open();
}

TEST_P(PeerIdentityTest, WhoeverIsGivenThePortOfOneThatHasGoneIsNotTakenForIt)
{
    const bool byNetlink = GetParam().open == NetlinkLookup::openDiagnosis;
    for (const bool duringTheLookup : {false, true}) {
        s_isEarly = true;
        PeerIdentity identity(
            m_log,
            byNetlink ? openMeanwhile<NetlinkLookup::openDiagnosis> : openMeanwhile<noNetlink>,
            GetParam().tables);
        s_isEarly = false;
        const Descriptor listener = local::listening("127.0.0.1");
        const auto where = local::at("127.0.0.1", local::portOf(listener));
        Descriptor client = local::bound(local::at("127.0.0.1", 0));
        const unsigned int port = local::portOf(client);
        local::connect(client, where);
        ASSERT_EQ(::send(client.get(), "change", 6, MSG_NOSIGNAL), 6);
        const Descriptor first = local::accepted(listener);
        Descriptor next;
        s_meanwhile = [&] {
            local::reset(client);
            next = local::bound(local::at("127.0.0.1", port));
            local::connect(next, where);
        };
        if (!duringTheLookup) std::exchange(s_meanwhile, {})();
        EXPECT_EQ(identity.of(first.get()).uid, std::nullopt);
        ASSERT_TRUE(next);
        EXPECT_EQ(identity.of(local::accepted(listener).get()).uid, ::getuid());
        char bytes[16];
        EXPECT_EQ(::recv(first.get(), bytes, sizeof bytes, 0), 6) << "the change is there";
    }
}

TEST_P(PeerIdentityTest, WhoeverListensAtThePortOfOneThatHasGoneIsNotTakenForIt)
{
    const Descriptor listener = local::listening("127.0.0.1");
    Descriptor client = local::bound(local::at("127.0.0.1", 0));
    const unsigned int port = local::portOf(client);
    local::connect(client, local::at("127.0.0.1", local::portOf(listener)));
    local::reset(client);
    const Descriptor another = local::listening("127.0.0.1", port);
    EXPECT_EQ(uidOf(local::accepted(listener)), std::nullopt);
}

TEST_P(PeerIdentityTest, WhatIsNoConnectionIsNobodys)
{
    EXPECT_EQ(m_identity.of(-1).uid, std::nullopt);
    EXPECT_EQ(uidOf(local::listening("127.0.0.1")), std::nullopt);
}

// In a network of its own, so that its addresses are the test's: what the action returns.
template <class Action>
std::optional<bool> inAnotherNetwork(Action action)
{
    const pid_t child = ::fork();
    if (child == 0) {
        if (::unshare(CLONE_NEWNET) != 0 && ::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
            ::_exit(2);
        ::_exit(action() ? 1 : 0);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) > 1) return std::nullopt;
    return WEXITSTATUS(status) == 1;
}

bool giveAddress(const char* device, const char* address)
{
    const Descriptor any(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ifreq request{};
    std::strncpy(request.ifr_name, device, IFNAMSIZ - 1);
    sockaddr_in in{};
    in.sin_family = AF_INET;
    ::inet_pton(AF_INET, address, &in.sin_addr);
    std::memcpy(&request.ifr_addr, &in, sizeof in);
    if (::ioctl(any.get(), SIOCSIFADDR, &request) != 0) return false;
    std::memset(&request.ifr_ifru, 0, sizeof request.ifr_ifru);
    request.ifr_flags = IFF_UP;
    return ::ioctl(any.get(), SIOCSIFFLAGS, &request) == 0;
}

TEST_P(PeerIdentityTest, WhoeverComesByAnotherAddressOfTheMachineIsNobody)
{
    bool loopbackIsSeen = false;
    const std::optional<bool> isNobody = inAnotherNetwork([&] {
        if (!giveAddress("lo", "127.0.0.1") || !giveAddress("lo:1", "10.7.7.7")) ::_exit(2);
        PeerIdentity identity(m_log, GetParam().open, GetParam().tables);
        const Descriptor listener = local::listening("0.0.0.0");
        const Descriptor near = local::connected("127.0.0.1", listener);
        loopbackIsSeen = identity.of(local::accepted(listener).get()).uid.has_value();
        const Descriptor far = local::connected("10.7.7.7", listener);
        const bool farIsSeen = identity.of(local::accepted(listener).get()).uid.has_value();
        return loopbackIsSeen && !farIsSeen;
    });
    if (!isNobody) GTEST_SKIP() << "no network of its own, or no second address in it";
    EXPECT_TRUE(*isNobody);
}

std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                         std::filesystem::directory_iterator());
}

TEST_P(PeerIdentityTest, NoDescriptorIsLeftOver)
{
    const Descriptor listener = local::listening("127.0.0.1");
    Descriptor client = local::connected("127.0.0.1", listener);
    const Descriptor server = local::accepted(listener);
    const std::ptrdiff_t before = openDescriptors();
    for (int i = 0; i < 50; ++i) EXPECT_TRUE(uidOf(server));
    client.reset();
    for (int i = 0; i < 50; ++i) EXPECT_FALSE(uidOf(server));
    EXPECT_EQ(openDescriptors(), before - 1);
}

class OtherWaysTest : public testing::Test
{
protected:
    void SetUp() override { spdlog::set_level(spdlog::level::off); }

    std::optional<uid_t> uidOf(PeerIdentity& identity) { return identity.of(m_server.get()).uid; }

    vpnd::EventLoop m_loop{[] { return std::int64_t{0}; }};
    vpnd::CountedLog m_log{m_loop};
    const Descriptor m_listener = local::listening("127.0.0.1");
    const Descriptor m_client = local::connected("127.0.0.1", m_listener);
    const Descriptor m_server = local::accepted(m_listener);
};

TEST_F(OtherWaysTest, WhateverThereIsItIsEnough)
{
    PeerIdentity identity(m_log);
    EXPECT_EQ(uidOf(identity), ::getuid());
}

TEST_F(OtherWaysTest, WithNeitherWayItIsNobodyAndALineSaysSo)
{
    PeerIdentity identity(m_log, kNeither.open, kNeither.tables);
    CapturedLog lines;
    for (int i = 0; i < 20; ++i) EXPECT_EQ(uidOf(identity), std::nullopt);
    EXPECT_EQ(lines.take(),
              (std::vector<std::string>{"warning whose a connection is cannot be found out"}));
}

TEST_F(OtherWaysTest, OneThatHasGoneIsWorthNoLine)
{
    PeerIdentity identity(m_log, openMeanwhile<noNetlink>, kTablesAlone.tables);
    Descriptor client = local::connected("127.0.0.1", m_listener);
    const Descriptor server = local::accepted(m_listener);
    CapturedLog lines;
    s_meanwhile = [&] { local::reset(client); };
    EXPECT_EQ(identity.of(server.get()).uid, std::nullopt);
    EXPECT_FALSE(client);
    EXPECT_EQ(identity.of(server.get()).uid, std::nullopt);
    EXPECT_EQ(lines.text(), "");
}

// The real table with one line of it changed.
class ChangedTable
{
public:
    explicit ChangedTable(const Descriptor& client)
    {
        char name[] = "/tmp/orva-table-XXXXXX";
        local::require(::mkdtemp(name) != nullptr, "no folder");
        m_folder = name;
        struct stat file {
        };
        local::require(::fstat(client.get(), &file) == 0, "no inode");
        m_inode = std::to_string(file.st_ino);
    }
    ~ChangedTable() { std::filesystem::remove_all(m_folder); }
    ChangedTable(const ChangedTable&) = delete;
    ChangedTable& operator=(const ChangedTable&) = delete;

    const std::string& folder() const { return m_folder; }
    // Fields are counted from the line's number, which is 0.
    void change(std::size_t field, const std::string& value)
    {
        std::ifstream from("/proc/self/net/tcp");
        std::ofstream to(m_folder + "/tcp");
        for (std::string line; std::getline(from, line);) {
            std::istringstream in(line);
            std::vector<std::string> fields{std::istream_iterator<std::string>(in), {}};
            if (fields.size() > 9 && fields[9] == m_inode) fields[field] = value;
            for (const std::string& each : fields) to << " " << each;
            to << "\n";
        }
    }

private:
    std::string m_folder;
    std::string m_inode;
};

TEST_F(OtherWaysTest, OnlyALiveSocketOfAKnownUserCounts)
{
    ChangedTable table(m_client);
    PeerIdentity identity(m_log, noNetlink, table.folder());
    struct Case {
        std::size_t field;
        const char* value;
        std::optional<uid_t> uid;
    };
    std::string overflow;
    std::ifstream("/proc/sys/kernel/overflowuid") >> overflow;
    for (const Case& each : {
             Case{3, "01", ::getuid()},
             Case{3, "04", ::getuid()},
             Case{3, "05", ::getuid()},
             Case{3, "02", std::nullopt},
             Case{3, "06", std::nullopt},
             Case{3, "07", std::nullopt},
             Case{3, "0A", std::nullopt},
             Case{7, "0", 0},
             Case{7, "65533", 65533},
             Case{7, "65534", std::nullopt},
             Case{7, overflow.c_str(), std::nullopt},
             Case{7, "4294967295", std::nullopt},
             Case{9, "1", ::getuid()},
             Case{9, "0", std::nullopt},
         }) {
        table.change(each.field, each.value);
        EXPECT_EQ(uidOf(identity), each.uid) << each.field << " " << each.value;
    }
}

int s_mute = 0;
// Takes the question and says nothing.
Descriptor muteKernel()
{
    ++s_mute;
    int pair[2];
    local::require(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, pair) == 0,
                   "no pair");
    static Descriptor other;
    other = Descriptor(pair[1]);
    return Descriptor(pair[0]);
}

TEST_F(OtherWaysTest, WhenTheKernelDoesNotAnswerTheTablesDo)
{
    PeerIdentity identity(m_log, muteKernel, "/proc/self/net");
    for (int i = 1; i <= 10; ++i) {
        EXPECT_EQ(uidOf(identity), ::getuid());
        EXPECT_EQ(s_mute, i) << "and it is asked anew each time";
    }
    PeerIdentity blind(m_log, muteKernel, "/none");
    EXPECT_EQ(uidOf(blind), std::nullopt);
}

class RpcListenerPeerTest : public ListenerFixture
{
protected:
    RpcListenerPeerTest() { asksTheKernel = true; }
};

TEST_F(RpcListenerPeerTest, TheHandlerLearnsWhoCalls)
{
    LoopbackClient client = served();
    EXPECT_EQ(handler().lastPeer.uid, ::getuid());
    LoopbackClient another = connected();
    handler().lastPeer = {};
    EXPECT_TRUE(works(client));
    EXPECT_EQ(handler().lastPeer.uid, ::getuid());
}

TEST_F(RpcListenerPeerTest, EachClientIsItself)
{
    LoopbackClient own = served();
    LoopbackClient foreign;
    const std::uint16_t where = port();
    const OtherUser other(kOther, [&] {
        LoopbackClient made;
        made.connect(where);
        made.send(request(5));
        foreign = std::move(made);
        return true;
    });
    if (!other.isPossible()) GTEST_SKIP() << kNoOtherUser;
    EXPECT_TRUE(soon([&] { return handler().calls == 2; }));
    EXPECT_EQ(handler().lastPeer.uid, kOther);
    EXPECT_TRUE(works(own));
    EXPECT_EQ(handler().lastPeer.uid, ::getuid());
}

TEST_F(RpcListenerPeerTest, AnotherUserWhoHoldsAllPlacesDoesNotShutUsOut)
{
    constexpr std::size_t kPlaces = 4;
    listen(kPlaces);
    const std::uint16_t where = port();
    std::vector<LoopbackClient> foreign;
    const OtherUser other(kOther, [&] {
        while (foreign.size() < kPlaces) {
            foreign.emplace_back();
            foreign.back().connect(where);
            foreign.back().send(request(5));
        }
        return true;
    });
    if (!other.isPossible()) GTEST_SKIP() << kNoOtherUser;
    EXPECT_TRUE(soon([&] { return handler().calls == kPlaces; }));
    LoopbackClient own = served();
    EXPECT_EQ(handler().lastPeer.uid, ::getuid());
    EXPECT_EQ(listener()->clientCount(), kPlaces);
}

TEST_F(RpcListenerPeerTest, ClientsThatCallAndCloseAtOnceAreNobody)
{
    constexpr int kClients = 200;
    int callsOfSomebody = 0;
    handler().special = [&](auto&...) {
        if (handler().lastPeer.uid) ++callsOfSomebody;
        return nullptr;
    };
    for (int i = 0; i < kClients; ++i) {
        LoopbackClient client;
        client.connect(port());
        client.send(raw::request(1, "special", ""));
        if (i % 2 == 0) client.resetAtTheEnd();
    }
    EXPECT_TRUE(soon([&] { return handler().calls >= kClients / 2; }));
    EXPECT_TRUE(soon([&] { return listener()->clientCount() == 0; }));
    EXPECT_EQ(callsOfSomebody, 0);
    LoopbackClient client = served();
    EXPECT_EQ(handler().lastPeer.uid, ::getuid());
}

}  // namespace
