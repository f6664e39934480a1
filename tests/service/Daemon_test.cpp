#include "tests/service/Daemon.h"
#include "tests/service/TestCertificates.h"

#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <string>
#include <utility>

// The real program, from outside.
namespace
{

TEST(DaemonTest, SaysInOneLineThatItIsReady)
{
    Daemon daemon;
    EXPECT_NE(daemon.port, 0);
    EXPECT_EQ(daemon.process.out(),
              "orva-vpnd " ORVA_VERSION " listening on 127.0.0.1:" + std::to_string(daemon.port) +
                  ", simulated tunnel, nothing is kept\n");
}

TEST(DaemonTest, SigtermAndSigintEndItWithCodeZero)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        Daemon daemon;
        daemon.process.signal(signal);
        EXPECT_EQ(daemon.process.exitCode(), 0) << daemon.process.err();
    }
}

TEST(DaemonTest, SigtermEndsItWhateverItsClientsAreDoing)
{
    Daemon daemon;
    LoopbackClient silent = daemon.connect();
    LoopbackClient halfWay = daemon.connect();
    halfWay.send(raw::request(1, "getServerIP", raw::args()).substr(0, 10));
    LoopbackClient served = daemon.connect();
    const std::string reply = raw::reply(1, raw::string("vpn.example.com"));
    EXPECT_EQ(daemon.answer(served, "getServerIP", reply.size()), reply);
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_TRUE(silent.closed());
    EXPECT_TRUE(halfWay.closed());
    EXPECT_TRUE(served.closed());
}

TEST(DaemonTest, ATakenPortIsOneClearLineAndCodeTwo)
{
    Daemon first;
    const std::string address = "127.0.0.1:" + std::to_string(first.port);
    ChildProcess second = run({"--listen", address, "--state", "none"});
    EXPECT_EQ(second.exitCode(), 2);
    EXPECT_EQ(second.out(), "");
    EXPECT_EQ(second.err(), "orva-vpnd: cannot listen on " + address +
                                ": the port is taken; is another orva-vpnd running?\n");
}

TEST(DaemonTest, AWrongOptionIsOneLineThatSaysWhatIsAllowed)
{
    const std::pair<Arguments, std::string> cases[] = {
        {{"--listen", "localhost:9009"},
         "--listen: \"localhost:9009\" is not possible; right would be a numeric address with "
         "port, such as \"127.0.0.1:9009\""},
        {{"--serial", "a b"},
         "--serial: \"a b\" is not possible; right would be 1 to 64 letters, digits and -_.:/"},
        {{"--device-name", "a\xc2\x9b"},
         "--device-name: \"a\\xC2\\x9B\" is not possible; right would be 1 to 64 bytes of UTF-8 "
         "without control characters, quotes and backslashes"},
    };
    for (const auto& [arguments, says] : cases) {
        ChildProcess process = run(arguments);
        EXPECT_EQ(process.exitCode(), 2);
        EXPECT_EQ(process.out(), "");
        EXPECT_EQ(process.err(), "orva-vpnd: " + says + "; see --help\n");
    }
}

TEST(DaemonTest, APortCanBeUsedAgainRightAfterTheEnd)
{
    std::string address;
    {
        Daemon first;
        address = "127.0.0.1:" + std::to_string(first.port);
        LoopbackClient client = first.connect();
        const std::string reply = raw::reply(1, raw::string("vpn.example.com"));
        EXPECT_EQ(first.answer(client, "getServerIP", reply.size()), reply);
        first.process.signal(SIGTERM);
        EXPECT_EQ(first.process.exitCode(), 0);
    }
    ChildProcess second = run({"--listen", address, "--state", "none"});
    EXPECT_TRUE(second.waitFor([&] { return second.out().find(address) != std::string::npos; }))
        << second.err();
    second.signal(SIGTERM);
    EXPECT_EQ(second.exitCode(), 0);
}

