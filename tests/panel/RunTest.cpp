#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sstream>

namespace
{

using ::testing::HasSubstr;
using ::testing::Not;

class RunTest : public ::testing::Test
{
protected:
    static std::string device(const std::string& name, const std::string& more = "")
    {
        return "[[device]]\nname = \"" + name + "\"\ndriver = \"" + plugin("scripted_driver") +
               "\"\nperiod_ms = 10\n" + more;
    }
    static std::string variable(const std::string& name, const std::string& type,
                                const std::string& value)
    {
        return "[[variable]]\nname = \"" + name + "\"\ntype = \"" + type + "\"\nvalue = " + value +
               "\n";
    }
    static std::string action(const std::string& lines) { return "[[action]]\n" + lines + "\n"; }

    void start(const std::string& project, std::vector<std::string> more = {})
    {
        more.insert(more.begin(), {"run", m_folder.write("p.toml", project)});
        m_program.start(more);
    }
    Finished stop()
    {
        m_program.signal(SIGTERM);
        return m_program.finish();
    }
    std::size_t callsOf(const std::string& line)
    {
        std::size_t count = 0;
        const std::string calls = m_program.calls();
        for (std::size_t at = calls.find(line + "\n"); at != calls.npos;
             at = calls.find(line + "\n", at + 1)) {
            ++count;
        }
        return count;
    }
    // The commands that the drivers got, each with a space behind it.
    std::string commands()
    {
        std::istringstream calls(m_program.calls());
        std::string all;
        for (std::string line; std::getline(calls, line);) {
            if (line.rfind("command ", 0) == 0) all += line.substr(8) + " ";
        }
        return all;
    }
    PanelProgram& program() { return m_program; }
    TestFolder& folder() { return m_folder; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
};

TEST_F(RunTest, PollsAndShowsOnlyWhatChanges)
{
    program().script("cycle 8 1=a 6=1\ncycle 8 1=a 6=1\ncycle 0 1=a 6=0\n");
    start(device("A"));
    ASSERT_TRUE(program().waitForOutput("VPN enabled       0"));
    const Finished result = stop();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(withoutTimes(result.out),
              "A: cycle 1: code 8 (VPN connecting), T ms\n"
              "   1  server address    a\n   6  VPN enabled       1\n"
              "A: cycle 3: code 0 (VPN connected), T ms\n   6  VPN enabled       0\n");
    EXPECT_THAT(program().calls(), ::testing::EndsWith("cleanup\ndestroy\n"));
}

TEST_F(RunTest, ActionsHappenOnceOrAsOftenAsTheyShould)
{
    program().script("command ONCE 0 r=1\ncommand THRICE 0\ncommand LAST 0\nwrite 0\n");
    start(device("A") + variable("r", "int", "0") + action("command = \"ONCE(r)\"") +
          action("every_ms = 10\ntimes = 3\ncommand = \"THRICE()\"") +
          action("at_ms = 5\nwrite = { channel = 10, type = \"string\", value = \"vpnuser\" }") +
          action("at_ms = 100\ncommand = \"LAST()\""));
    ASSERT_TRUE(program().waitForOutput("THRICE()", 3));
    ASSERT_TRUE(program().waitForOutput("LAST()"));
    const Finished result = stop();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(callsOf("command ONCE(r)"), 1U);
    EXPECT_EQ(callsOf("command THRICE()"), 3U);
    EXPECT_EQ(callsOf("write 9 3 vpnuser"), 1U);
    EXPECT_THAT(result.out, HasSubstr("A: ONCE(r): code 0 (done)"));
    EXPECT_THAT(result.out, HasSubstr("  r = 1\n"));
    EXPECT_THAT(result.out, HasSubstr("A: channel 10 (VPN user name) = vpnuser: code 0 (written)"));
}

TEST_F(RunTest, OverdueActionsHappenInTheOrderOfTheirTimes)
{
    program().script("hold A " + folder().path("go") +
                     "\ncommand EARLY 0\ncommand LATE 0\ncommand TIE 0\ncommand NOW 0\n");
    start(device("A") + device("B") + action("device = \"A\"\nat_ms = 30\ncommand = \"LATE()\"") +
          action("device = \"A\"\nat_ms = 30\ncommand = \"TIE()\"") +
          action("device = \"A\"\nat_ms = 10\ncommand = \"EARLY()\"") +
          action("device = \"B\"\nat_ms = 60\ncommand = \"NOW()\""));
    ASSERT_TRUE(program().waitForOutput("B: NOW()"));
    folder().write("go", "");
    ASSERT_TRUE(program().waitForOutput("A: TIE()"));
    EXPECT_EQ(stop().exitCode, 0);
    // Collections of B, which is not busy, may stand between them.
    EXPECT_EQ(commands(), "NOW() EARLY() LATE() TIE() ");
}

TEST_F(RunTest, AFailedOutputWhileADeviceIsBusyEndsTheRunInOrder)
{
    // The watchdog's report cannot be written while A's thread is in its driver.
    program().script("hold A " + folder().path("go") + "\n");
    program().fillStandardOutput();
    // Not sooner than even a slow machine has come into the driver.
    start("watchdog_ms = 500\n" + device("A"));
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (callsOf("collect 1111111111") == 0 && std::chrono::steady_clock::now() < deadline) {
        ::poll(nullptr, 0, 5);
    }
    ASSERT_EQ(callsOf("collect 1111111111"), 1U);
    // Nothing tells from outside that the report was due.
    ::poll(nullptr, 0, 1000);
    folder().write("go", "");
    const Finished result = program().finish();
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "orva-panel: cannot write to the standard output\n");
    EXPECT_THAT(program().calls(), ::testing::EndsWith("cleanup\ndestroy\n"));
}

TEST_F(RunTest, ASecondSignalEndsADriverThatDoesNotComeBack)
{
    program().script("hold A " + folder().path("never") + "\ncommand ALIVE 0\n");
    start("watchdog_ms = 50\n" + device("A"));
    ASSERT_TRUE(program().waitForOutput("A: watchdog: silent"));
    program().signal(SIGINT);
    program().signal(SIGTERM);
    EXPECT_EQ(program().finish().exitCode, -1);
    EXPECT_THAT(program().calls(), Not(HasSubstr("cleanup")));
}

TEST_F(RunTest, AConditionActsEachTimeItBecomesTrueOnWhicheverDevice)
{
    // A's command clears the variable that set it off; B notices and ends the chain.
    program().script("command FIRST 0 v=2\ncommand SECOND 0 v=3\n");
    start(
        device("A") + device("B") + variable("v", "int", "0") +
        action("device = \"A\"\nwhen = { variable = \"v\", equals = 1 }\ncommand = \"FIRST()\"") +
        action("device = \"B\"\nwhen = { variable = \"v\", equals = 2 }\ncommand = \"SECOND()\"") +
        action("device = \"A\"\nat_ms = 20\nset = { variable = \"v\", value = 1 }") +
        action("device = \"A\"\nwhen = { variable = \"v\", equals = 3 }\n"
               "set = { variable = \"v\", value = 4 }"));
    ASSERT_TRUE(program().waitForOutput("v set to 4"));
    const Finished result = stop();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(callsOf("command FIRST()"), 1U);
    EXPECT_EQ(callsOf("command SECOND()"), 1U);
    EXPECT_THAT(result.out, HasSubstr("A: v set to 1\n"));
    EXPECT_THAT(result.out, HasSubstr("B: SECOND(): code 0"));
}

TEST_F(RunTest, AConditionMissesNoPulseOfAnotherDevice)
{
    // Ten pulses in one call of the driver, and ten more while B is busy in its own.
    std::string pulses;
    for (int i = 0; i < 10; ++i) pulses += " v=1 v=0";
    program().script("command PULSES 0" + pulses + " end=1\ncommand COUNTED 0\ncommand LAST 0\n" +
                     "hold B " + folder().path("go") + "\n");
    start(device("A") + device("B") + variable("v", "int", "0") + variable("end", "int", "0") +
          action("device = \"B\"\nwhen = { variable = \"v\", equals = 1 }\n"
                 "command = \"COUNTED()\"") +
          action("device = \"B\"\nwhen = { variable = \"end\", equals = 2 }\n"
                 "command = \"LAST()\"") +
          action("device = \"A\"\ncommand = \"PULSES()\"") +
          action("device = \"A\"\nat_ms = 20\ncommand = \"PULSES()\"") +
          action("device = \"A\"\nat_ms = 20\nset = { variable = \"end\", value = 2 }"));
    ASSERT_TRUE(program().waitForOutput("A: PULSES()", 2));
    folder().write("go", "");
    ASSERT_TRUE(program().waitForOutput("B: LAST()"));
    EXPECT_EQ(stop().exitCode, 0);
    EXPECT_EQ(callsOf("command COUNTED()"), 20U);
}

TEST_F(RunTest, ConditionsActInTheOrderInWhichTheyBecameTrue)
{
    program().script("command SWITCH 0 v=1 v=0 v=1 v=0 v=1\ncommand ON 0\ncommand OFF 0\n");
    start(device("A") + device("B") + variable("v", "int", "5") +
          action("device = \"B\"\nwhen = { variable = \"v\", equals = 0 }\ncommand = \"OFF()\"") +
          action("device = \"B\"\nwhen = { variable = \"v\", equals = 1 }\ncommand = \"ON()\"") +
          action("device = \"A\"\ncommand = \"SWITCH()\""));
    ASSERT_TRUE(program().waitForOutput("B: ON()", 3));
    EXPECT_EQ(stop().exitCode, 0);
    EXPECT_EQ(commands(), "SWITCH() ON() OFF() ON() OFF() ON() ");
}

TEST_F(RunTest, ActionsThatSetEachOtherOffLeavePollsTheirTurn)
{
    start(device("A") + variable("v", "int", "0") +
          action("when = { variable = \"v\", equals = 0 }\nset = { variable = \"v\", value = 1 }") +
          action("when = { variable = \"v\", equals = 1 }\nset = { variable = \"v\", value = 0 }"));
    ASSERT_TRUE(program().waitForOutput("v set to 1", 100));
    EXPECT_EQ(stop().exitCode, 0);
    EXPECT_GT(callsOf("collect 1111111111"), 2U);
}

TEST_F(RunTest, WhatADriverPrintsShowsOnATerminalAlsoWhenNothingChanges)
{
    program().script("say hello\x1b[2J\ncycle 0\n");
    program().start({"run", folder().write("p.toml", device("A"))}, true);
    EXPECT_TRUE(program().waitForOutput("hello\\x1B[2J\r\n", 5));
    const Finished result = stop();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
}

TEST_F(RunTest, EndsByItselfAfterItsDuration)
{
    start("duration_ms = 30\n" + device("A"));
    EXPECT_EQ(program().finish().exitCode, 0);
    EXPECT_THAT(program().calls(), ::testing::EndsWith("cleanup\ndestroy\n"));
}

TEST_F(RunTest, AStuckDeviceIsReportedByTheWatchdogAndTheOthersGoOn)
{
    program().script("hold A " + folder().path("go") + "\ncommand ALIVE 0\n");
    start("watchdog_ms = 60\n" + device("A") + device("B") +
          action("device = \"B\"\nat_ms = 200\ncommand = \"ALIVE()\""));
    ASSERT_TRUE(program().waitForOutput("A: watchdog: silent for "));
    ASSERT_TRUE(program().waitForOutput("B: ALIVE()"));
    folder().write("go", "");
    ASSERT_TRUE(program().waitForOutput("A: watchdog: back after "));
    EXPECT_EQ(stop().exitCode, 0);
}

TEST_F(RunTest, ADriverThatFeedsTheWatchdogDuringALongCallIsNotReported)
{
    program().script("feed\nhold A " + folder().path("go") + "\ncommand LATER 0\n");
    start("watchdog_ms = 1500\n" + device("A") + device("B") +
          action("device = \"B\"\nat_ms = 3500\ncommand = \"LATER()\""));
    ASSERT_TRUE(program().waitForOutput("B: LATER()"));
    folder().write("go", "");
    const Finished result = stop();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, Not(HasSubstr("watchdog")));
}

