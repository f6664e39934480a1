#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <chrono>
#include <csignal>
#include <regex>

namespace
{

using ::testing::HasSubstr;
using ::testing::Not;

constexpr const char* kAllChannels =
    "cycle 0 1=vpn.example.com 2=1194 3=10.8.0.2 4=30 5=press 6=1 7=5 8=SN1 9=abc123 10=user\n";

class PollTest : public ::testing::Test
{
protected:
    Finished poll(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"poll", "--driver", plugin("scripted_driver")});
        return m_program.run(arguments);
    }
    PanelProgram& program() { return m_program; }
    TestFolder& folder() { return m_folder; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
};

TEST_F(PollTest, DrivesTheLifeCycleInItsOrder)
{
    program().script(kAllChannels);
    EXPECT_EQ(poll({"--cycles", "2", "--period", "0", "--device", "Line 1"}).exitCode, 0);
    EXPECT_EQ(program().calls(),
              "create Line 1 with tools\ncommunication\ninit 23 4E 00 00 00 00 0A 00 00 00\n"
              "collect 1111111111\ncollect 1111111111\ncleanup\ndestroy\n");
}

TEST_F(PollTest, ShowsTheChannelsOfACycleAsPlainLinesInAPipe)
{
    program().script(kAllChannels);
    const Finished result = poll({"--cycles", "1"});
    EXPECT_EQ(withoutTimes(result.out),
              "cycle 1: code 0 (VPN connected), T ms\n"
              "   1  server address    vpn.example.com\n"
              "   2  server port       1194\n"
              "   3  VPN address       10.8.0.2\n"
              "   4  heartbeat period  30\n"
              "   5  device name       press\n"
              "   6  VPN enabled       1\n"
              "   7  connection state  5\n"
              "   8  device number     SN1\n"
              "   9  VPN password      ********\n"
              "  10  VPN user name     user\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(PollTest, JsonIsOneObjectALineWithTheChannelsInNumericOrder)
{
    program().script("cycle 0 10=user 2=1194 9=abc123 1=vpn.example.com\ncycle 7\n");
    const Finished result = poll({"--cycles", "2", "--period", "0", "--json"});
    const std::regex line(
        R"(\{"cycle":1,"code":0,"ms":T,"channels":\{"1":"vpn.example.com","2":1194,)"
        R"("9":"\*{8}","10":"user"\},"time":T,"meaning":"VPN connected"\})"
        "\n"
        R"(\{"cycle":2,"code":7,"ms":T,"channels":\{\},"time":T,)"
        R"("meaning":"VPN enabled, not connected"\})"
        "\n");
    EXPECT_TRUE(std::regex_match(withoutTimes(result.out), line)) << result.out;
}

TEST_F(PollTest, ThePasswordShowsOnlyWhenAskedFor)
{
    program().script(kAllChannels);
    EXPECT_THAT(poll({"--cycles", "1"}).out, Not(HasSubstr("abc123")));
    EXPECT_THAT(poll({"--cycles", "1", "--json"}).out, Not(HasSubstr("abc123")));
    EXPECT_THAT(poll({"--cycles", "1", "--show-secrets"}).out, HasSubstr("abc123"));
    EXPECT_THAT(poll({"--cycles", "1", "--json", "--show-secrets"}).out,
                HasSubstr("\"9\":\"abc123\""));
}

TEST_F(PollTest, OnlyChannelsOfTheCycleAreShown)
{
    program().script("cycle 0 1=a 6=1\ncycle 10 6=0\n");
    const Finished result = poll({"--cycles", "2", "--period", "0"});
    EXPECT_THAT(withoutTimes(result.out),
                HasSubstr("cycle 2: code 10 (VPN disabled), T ms\n   6  VPN enabled       0\n"));
    EXPECT_EQ(result.out.find("server address"), result.out.rfind("server address"));
}

TEST_F(PollTest, AskedForChannelsArriveAsFlags)
{
    program().script(kAllChannels);
    const Finished result = poll({"--cycles", "1", "--channels", "1,7-9", "--json"});
    EXPECT_THAT(program().calls(), HasSubstr("collect 1000001110\n"));
    EXPECT_THAT(result.out,
                HasSubstr(R"({"1":"vpn.example.com","7":5,"8":"SN1","9":"********"},"time")"));
}

TEST_F(PollTest, TheConfigurationComesFromTheNumberTheFileOrNothing)
{
    EXPECT_EQ(poll({"--cycles", "1", "--max-channel", "258"}).exitCode, 0);
    EXPECT_THAT(program().calls(), HasSubstr("init 23 4E 00 00 00 00 02 01 00 00\n"));
    const std::string file = folder().write("blob", "\x23\x4E\x01");
    EXPECT_EQ(poll({"--cycles", "1", "--blob", file}).exitCode, 0);
    EXPECT_THAT(program().calls(), HasSubstr("init 23 4E 01\n"));
    EXPECT_EQ(poll({"--cycles", "1", "--no-config"}).exitCode, 0);
    EXPECT_THAT(program().calls(), HasSubstr("init\n"));
}

TEST_F(PollTest, AFailedCycleDoesNotEndThePollingNorChangeTheExitCode)
{
    program().script("cycle 1\ncycle 20\ncycle 0\n");
    const Finished result = poll({"--cycles", "3", "--period", "0"});
    EXPECT_EQ(result.exitCode, 0);
    // Who listens at the service's port of this machine is no matter here.
    const std::regex why("cause: [^\n]*127\\.0\\.0\\.1:9009[^\n]*");
    EXPECT_EQ(std::regex_replace(withoutTimes(result.out), why, "cause: WHY"),
              "cycle 1: code 1 (no VPN service, or a call to it failed), T ms\n"
              "  cause: WHY\n  no channel published\n"
              "cycle 2: code 20 (VPN fault or unknown status), T ms\n"
              "  cause: channel 7 tells which, when it is asked for\n  no channel published\n"
              "cycle 3: code 0 (VPN connected), T ms\n  no channel published\n");
}

TEST_F(PollTest, ARefusedConfigurationIsOneLineAndExitCode1AndTheDeviceIsStillCleanedUp)
{
    program().script("init -2147483647\n");
    const Finished result = poll({"--cycles", "1"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err,
              "orva-panel: the driver refused to start the device: "
              "code 0x80000001 (configuration refused)\n");
    EXPECT_THAT(program().calls(), HasSubstr("cleanup\ndestroy\n"));
    EXPECT_THAT(program().calls(), Not(HasSubstr("collect")));
}

class PollSignalTest : public PollTest, public ::testing::WithParamInterface<int>
{
};

TEST_P(PollSignalTest, EndsCleanlyOnASignalDuringTheWait)
{
    program().start({"poll", "--driver", plugin("scripted_driver"), "--period", "86400000"});
    ASSERT_TRUE(program().waitForOutput("cycle 1"));
    program().signal(GetParam());
    EXPECT_EQ(program().finish().exitCode, 0);
    EXPECT_THAT(program().calls(), ::testing::EndsWith("collect 1111111111\ncleanup\ndestroy\n"));
}

INSTANTIATE_TEST_SUITE_P(Signals, PollSignalTest, ::testing::Values(SIGINT, SIGTERM));

TEST_F(PollTest, OnATerminalTheTableIsRedrawnInPlace)
{
    program().script("say hello\ncycle 0 1=a 9=abc123\n");
    const Finished result = program().runOnTerminal(
        {"poll", "--driver", plugin("scripted_driver"), "--cycles", "2", "--period", "0"});
    EXPECT_EQ(result.exitCode, 0);
    // Cycle line, two channels and what the driver said: four lines up.
    EXPECT_THAT(result.out, HasSubstr("********\r\n  driver: hello\r\n\x1b[?7h"));
    EXPECT_THAT(result.out, ::testing::ContainsRegex("\x1b\\[4A\x1b\\[J[0-9:.]+ cycle 2"));
}

TEST_F(PollTest, ATerminalThatKnowsNoEscapeSequencesGetsPlainLines)
{
    program().script("cycle 0 1=a\n");
    for (const char* kind : {"dumb", ""}) {
        program().setTerm(kind);
        const Finished result = program().runOnTerminal(
            {"poll", "--driver", plugin("scripted_driver"), "--cycles", "2", "--period", "0"});
        EXPECT_THAT(result.out, Not(HasSubstr("\x1b")));
        EXPECT_THAT(result.out,
                    ::testing::ContainsRegex("   1  server address    a\r\n[0-9:.]+ cycle 2: "));
    }
}

TEST_F(PollTest, AWideNameIsCutByItsColumnsAndCarriesAMark)
{
    program().script("cycle 0 1=服务器地址服务器 5=服务器地址\n");
    program().resizeTerminal(9, 33);
    const Finished result =
        program().runOnTerminal({"poll", "--driver", plugin("scripted_driver"), "--cycles", "1"});
    // 24 columns of a line are the channel's, so that nine are left for the value.
    EXPECT_THAT(result.out, HasSubstr("   1  server address    服务器...\r\n"));
    EXPECT_THAT(result.out, HasSubstr("   5  device name       服务器...\r\n"));
    program().resizeTerminal(9, 34);
    EXPECT_THAT(program()
                    .runOnTerminal({"poll", "--driver", plugin("scripted_driver"), "--cycles", "1"})
                    .out,
                HasSubstr("   5  device name       服务器地址\r\n"));
}

TEST_F(PollTest, NothingThatComesFromAServiceReachesATerminalAsItIs)
{
    const std::string nasty =
        "\x1b[2J\xC2\x9B"
        "2J\xE2\x80\xAE\x07";
    program().script("say " + nasty + "said\ncycle 0 5=" + nasty + "name\ncommand A 0 s=" + nasty +
                     "text\n");
    program().setErrorTerminal();
    const std::string driver = plugin("scripted_driver");
    const std::string clean =
        "\\x1B[2J\\xC2\\x9B"
        "2J\\xE2\\x80\\xAE\\x07";
    program().setTerm("dumb");
    const Finished lines = program().runOnTerminal({"poll", "--driver", driver, "--cycles", "1"});
    EXPECT_THAT(lines.out, ::testing::StartsWith(clean + "said\r\n"));
    EXPECT_THAT(lines.out, HasSubstr("device name       " + clean + "name\r\n"));
    const Finished json =
        program().runOnTerminal({"poll", "--driver", driver, "--cycles", "1", "--json"});
    EXPECT_THAT(json.out, HasSubstr(R"("5":"\u001b[2J\u009b2J\u202e\u0007name")"));
    EXPECT_EQ(json.err, clean + "said\r\n");
    const Finished send =
        program().runOnTerminal({"send", "--driver", driver, "--var", "s=string:", "A()"});
    EXPECT_THAT(send.out, HasSubstr("  s = " + clean + "text\r\n"));
    const Finished missing = program().run({"check", "/does/not/exist" + nasty});
    EXPECT_THAT(missing.err, HasSubstr("/does/not/exist" + clean));
    for (const Finished& one : {lines, json, send, missing}) {
        EXPECT_THAT(one.out + one.err,
                    Not(::testing::ContainsRegex("[\x07\x1b]|\xC2\x9B|\xE2\x80\xAE")));
    }
}

TEST_F(PollTest, ATableWiderThanTheWindowIsCutAndATallerOneIsNotDrawnOver)
{
    program().script("cycle 0 1=Gerät-with-a-long-name 2=5\n");
    const std::vector<std::string> arguments = {
        "poll", "--driver", plugin("scripted_driver"), "--cycles", "2", "--period", "0"};
    program().resizeTerminal(4, 30);
    const std::string cut = program().runOnTerminal(arguments).out;
    EXPECT_THAT(cut, HasSubstr("   1  server address    Ger...\r\n"));
    EXPECT_THAT(cut,
                ::testing::ContainsRegex("\x1b\\[3A\x1b\\[J[0-9:.]+ cycle 2: code \\.\\.\\.\r\n"));
    program().resizeTerminal(3, 200);
    const std::string lines = program().runOnTerminal(arguments).out;
    EXPECT_THAT(lines, Not(HasSubstr("\x1b")));
    EXPECT_THAT(lines,
                ::testing::ContainsRegex(
                    "Gerät-with-a-long-name\r\n   2  server port       5\r\n[0-9:.]+ cycle 2"));
}

TEST_F(PollTest, ACauseThatIsWiderThanTheWindowGoesOnInTheNextLine)
{
    program().script("cycle 20 1=a\n");
    program().resizeTerminal(20, 40);
    const std::vector<std::string> arguments = {
        "poll", "--driver", plugin("scripted_driver"), "--cycles", "2", "--period", "0"};
    const std::string table = program().runOnTerminal(arguments).out;
    EXPECT_THAT(table,
                HasSubstr("\r\n  cause: channel 7 tells which, when it\r\n    is asked for\r\n"
                          "   1  server address    a\r\n\x1b[?7h"));
    // The line that came into being is drawn over as well.
    EXPECT_THAT(table, ::testing::ContainsRegex("\x1b\\[4A\x1b\\[J[0-9:.]+ cycle 2"));
    EXPECT_THAT(poll({"--cycles", "1"}).out,
                HasSubstr("  cause: channel 7 tells which, when it is asked for\n"));
}

TEST_F(PollTest, JsonKeepsTheDriversOwnTextOffStandardOutput)
{
    program().script("say loadData[159] failed\ncycle 1\n");
    const Finished json = poll({"--cycles", "1", "--json"});
    EXPECT_THAT(json.out, Not(HasSubstr("loadData")));
    EXPECT_EQ(json.err, "loadData[159] failed\n");
    EXPECT_THAT(withoutTimes(poll({"--cycles", "1"}).out),
                HasSubstr("loadData[159] failed\ncycle 1"));
}

TEST_F(PollTest, AReaderThatIsSlowLosesNothingOnADescriptorThatDoesNotBlock)
{
    program().script("cycle 0 1=vpn.example.com 5=a-name-that-fills-the-pipe-sooner\n");
    program().setSmallPipe();
    program().start({"poll", "--driver", plugin("scripted_driver"), "--cycles", "60", "--period",
                     "0", "--json"});
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (program().waitingOutput() < 3900 && std::chrono::steady_clock::now() < deadline) {
        ::poll(nullptr, 0, 5);
    }
    // Time for the write that finds the pipe full; nothing tells of it from outside.
    ::poll(nullptr, 0, 100);
    const Finished result = program().finish();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 60);
    EXPECT_THAT(result.out, HasSubstr("{\"cycle\":60,"));
}

TEST_F(PollTest, HelpVersionAndComplaintsWaitForRoomInAFullPipe)
{
    const std::vector<std::vector<std::string>> commands = {
        {"--help"},   {"--version"}, {"poll", "--help"},          {"commands"},
        {"channels"}, {"pol"},       {"check", "/does/not/exist"}};
    for (const auto& arguments : commands) {
        PanelProgram usual(folder());
        const Finished expected = usual.run(arguments);
        PanelProgram full(folder());
        full.setFullPipes();
        full.start(arguments);
        // Time for the write that finds the pipe full; nothing tells of it from outside.
        ::poll(nullptr, 0, 300);
        const Finished result = full.finish();
        const std::string before(4096, 'x');
        EXPECT_EQ(result.out, before + expected.out) << arguments[0];
        EXPECT_EQ(result.err, before + expected.err) << arguments[0];
        EXPECT_EQ(result.exitCode, expected.exitCode) << arguments[0];
    }
}

TEST_F(PollTest, APeriodOf0DoesNotSpin)
{
    program().script("cycle 0\n");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(poll({"--cycles", "21", "--period", "0"}).exitCode, 0);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(200));
    EXPECT_THAT(poll({"--help"}).out, HasSubstr("below 10 counts as 10"));
}

TEST_F(PollTest, WrongUseIsOneLineAndExitCode2)
{
    const std::vector<std::vector<std::string>> wrong = {
        {"--cycles", "0"},
        {"--cycles", "x"},
        {"--period", "-1"},
        {"--channels", "0"},
        {"--channels", "1,11"},
        {"--channels", "3-1"},
        {"--channels", "1-"},
        {"--channels", ","},
        {"--max-channel", "3", "--no-config"},
        {"--max-channel", "2147483648"},
        {"--blob", "/does/not/exist"},
        {"--what"},
    };
    for (auto arguments : wrong) {
        // So that it ends should it run after all.
        if (arguments[0] != "--cycles") arguments.insert(arguments.end(), {"--cycles", "1"});
        const Finished result = poll(arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments[0] << ' ' << result.err;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(result.out, "");
    }
    EXPECT_EQ(program().calls(), "");
}

TEST_F(PollTest, ANumberOutOfRangeIsAnsweredWithTheRange)
{
    EXPECT_EQ(poll({"--cycles", "0"}).err,
              "orva-panel: --cycles: must be a whole number from 1 to 1000000000; see --help\n");
    EXPECT_EQ(poll({"--period", "1.5", "--cycles", "1"}).err,
              "orva-panel: --period: must be a whole number from 0 to 86400000; see --help\n");
    EXPECT_EQ(poll({"--blob", "", "--cycles", "1"}).exitCode, 2);
    EXPECT_EQ(poll({"--channels", "", "--cycles", "1"}).exitCode, 2);
}

TEST_F(PollTest, AnUnknownCommandIsNamed)
{
    EXPECT_EQ(program().run({"pol"}).err,
              "orva-panel: unknown command 'pol'; the nearest is 'poll'; see --help\n");
    EXPECT_EQ(program().run({"pol"}).exitCode, 2);
    EXPECT_EQ(program().run({"serve"}).err, "orva-panel: unknown command 'serve'; see --help\n");
    const Finished version = program().run({"--version"});
    EXPECT_EQ(version.exitCode, 0);
    EXPECT_THAT(version.out, ::testing::StartsWith("orva-panel "));
}

TEST_F(PollTest, AnUnknownOptionIsNamedWithTheNearestOne)
{
    const std::pair<std::vector<std::string>, const char*> cases[] = {
        {{"poll", "--drivr", "x"}, "unknown option '--drivr'; the nearest is '--driver'"},
        {{"poll", "--cycels=5"}, "unknown option '--cycels=5'; the nearest is '--cycles'"},
        {{"poll", "-x"}, "unknown option '-x'"},
        {{"--vers"}, "unknown option '--vers'; the nearest is '--version'"},
        {{"--json", "poll"}, "unknown option '--json' in front of the command"},
        {{"channels", "9"}, "'9' was not expected"},
        {{"channels", "a", "b"}, "'a' was not expected"},
        {{}, "A subcommand is required"},
    };
    for (const auto& [arguments, says] : cases) {
        const Finished result = program().run(arguments);
        EXPECT_EQ(result.err, "orva-panel: " + std::string(says) + "; see --help\n");
        EXPECT_EQ(result.exitCode, 2);
    }
    EXPECT_EQ(program().run({"send", "A()", "--drivr", "hunter22"}).err,
              "orva-panel: send: an unknown option; the nearest is '--driver'; see --help\n");
    EXPECT_EQ(program().run({"write", "--drivr", "hunter22", "9", "string", "hunter22"}).err,
              "orva-panel: an unknown option, or more arguments than expected; the nearest is "
              "'--driver'; see --help\n");
}

TEST_F(PollTest, HelpTellsTheExitCodes)
{
    const Finished result = poll({"--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.out, HasSubstr("exit code is 0 when all cycles ran"));
    EXPECT_THAT(program().run({"--help"}).out, HasSubstr("or a driver that throws\n"));
}

}  // namespace
