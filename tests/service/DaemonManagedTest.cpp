#include "tests/service/Daemon.h"
#include "tests/service/NotifySocket.h"

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <fstream>
#include <memory>
#include <string>

// The real program under a service manager, which the test plays.
namespace
{

using ::testing::AllOf;
using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::StartsWith;

// To the first question, getVPNEnabled.
const std::string kEnabled = raw::reply(1, raw::boolean(true));

// As a socket unit has it: made by somebody else, and passed on as descriptor 3.
class PassedSocket
{
public:
    explicit PassedSocket(bool listens = true)
    {
        m_socket = ::socket(AF_INET, SOCK_STREAM, 0);  // no SOCK_CLOEXEC: the child gets it
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        void* const any = &address;
        EXPECT_EQ(::bind(m_socket, static_cast<sockaddr*>(any), sizeof address), 0);
        socklen_t size = sizeof address;
        EXPECT_EQ(::getsockname(m_socket, static_cast<sockaddr*>(any), &size), 0);
        port = ntohs(address.sin_port);
        EXPECT_EQ(listens ? ::listen(m_socket, 16) : 0, 0);
    }
    ~PassedSocket() { ::close(m_socket); }
    PassedSocket(const PassedSocket&) = delete;
    PassedSocket& operator=(const PassedSocket&) = delete;

    // The words before a program that gets it.
    Arguments before(const std::string& pid = "$$", const std::string& count = "1") const
    {
        return {"bash", "-c",
                "export LISTEN_FDS=" + count + " LISTEN_PID=" + pid + "; exec \"$@\" 3<&" +
                    std::to_string(m_socket),
                "bash"};
    }
    std::string address() const { return "127.0.0.1:" + std::to_string(port); }

    std::uint16_t port = 0;

private:
    int m_socket = -1;
};

ChildProcess runWith(const Arguments& before, const Arguments& arguments)
{
    Arguments words = before;
    for (const std::string& word : programWith(arguments)) words.push_back(word);
    return ChildProcess(words);
}

class DaemonManagedTest : public testing::Test
{
protected:
    static std::string path()
    {
        return testing::TempDir() + "manager-" + std::to_string(::getpid());
    }
    NotifySocket manager{path()};
};

TEST_F(DaemonManagedTest, TheManagerLearnsWhenItIsReadyReadsAgainAndEnds)
{
    const EnvironmentVariable usec("WATCHDOG_USEC", "200000");
    Daemon daemon;
    const auto has = [&](std::size_t from, const std::string& begin) {
        for (std::size_t i = from; i < manager.messages().size(); ++i) {
            if (manager.messages()[i].rfind(begin, 0) == 0) return true;
        }
        return false;
    };
    ASSERT_TRUE(daemon.process.waitFor([&] { return !manager.messages().empty(); }));
    EXPECT_THAT(manager.messages().front(),
                AllOf(StartsWith("READY=1\nSTATUS=orva-vpnd "), HasSubstr(" listening on ")));
    ASSERT_TRUE(daemon.process.waitFor([&] { return manager.messages().size() > 4; }));
    EXPECT_TRUE(has(1, "WATCHDOG=1"));

    std::size_t from = manager.messages().size();
    daemon.process.signal(SIGHUP);
    ASSERT_TRUE(daemon.process.waitFor([&] { return has(from, "READY=1"); }));
    EXPECT_TRUE(has(from, "RELOADING=1\nMONOTONIC_USEC="));

    from = manager.messages().size();
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_TRUE(has(from, "STOPPING=1"));
}

TEST_F(DaemonManagedTest, AProgramThatCannotStartTellsTheManagerWhy)
{
    const std::string file = path() + ".toml";
    std::ofstream(file) << "# one\n[callers]\nchange = [\"nobody-of-this-name\"]\n";
    ChildProcess wrongFile = run({"--config", file});
    EXPECT_EQ(wrongFile.exitCode(), 2);
    EXPECT_THAT(manager.messages(),
                Contains(StartsWith("STATUS=orva-vpnd: " + file + ":3: [callers] change: ")));
    EXPECT_THAT(wrongFile.err(), HasSubstr(file + ":3: [callers] change: "));
    ::unlink(file.c_str());

    ChildProcess wrongOption = run({"--device-nane", "line"});
    EXPECT_EQ(wrongOption.exitCode(), 2);
    EXPECT_THAT(manager.messages(), Contains(HasSubstr("STATUS=orva-vpnd: ")));
    EXPECT_THAT(manager.messages().back(), HasSubstr("--device-nane"));

    ChildProcess noFolder = run({"--state", "/dev/null/x", "--listen", "127.0.0.1:0"});
    EXPECT_EQ(noFolder.exitCode(), 2);
    EXPECT_THAT(manager.messages().back(), StartsWith("STATUS=orva-vpnd: /dev/null/x"));
}

TEST_F(DaemonManagedTest, ASocketThatIsPassedOnIsServed)
{
    PassedSocket socket;
    Daemon daemon({"--listen", socket.address()}, {}, socket.before());
    EXPECT_EQ(daemon.port, socket.port);
    LoopbackClient client = daemon.connect();
    EXPECT_EQ(daemon.answer(client, "getVPNEnabled", kEnabled.size()), kEnabled);
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    // It is the manager's: whoever comes meanwhile waits for the next start.
    Daemon next({"--listen", socket.address()}, {}, socket.before());
    LoopbackClient again = next.connect();
    EXPECT_EQ(next.answer(again, "getVPNEnabled", kEnabled.size()), kEnabled);
}

TEST_F(DaemonManagedTest, ASocketThatDoesNotFitIsToldInASentence)
{
    PassedSocket socket;
    ChildProcess elsewhere =
        runWith(socket.before(), {"--state", "none", "--listen", "127.0.0.1:1"});
    EXPECT_EQ(elsewhere.exitCode(), 2);
    EXPECT_THAT(elsewhere.err(),
                HasSubstr("orva-vpnd: the socket unit listens on " + socket.address() +
                          ", the configuration on 127.0.0.1:1"));
    EXPECT_THAT(manager.messages(), Contains(HasSubstr("the socket unit listens on ")));

    for (const char* const count : {"2", "0", "x", "-1", ""}) {
        ChildProcess several =
            runWith(socket.before("$$", count), {"--state", "none", "--listen", socket.address()});
        EXPECT_EQ(several.exitCode(), 2);
        EXPECT_THAT(several.err(),
                    HasSubstr("the socket unit passes on " + std::string(count) + " sockets"));
    }

    PassedSocket bound(false);
    ChildProcess silent = runWith(bound.before(), {"--state", "none", "--listen", bound.address()});
    EXPECT_EQ(silent.exitCode(), 2);
    EXPECT_THAT(silent.err(), HasSubstr("is no TCP socket that listens"));

    ChildProcess none =
        runWith({"bash", "-c", "LISTEN_FDS=1 LISTEN_PID=$$ exec \"$@\" 3<&-", "bash"},
                {"--state", "none", "--listen", "127.0.0.1:0"});
    EXPECT_EQ(none.exitCode(), 2);
    EXPECT_THAT(none.err(), HasSubstr("is no TCP socket that listens"));
}

TEST_F(DaemonManagedTest, ASocketForAnotherProcessIsNotTouched)
{
    PassedSocket socket;
    Daemon daemon({}, {}, socket.before("1"));
    EXPECT_NE(daemon.port, 0);
    EXPECT_NE(daemon.port, socket.port);
}

}  // namespace
