#include "tests/service/Daemon.h"

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>
#include <vector>

// That the real program ends when it is told to, and only then, whatever comes at once.
namespace
{

using Unread = ChildProcess::Unread;

const std::string kReply = raw::reply(1, raw::string("vpn.example.com"));

bool works(Daemon& daemon, LoopbackClient& client)
{
    client.forget();
    return daemon.answer(client, "getServerIP", kReply.size()) == kReply;
}

bool isClosed(Daemon& daemon, LoopbackClient& client)
{
    return daemon.process.waitFor([&] { return client.closed(); });
}

std::size_t count(const std::string& text, const std::string& what)
{
    std::size_t found = 0;
    for (std::size_t at = 0; (at = text.find(what, at)) != std::string::npos; ++at) ++found;
    return found;
}

TEST(DaemonLastsTest, SigtermEndsItAlsoWhenConnectionsCameInTheSameMoment)
{
    for (int run = 0; run < 3; ++run) {
        Daemon daemon;
        daemon.process.signal(SIGSTOP);
        std::vector<LoopbackClient> clients(3);
        for (LoopbackClient& client : clients) client.connect(daemon.port);
        daemon.process.signal(SIGTERM);
        daemon.process.signal(SIGCONT);
        EXPECT_EQ(daemon.process.exitCode(), 0);
    }
}

TEST(DaemonLastsTest, SigtermEndsItUnderAFloodOfConnections)
{
    for (int run = 0; run < 5; ++run) {
        Daemon daemon;
        std::atomic<int> connects{0};
        std::atomic<bool> isOver{false};
        std::thread flood([&] {
            try {
                while (!isOver) {
                    LoopbackClient client;
                    client.resetAtTheEnd();
                    client.connect(daemon.port);
                    client.trySend(raw::u32(0));
                    ++connects;
                }
            } catch (const std::exception&) {
                // Nobody listens any more.
            }
        });
        EXPECT_TRUE(daemon.process.waitFor([&] { return connects > 200; }));
        daemon.process.signal(SIGTERM);
        EXPECT_EQ(daemon.process.exitCode(), 0);
        isOver = true;
        flood.join();
    }
}

TEST(DaemonLastsTest, SighupDoesNotEndItAndWritesALineAtMost)
{
    Daemon daemon;
    LoopbackClient client = daemon.connect();
    for (int i = 0; i < 20; ++i) {
        daemon.process.signal(SIGHUP);
        EXPECT_TRUE(works(daemon, client));
    }
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    const std::string& log = daemon.process.err();
    EXPECT_GE(count(log, "SIGHUP"), 1u) << log;
    EXPECT_LE(count(log, "SIGHUP"), 3u) << "one at once, one after ten seconds, one at the end";
}

TEST(DaemonLastsTest, SighupAndSigtermAtTheSameMomentEndIt)
{
    Daemon daemon;
    daemon.process.signal(SIGSTOP);
    for (const int signal : {SIGHUP, SIGTERM, SIGHUP, SIGINT, SIGTERM}) {
        daemon.process.signal(signal);
    }
    daemon.process.signal(SIGCONT);
    EXPECT_EQ(daemon.process.exitCode(), 0);
}

TEST(DaemonLastsTest, ALogThatNobodyReadsHoldsUpNeitherAClientNorTheEnd)
{
    Daemon daemon({"--log-level", "debug"}, Unread::kErr);
    LoopbackClient client = daemon.connect();
    for (int i = 0; i < 200; ++i) {
        client.send(raw::request(1, "setBeatInterval", raw::args(raw::integer(1 + i))) +
                    raw::request(1, "setVPNEnabled", raw::args(raw::boolean(i % 2 != 0))));
        LoopbackClient malformed = daemon.connect();
        malformed.send(raw::u32(0));
        ASSERT_TRUE(isClosed(daemon, malformed));
    }
    const std::string replies = raw::reply(1, raw::integer(0)) + raw::reply(1, "");
    EXPECT_TRUE(
        daemon.process.waitFor([&] { return client.received().size() == 200 * replies.size(); }));
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
}

TEST(DaemonLastsTest, StandardOutputThatNobodyReadsHoldsUpNothing)
{
    ChildProcess process(programWith({"--listen", "127.0.0.1:0"}), Unread::kOut);
    EXPECT_TRUE(process.waitFor([&] {
        return process.err().find("nobody reads standard output") != std::string::npos;
    })) << process.err();
    process.signal(SIGTERM);
    EXPECT_EQ(process.exitCode(), 0);
}

TEST(DaemonLastsTest, MalformedConnectionsAreOneLineInTenSeconds)
{
    const auto begin = std::chrono::steady_clock::now();
    Daemon daemon;
    for (int i = 0; i < 300; ++i) {
        LoopbackClient malformed = daemon.connect();
        malformed.send(raw::u32(0));
        ASSERT_TRUE(isClosed(daemon, malformed));
    }
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    const auto tensOfSeconds =
        (std::chrono::steady_clock::now() - begin) / std::chrono::seconds(10);
    const std::string& log = daemon.process.err();
    // The first at once, the rest at the end.
    EXPECT_LE(count(log, "no request"), 2 + static_cast<std::size_t>(tensOfSeconds)) << log;
    EXPECT_NE(log.find("what it sent is no request\n"), std::string::npos) << log;
    EXPECT_NE(log.find(" x since the last such line)\n"), std::string::npos) << log;
}

TEST(DaemonLastsTest, NoConnectionGetsTheNumberOfAClosedStandardDescriptor)
{
    Daemon daemon({}, {}, {"/bin/sh", "-c", "exec \"$@\" <&- 2>&-", "sh"});
    LoopbackClient client = daemon.connect();
    ASSERT_TRUE(works(daemon, client));
    if (std::string(ORVA_EMULATOR).empty()) {
        // An emulator takes the numbers for files of its own before the program starts.
        const std::string folder = "/proc/" + std::to_string(daemon.process.id()) + "/fd/";
        for (const char* number : {"0", "2"}) {
            EXPECT_EQ(std::filesystem::read_symlink(folder + number), "/dev/null") << number;
        }
    }
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
}

TEST(DaemonLastsTest, ItRaisesItsOwnLimitOfDescriptors)
{
    Daemon daemon({}, {}, {"/bin/sh", "-c", "ulimit -Sn 100 && exec \"$@\"", "sh"});
    std::vector<LoopbackClient> clients(300);
    for (LoopbackClient& client : clients) client.connect(daemon.port);
    for (LoopbackClient& client : clients) ASSERT_TRUE(works(daemon, client));
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_EQ(daemon.process.err().find("room for"), std::string::npos);
}

TEST(DaemonLastsTest, WithFewDescriptorsNewClientsAreClosedAndTheOthersGoOn)
{
    const std::pair<std::string, std::size_t> cases[] = {{"100", 50}, {"500", 340}};
    for (const auto& [limit, places] : cases) {
        const std::string script = "ulimit -n " + limit + " && exec \"$@\"";
        Daemon daemon({}, {}, {"/bin/sh", "-c", script, "sh"});
        std::vector<LoopbackClient> clients;
        for (bool hasRoom = true; hasRoom && clients.size() <= places;) {
            LoopbackClient client = daemon.connect();
            client.trySend(raw::request(1, "getServerIP", raw::args()));
            ASSERT_TRUE(daemon.process.waitFor(
                [&] { return client.closed() || client.received() == kReply; }));
            hasRoom = client.received() == kReply;
            if (hasRoom) clients.push_back(std::move(client));
        }
        EXPECT_EQ(clients.size(), places);
        for (LoopbackClient& client : clients) ASSERT_TRUE(works(daemon, client));
        daemon.process.signal(SIGTERM);
        EXPECT_EQ(daemon.process.exitCode(), 0) << daemon.process.err();
        const std::string warning = "room for " + std::to_string(places) +
                                    " clients instead of 1024: only " + limit +
                                    " open files are allowed";
        EXPECT_EQ(count(daemon.process.err(), warning), 1u) << daemon.process.err();
        EXPECT_EQ(count(daemon.process.err(), "client"), 2u) << daemon.process.err();
    }
}

}  // namespace
