#include "tests/service/Daemon.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>

// What the real program keeps, tells, and whom it obeys.
namespace
{

using testing::HasSubstr;
using testing::Not;

class DaemonStateTest : public testing::Test
{
protected:
    DaemonStateTest()
    {
        std::string pattern = testing::TempDir() + "vpnd-XXXXXX";
        folder = ::mkdtemp(pattern.data());
    }
    ~DaemonStateTest() override { std::filesystem::remove_all(folder); }

    Arguments inFolder(Arguments more = {})
    {
        more.insert(more.end(), {"--state", folder + "/state"});
        return more;
    }
    std::string write(const std::string& text)
    {
        const std::string file = folder + "/vpnd.toml";
        std::ofstream(file) << text;
        ::chmod(file.c_str(), 0600);
        return file;
    }
    static std::string ask(Daemon& daemon, const std::string& method,
                           const std::string& block = raw::args())
    {
        LoopbackClient client = daemon.connect();
        client.send(raw::request(1, method, block));
        std::string whole;
        daemon.process.waitFor([&] {
            whole = client.received();
            return whole.size() >= 4 && whole.size() - 4 >= static_cast<unsigned char>(whole[0]);
        });
        return whole.size() < 9 ? whole : whole.substr(9);
    }
    // From a process of another user.
    static int asUser(uid_t uid, const std::function<bool()>& isRight)
    {
        const pid_t child = ::fork();
        if (child == 0) ::_exit(::setuid(uid) == 0 && isRight() ? 0 : 1);
        int status = 0;
        ::waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string shown(const std::string& what)
    {
        ChildProcess process = run({"--show", what, "--state", folder + "/state"});
        EXPECT_EQ(process.exitCode(), 0) << process.err();
        return process.out();
    }

    std::string folder;
};

TEST_F(DaemonStateTest, SettingsOutliveStopStartAndKill)
{
    {
        Daemon daemon(inFolder());
        EXPECT_EQ(ask(daemon, "setServerIPAndPort",
                      raw::args(raw::string("10.0.0.9"), raw::integer(443))),
                  raw::integer(0));
        daemon.process.signal(SIGTERM);
        EXPECT_EQ(daemon.process.exitCode(), 0);
    }
    {
        Daemon daemon(inFolder());
        EXPECT_EQ(ask(daemon, "getServerIP"), raw::string("10.0.0.9"));
        EXPECT_EQ(ask(daemon, "setVPNPassword", raw::args(raw::string("new-pass"))),
                  raw::integer(0));
        EXPECT_EQ(ask(daemon, "setBeatInterval", raw::args(raw::integer(99))), raw::integer(0));
        daemon.process.signal(SIGKILL);
        EXPECT_EQ(daemon.process.exitCode(), -1);
    }
    Daemon daemon(inFolder());
    EXPECT_EQ(ask(daemon, "getServerIP"), raw::string("10.0.0.9"));
    EXPECT_EQ(ask(daemon, "getVPNPassword"), raw::string("new-pass"));
    EXPECT_EQ(ask(daemon, "getVPNUserName"), raw::string("exampleuser"))
        << "the first settings were stored as a whole";
}

TEST_F(DaemonStateTest, InitialSettingsCountOnceOnly)
{
    const std::string file = write("[settings]\nserver = \"10.1.1.1\"\nuser = \"first\"\n");
    {
        Daemon daemon(inFolder({"--config", file}));
        EXPECT_EQ(ask(daemon, "getServerIP"), raw::string("10.1.1.1"));
        daemon.process.signal(SIGTERM);
        EXPECT_EQ(daemon.process.exitCode(), 0);
    }
    write("[settings]\nserver = \"10.2.2.2\"\nuser = \"second\"\n");
    Daemon daemon(inFolder({"--config", file}));
    EXPECT_EQ(ask(daemon, "getServerIP"), raw::string("10.1.1.1"));
    EXPECT_EQ(ask(daemon, "getVPNUserName"), raw::string("first"));
}

TEST_F(DaemonStateTest, AFreshServiceKnowsNoLoginAndStaysIdle)
{
    Daemon daemon(inFolder({"--config", write("")}));
    EXPECT_EQ(ask(daemon, "getVPNUserName"), raw::string(""));
    EXPECT_EQ(ask(daemon, "hasPassword"), raw::boolean(false));
    EXPECT_EQ(ask(daemon, "getVpnState"), raw::integer(1));
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_THAT(shown("history"), HasSubstr("settings-missing"));
}

TEST_F(DaemonStateTest, ShowTellsSettingsAndHistoryAndNoSecret)
{
    {
        Daemon daemon(inFolder());
        ask(daemon, "setVPNPassword", raw::args(raw::string("TopSecret1")));
        ask(daemon, "changeServerIP", raw::args(raw::string("10.0.0.9")));
        // Also while the service runs.
        EXPECT_THAT(shown("settings"), HasSubstr("server         10.0.0.9\n"));
        daemon.process.signal(SIGTERM);
        EXPECT_EQ(daemon.process.exitCode(), 0);
    }
    const std::string settings = shown("settings");
    EXPECT_THAT(settings, HasSubstr("password       set\n"));
    EXPECT_THAT(settings, Not(HasSubstr("TopSecret1")));
    const std::string history = shown("history");
    EXPECT_THAT(history, HasSubstr("service start, " ORVA_VERSION));
    EXPECT_THAT(history, HasSubstr("setting password: \"set\" -> \"set\", by uid " +
                                   std::to_string(::getuid()) + " over rpc"));
    EXPECT_THAT(history, HasSubstr("setting server: \"vpn.example.com\" -> \"10.0.0.9\""));
    EXPECT_THAT(history, HasSubstr("service end"));
    EXPECT_THAT(history, Not(HasSubstr("TopSecret1")));
}

TEST_F(DaemonStateTest, ShowOfNothingSaysSo)
{
    ChildProcess none = run({"--show", "settings", "--state", "none"});
    EXPECT_EQ(none.exitCode(), 2);
    EXPECT_THAT(none.err(), HasSubstr("nothing is kept"));
    ChildProcess missing = run({"--show", "history", "--state", folder + "/missing"});
    EXPECT_EQ(missing.exitCode(), 2);
    EXPECT_THAT(missing.err(), HasSubstr(folder + "/missing"));
    EXPECT_FALSE(std::filesystem::exists(folder + "/missing"));
}

TEST_F(DaemonStateTest, ASecondServiceInTheSameFolderIsRefused)
{
    Daemon first(inFolder());
    ChildProcess second = run(inFolder({"--listen", "127.0.0.1:0"}));
    EXPECT_EQ(second.exitCode(), 2);
    EXPECT_THAT(second.err(), HasSubstr(folder + "/state"));
    EXPECT_EQ(second.out(), "");
    EXPECT_EQ(ask(first, "getServerIP"), raw::string("vpn.example.com"));
}

TEST_F(DaemonStateTest, AnotherUserReadsNoPasswordAndChangesNothing)
{
    if (::getuid() != 0) GTEST_SKIP() << "needs root, to become somebody else";
    Daemon daemon(inFolder());
    for (const uid_t uid : {uid_t{12345}, uid_t{65534}}) {
        EXPECT_EQ(asUser(uid,
                         [&] {
                             return ask(daemon, "getVPNPassword") == raw::string("********") &&
                                    ask(daemon, "changeServerIP",
                                        raw::args(raw::string("10.0.0.66"))) == raw::integer(4) &&
                                    ask(daemon, "stopVPN") == raw::integer(4) &&
                                    ask(daemon, "getServerIP") == raw::string("vpn.example.com");
                         }),
                  0);
    }
    EXPECT_EQ(ask(daemon, "getServerIP"), raw::string("vpn.example.com"));
    EXPECT_EQ(ask(daemon, "getVPNPassword"), raw::string("example123"));
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_THAT(shown("history"),
                HasSubstr("request changeServerIP, not allowed, by uid 12345 over rpc"));
}

TEST_F(DaemonStateTest, WhoSendsAChangeAndClosesAtOnceChangesNothing)
{
    if (::getuid() != 0) GTEST_SKIP() << "needs root, to become somebody else";
    Daemon daemon(inFolder());
    daemon.process.signal(SIGSTOP);
    EXPECT_EQ(asUser(12345,
                     [&] {
                         for (int i = 0; i < 50; ++i) {
                             LoopbackClient client = daemon.connect();
                             client.send(raw::request(1, "changeServerIP",
                                                      raw::args(raw::string("10.0.0.66"))));
                         }
                         return true;
                     }),
              0);
    daemon.process.signal(SIGCONT);
    EXPECT_EQ(ask(daemon, "getServerIP"), raw::string("vpn.example.com"));
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    const std::string history = shown("history");
    EXPECT_THAT(history, HasSubstr("request changeServerIP, not allowed")) << "they were looked at";
    EXPECT_THAT(history, Not(HasSubstr("10.0.0.66")));
}

// With a disk under the state folder that does what the test says.
class DaemonDiskTest : public DaemonStateTest
{
protected:
    void SetUp() override
    {
        if (std::string(ORVA_DISK_RULES_LIBRARY).empty()) {
            GTEST_SKIP() << "no library can be put under this program";
        }
        std::filesystem::create_directory(folder + "/state");
        disk("ok");
    }
    void disk(const std::string& word)
    {
        std::ofstream(folder + "/rules.new") << folder << "/state " << word << "\n";
        std::filesystem::rename(folder + "/rules.new", folder + "/rules");
    }
    Arguments onThatDisk() const
    {
        return {"env", "LD_PRELOAD=" ORVA_DISK_RULES_LIBRARY,
                "ORVA_DISK_RULES=" + folder + "/rules"};
    }
    static void startChange(LoopbackClient& client, int seconds)
    {
        client.send(raw::request(1, "setBeatInterval", raw::args(raw::integer(seconds))));
    }
    // The longest time that one of so many answers takes.
    static std::chrono::steady_clock::duration longestRead(Daemon& daemon, int reads)
    {
        LoopbackClient client = daemon.connect();
        const std::string reply = raw::reply(1, raw::string("vpn.example.com"));
        std::chrono::steady_clock::duration longest{};
        for (int i = 0; i < reads; ++i) {
            client.forget();
            const auto begun = std::chrono::steady_clock::now();
            EXPECT_EQ(daemon.answer(client, "getServerIP", reply.size()), reply);
            longest = std::max(longest, std::chrono::steady_clock::now() - begun);
        }
        return longest;
    }
};

TEST_F(DaemonDiskTest, ReadsGoOnWhileTheDiskTakesTwoSeconds)
{
    Daemon daemon(inFolder(), {}, onThatDisk());
    // Other programs may keep the processor: but not each time.
    bool isFree = false;
    for (int tries = 0; tries < 3 && !isFree; ++tries) {
        disk("ok");
        const auto reference = longestRead(daemon, 300);
        disk("slow");
        LoopbackClient changing = daemon.connect();
        startChange(changing, 100 + tries);
        isFree = longestRead(daemon, 300) < reference + std::chrono::milliseconds(20);
        EXPECT_EQ(changing.received(), "") << "the disk was not slow";
        const std::string done = raw::reply(1, raw::integer(0));
        EXPECT_TRUE(daemon.process.waitFor([&] { return changing.received() == done; }));
    }
    EXPECT_TRUE(isFree);
}

TEST_F(DaemonDiskTest, ADiskThatHangsHoldsUpNeitherReadsNorTheEnd)
{
    Daemon daemon(inFolder(), {}, onThatDisk());
    disk("hangs");
    LoopbackClient changing = daemon.connect();
    startChange(changing, 77);
    EXPECT_EQ(ask(daemon, "getServerIP"), raw::string("vpn.example.com"));
    EXPECT_EQ(changing.received(), "");
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_TRUE(changing.closed());
    EXPECT_EQ(changing.received(), "") << "nothing was acknowledged";
}

TEST_F(DaemonDiskTest, WhatCannotBeStoredIsAnsweredSoUntilTheDiskIsBack)
{
    Daemon daemon(inFolder(), {}, onThatDisk());
    const auto set = [&] { return ask(daemon, "setBeatInterval", raw::args(raw::integer(42))); };
    for (const char* trouble : {"full", "readonly", "broken"}) {
        SCOPED_TRACE(trouble);
        EXPECT_EQ(ask(daemon, "setBeatInterval", raw::args(raw::integer(30))), raw::integer(0));
        disk(trouble);
        EXPECT_EQ(set(), raw::integer(3));
        EXPECT_EQ(ask(daemon, "stopVPN"), raw::integer(3));
        EXPECT_TRUE(daemon.process.waitFor([&] {
            return ask(daemon, "getVpnState") == raw::integer(1);
        })) << "a stop counts all the same";
        disk("ok");
        EXPECT_TRUE(daemon.process.waitFor([&] { return set() == raw::integer(0); }));
        EXPECT_EQ(
            ask(daemon, "startVPN", raw::args(raw::string("vpn.example.com"), raw::integer(1194))),
            raw::integer(0));
    }
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_THAT(shown("settings"), HasSubstr("beat-interval  42\n"));
    EXPECT_THAT(shown("settings"), HasSubstr("connect        true\n"));
    EXPECT_THAT(shown("history"), HasSubstr("not stored"));
}

TEST_F(DaemonStateTest, SighupTakesOtherRightsAndAWrongFileChangesNothing)
{
    const std::string mine = std::to_string(::getuid());
    const std::string file = write("[callers]\nchange = [" + mine + "]\n");
    Daemon daemon(inFolder({"--config", file}));
    const auto set = [&] { return ask(daemon, "setBeatInterval", raw::args(raw::integer(42))); };
    EXPECT_EQ(set(), raw::integer(0));
    write("[callers]\nchange = [54321]\n");
    daemon.process.signal(SIGHUP);
    EXPECT_TRUE(daemon.process.waitFor([&] { return set() == raw::integer(4); }));
    write("[callers]\nchange = [" + mine + "]\nchanges = 1\n");
    daemon.process.signal(SIGHUP);
    EXPECT_TRUE(daemon.process.waitFor([&] {
        return daemon.process.err().find("nothing has changed") != std::string::npos;
    })) << daemon.process.err();
    EXPECT_THAT(daemon.process.err(), HasSubstr(file + ":3:"));
    EXPECT_EQ(set(), raw::integer(4));
    daemon.process.signal(SIGTERM);
    EXPECT_EQ(daemon.process.exitCode(), 0);
    EXPECT_THAT(shown("history"), HasSubstr("configuration " + file));
}

}  // namespace