TEST(DaemonTest, WrongOptionsAreExplainedWithCodeTwo)
{
    const Arguments wrong[] = {
        {"--listen", "localhost"},
        {"--listen", "127.0.0.1:65536"},
        {"--listen"},
        {"--device-name", "a\nb"},
        {"--device-name", ""},
        {"--serial", "a b"},
        {"--log-level", "loud"},
        {"--password", "x"},
        {"more"},
        {"--listen", "203.0.113.1:0", "--state", "none"},  // not an address of this machine
    };
    for (const Arguments& arguments : wrong) {
        ChildProcess process = run(arguments);
        EXPECT_EQ(process.exitCode(), 2) << arguments[0];
        EXPECT_NE(process.err(), "") << arguments[0];
        EXPECT_EQ(process.out(), "") << arguments[0];
    }
}

TEST(DaemonTest, HelpAndVersionGoToStandardOutput)
{
    ChildProcess help = run({"--help"});
    EXPECT_EQ(help.exitCode(), 0);
    for (const char* option :
         {"--listen", "--device-name", "--serial", "--no-connect", "--log-level"}) {
        EXPECT_NE(help.out().find(option), std::string::npos) << option;
    }
    ChildProcess version = run({"--version"});
    EXPECT_EQ(version.exitCode(), 0);
    EXPECT_EQ(version.out(), "orva-vpnd " ORVA_VERSION "\n");
}

TEST(DaemonTest, OptionsArriveInTheAnswers)
{
    Daemon daemon({"--device-name", "line 3", "--serial", "S-7", "--no-connect"});
    LoopbackClient client = daemon.connect();
    const std::string info =
        raw::reply(1, raw::text("DeviceVPNInfo") + raw::i32(1) + raw::text("vpn.example.com") +
                          raw::i32(1194) + raw::text("line 3") + raw::text("") + raw::i32(30));
    EXPECT_EQ(daemon.answer(client, "getDeviceVPNInfo", info.size()), info);
    client.forget();
    const std::string serial = raw::reply(1, raw::string("S-7"));
    EXPECT_EQ(daemon.answer(client, "getProductSn", serial.size()), serial);
}

TEST(DaemonTest, TheTunnelConnectsByItself)
{
    Daemon daemon;
    LoopbackClient client = daemon.connect();
    const std::string connected = raw::reply(1, raw::integer(5));
    EXPECT_TRUE(daemon.process.waitFor([&] {
        client.forget();
        return daemon.answer(client, "getVpnState", connected.size()) == connected;
    }));
}

TEST(DaemonTest, ListeningBeyondThisMachineIsWarnedOf)
{
    ChildProcess process = run({"--listen", "0.0.0.0:0", "--state", "none"});
    EXPECT_TRUE(process.waitFor([&] { return process.out().find('\n') != std::string::npos; }));
    process.signal(SIGTERM);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_NE(process.err().find("other machines"), std::string::npos) << process.err();
}

// A pipe that nobody writes to: whoever opens it to read stands still.
TEST(DaemonTest, TheMachinesConfigurationOfOpensslIsNotRead)
{
    const std::string pipe = testing::TempDir() + "openssl-" + std::to_string(::getpid());
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    ::setenv("OPENSSL_CONF", pipe.c_str(), 1);
    Daemon daemon;
    ::unsetenv("OPENSSL_CONF");
    LoopbackClient client = daemon.connect();
    const std::string done = raw::reply(1, raw::integer(0));
    const std::string block = raw::args(raw::string(certificates::ca()));
    EXPECT_EQ(daemon.answer(client, "setVPNCA", done.size(), block), done);
    ::unlink(pipe.c_str());
}

TEST(DaemonTest, NoLogLineHoldsASecretAtAnyLevel)
{
    Daemon daemon({"--log-level", "debug"});
    LoopbackClient client = daemon.connect();
    client.send(raw::request(1, "setVPNPassword", raw::args(raw::string("TopSecret1"))) +
                raw::request(2, "checkPassword", raw::args(raw::string("TopSecret2"))));
    const std::string replies = raw::reply(1, raw::integer(0)) + raw::reply(2, raw::boolean(false));
    EXPECT_TRUE(daemon.process.waitFor([&] { return client.received() == replies; }));
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_NE(daemon.process.err().find("password: \"set\""), std::string::npos);
    EXPECT_EQ(daemon.process.err().find("TopSecret"), std::string::npos);
}

}  // namespace