TEST_F(RunTest, JsonHasTheDeviceInEveryLineAndNothingElseOnStandardOutput)
{
    program().script("say hello\ncycle 0 2=5\ncommand A 4 r=7\n");
    start(device("D") + variable("r", "int", "0") + action("at_ms = 20\ncommand = \"A(r)\"") +
              action("at_ms = 30\nset = { variable = \"r\", value = 3 }"),
          {"--json"});
    ASSERT_TRUE(program().waitForOutput("\"set\""));
    const Finished result = stop();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.out, ::testing::StartsWith(R"({"device":"D","cycle":1,"code":0,"ms":)"));
    EXPECT_THAT(result.out, HasSubstr(R"-({"device":"D","command":"A(r)","code":4,)-"));
    EXPECT_THAT(result.out, HasSubstr(R"("variables":{"r":7},"time":")"));
    EXPECT_THAT(result.out, HasSubstr(R"({"device":"D","set":"r","value":3,"time":")"));
    EXPECT_THAT(result.out, Not(HasSubstr("hello")));
}

TEST_F(RunTest, SecretsAreMaskedWhereverTheyAppear)
{
    program().script(
        "cycle 0 9=abc123\ncommand SetVPNPasswd 0 p=abc123\n"
        "command GetVPNPasswd 0 p=abc123\ncommand LAST 0 p=abc123 free=shown\nwrite 0\n");
    const std::string project =
        device("A") + variable("p", "string", "\"\"") + variable("free", "string", "\"\"") +
        action("command = \"SetVPNPasswd(abc123,p)\"") + action("command = \"GetVPNPasswd(p,r)\"") +
        action("write = { channel = 9, type = \"string\", value = \"abc123\" }") +
        action("set = { variable = \"p\", value = \"abc123\" }") +
        action("at_ms = 20\ncommand = \"LAST(p)\"");
    start(project);
    ASSERT_TRUE(program().waitForOutput("LAST(p)"));
    const Finished masked = stop();
    EXPECT_THAT(masked.out, Not(HasSubstr("abc123")));
    EXPECT_THAT(masked.out, HasSubstr("A: p set to ********\n"));
    EXPECT_THAT(masked.out, HasSubstr("free = shown\n"));
    start(project, {"--show-secrets"});
    ASSERT_TRUE(program().waitForOutput("LAST(p)"));
    EXPECT_THAT(stop().out, HasSubstr("A: SetVPNPasswd(abc123,p): "));
}

TEST_F(RunTest, ADriverThatDoesNotLoadStopsTheWholeProject)
{
    program().script("");
    start(device("A") + "[[device]]\nname = \"B\"\ndriver = \"missing.so\"\n");
    const Finished result = program().finish();
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "orva-panel: " + folder().path("p.toml") +
                              ":7: key 'driver' in device: cannot load driver: cannot read '" +
                              folder().path("missing.so") + "': No such file or directory\n");
    EXPECT_EQ(program().calls(), "");
}

TEST_F(RunTest, ARefusedConfigurationEndsItsDeviceWithExitCode1)
{
    program().script("init -2147483647\n");
    start(device("A"));
    const Finished result = program().finish();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("the driver refused to start the device"));
}

TEST_F(RunTest, AWrongProjectIsOneLineAndExitCode2)
{
    const Finished result =
        program().run({"run", folder().write("p.toml", "[[device]]\nname = \"A\"\nfoo = 1\n")});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.err, "orva-panel: " + folder().path("p.toml") +
                              ":3: key 'foo' is not known in device; right would be name, driver, "
                              "max_channel, blob, no_config, channels or period_ms\n");
    EXPECT_EQ(program().run({"run"}).exitCode, 2);
}

TEST_F(RunTest, TheExamplesAreProjectsThatTheDriverUnderstands)
{
    program().script(
        "cycle 0\nwrite 0\ncommand REFRESH 0\ncommand SetVPNPasswd 0\n"
        "command GetVPNPasswd 0 readback=example1\ncommand STOPVPN 0\n"
        "command SETVPNSERVER 0\ncommand STARTVPN 0\ncommand Online 0\n"
        "command Offline 0\n");
    const std::pair<const char*, const char*> examples[] = {
        {"first-contact", "REFRESH()"},
        {"credentials", "GetVPNPasswd(readback,result)"},
        {"change-of-server", "STARTVPN(address,port,result)"},
        {"on-and-off-line", "Offline(result)"},
    };
    for (const auto& [name, command] : examples) {
        program().start({"run", std::string(PANEL_EXAMPLES "/") + name + ".toml", "--driver",
                         plugin("scripted_driver")});
        EXPECT_TRUE(program().waitForOutput(std::string("VPN: ") + command + ": code 0")) << name;
        EXPECT_EQ(stop().exitCode, 0) << name;
    }
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(PANEL_EXAMPLES)) {
        const std::string name = entry.path().filename().string();
        // The others are no projects but configurations of the service.
        if (entry.path().extension() == ".toml" && name.rfind("vpnd-", 0) != 0) ++files;
    }
    EXPECT_EQ(files, std::size(examples));
}

}  // namespace
