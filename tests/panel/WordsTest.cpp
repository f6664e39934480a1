#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <chrono>
#include <csignal>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>

namespace
{

using ::testing::ContainsRegex;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream pieces(text);
    for (std::string line; std::getline(pieces, line);) lines.push_back(line);
    return lines;
}

// What the program says besides codes.
class WordsTest : public ::testing::Test
{
protected:
    Finished run(const std::string& command, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {command, "--driver", plugin("scripted_driver")});
        return m_program.run(arguments);
    }
    std::string project(const std::string& text) const
    {
        return m_folder.write("p.toml", "[[device]]\nname = \"A\"\ndriver = \"" +
                                            plugin("scripted_driver") + "\"\nperiod_ms = 10\n" +
                                            text);
    }
    PanelProgram& program() { return m_program; }
    TestFolder& folder() { return m_folder; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
};

TEST_F(WordsTest, EachLineOfTextBeginsWithItsTime)
{
    program().script("cycle 1 1=a\nwrite 5\ncommand STOPVPN 5\n");
    const Finished results[] = {
        run("poll", {"--cycles", "2", "--period", "0"}),
        run("send", {"STOPVPN(x)", "STOPVPN"}),
        run("write", {"10", "string", "a)b"}),
        program().run({"run", "--duration", "100",
                       project("[[action]]\ncommand = \"STOPVPN(r)\"\n"
                               "[[variable]]\nname = \"r\"\ntype = \"int\"\nvalue = 0\n[[action]]\n"
                               "set = { variable = \"r\", value = 1 }\n")}),
        program().run({"run", "--check", project("[[action]]\ncommand = \"STOPVPN(r)\"\n")}),
        program().run({"check", plugin("scripted_driver")})};
    const std::regex stamp("[0-2][0-9]:[0-5][0-9]:[0-6][0-9]\\.[0-9]{3} .+");
    for (const Finished& result : results) {
        EXPECT_GE(linesOf(result.out).size(), 3U);
        for (const std::string& line : linesOf(result.out)) {
            EXPECT_TRUE(std::regex_match(line, stamp)) << line;
        }
    }
}

TEST_F(WordsTest, EachLineOfJsonHasItsTimeAndACallItsMeaning)
{
    program().script("cycle 1 1=a\nwrite 5\ncommand STOPVPN 4 r=3\n");
    const Finished results[] = {
        run("poll", {"--json", "--cycles", "2", "--period", "0"}),
        run("send", {"--json", "--var", "r=int:0", "STOPVPN(r)"}),
        run("write", {"--json", "10", "string", "a"}),
        program().run({"run", "--json", "--duration", "100",
                       project("[[variable]]\nname = \"r\"\ntype = \"int\"\nvalue = 0\n"
                               "[[action]]\ncommand = \"STOPVPN(r)\"\n")})};
    const std::regex time(
        "20[0-9]{2}-[01][0-9]-[0-3][0-9]T[0-2][0-9]:[0-5][0-9]:[0-6][0-9]"
        "\\.[0-9]{3}Z");
    for (const Finished& result : results) {
        EXPECT_THAT(linesOf(result.out), Not(IsEmpty()));
        for (const std::string& line : linesOf(result.out)) {
            const auto json = nlohmann::json::parse(line);
            EXPECT_TRUE(std::regex_match(json.at("time").get<std::string>(), time)) << line;
            EXPECT_NE(json.at("meaning"), "") << line;
            EXPECT_NE(json.at("cause"), "") << line;
        }
    }
    const auto keysOf = [](const std::string& line) {
        std::string keys;
        const auto object = nlohmann::ordered_json::parse(line);
        for (const auto& [key, value] : object.items()) {
            keys += (keys.empty() ? "" : " ") + key;
        }
        return keys;
    };
    EXPECT_EQ(keysOf(linesOf(results[0].out)[0]), "cycle code ms channels time meaning cause");
    EXPECT_EQ(keysOf(linesOf(results[1].out)[0]), "command code meaning ms variables time cause");
    EXPECT_EQ(keysOf(linesOf(results[2].out)[0]),
              "write code meaning ms variables time value cause");
    const auto write = nlohmann::json::parse(results[2].out);
    EXPECT_EQ(write.at("value"), "a");
    EXPECT_EQ(write.at("cause"), "the value a is not 6 to 32 letters");
    EXPECT_EQ(
        nlohmann::json::parse(run("write", {"--json", "9", "string", "abc123"}).out).at("value"),
        "********");
}

TEST_F(WordsTest, SendSaysWhyAndWhatMayNotBeMeant)
{
    program().script("command SETDEVICESN 0 r=0\n");
    const std::vector<std::string> commands = {"--var", "r=int:9", "SETDEVICESN(newpass1,r)",
                                               "SETDEVICSN(a,r)", "STOPVPN(r,r)"};
    EXPECT_EQ(withoutTimes(run("send", commands).out),
              "SETDEVICESN(newpass1,r): code 0 (done), T ms\n  r = 0\n"
              "  note: newpass1 is no variable; it was sent as the text itself\n"
              "SETDEVICSN(********,r): code 5 (bad command, bad argument or refused value), T ms\n"
              "  cause: SETDEVICSN is no command; the nearest is SETDEVICESN(number,r)\n"
              "STOPVPN(r,r): code 5 (bad command, bad argument or refused value), T ms\n"
              "  cause: 2 arguments instead of 1: STOPVPN(r)\n"
              "  note: r was not written; it still has 0\n");
    std::vector<std::string> json = commands;
    json.insert(json.begin(), "--json");
    const std::vector<std::string> lines = linesOf(run("send", json).out);
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_THAT(
        lines[0],
        EndsWith(R"("notes":["newpass1 is no variable; it was sent as the text itself"]})"));
    EXPECT_THAT(lines[0], Not(HasSubstr("cause")));
    EXPECT_THAT(lines[2],
                HasSubstr(R"-("cause":"2 arguments instead of 1: STOPVPN(r)","notes":)-"));
}

TEST_F(WordsTest, ALiteralOfASecretCommandIsNotedWithoutShowingIt)
{
    program().script("command SetVPNPasswd 0 r=0\n");
    const Finished result = run("send", {"--var", "r=int:9", "SetVPNPasswd(hunter22,r)"});
    EXPECT_THAT(result.out, HasSubstr("note: ******** is no variable; it was sent as the text"));
    EXPECT_THAT(result.out + result.err, Not(HasSubstr("hunter")));
    EXPECT_THAT(run("send", {"--show-secrets", "--var", "r=int:9", "SetVPNPasswd(hunter22,r)"}).out,
                HasSubstr("note: hunter22 is no variable; it was sent as the text itself"));
}

TEST_F(WordsTest, AVariableThatARunSetsIsReadAsItIsWhenTheCommandIsSent)
{
    program().script("command STARTVPN 5 r=1\n");
    const Finished result =
        program().run({"run", "--duration", "200",
                       project("[[variable]]\nname = \"p\"\ntype = \"int\"\nvalue = 1\n"
                               "[[variable]]\nname = \"r\"\ntype = \"int\"\nvalue = 1\n"
                               "[[action]]\nset = { variable = \"p\", value = 70000 }\n"
                               "[[action]]\nat_ms = 1\ncommand = \"STARTVPN(,p,r)\"\n")});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.out, HasSubstr("cause: p: the port 70000 is not 1 to 65535"));
}

TEST_F(WordsTest, WriteTakesTheNamesOfTheChannels)
{
    const std::pair<const char*, const char*> names[] = {
        {"VPN用户名", "write 9 3"}, {"VPN user name", "write 9 3"}, {"vpn-password", "write 8 3"},
        {"VPN密码", "write 8 3"},   {"服务器端口", "write 1 3"},    {"10", "write 9 3"}};
    for (const auto& [name, call] : names) {
        folder().write("log", "");
        EXPECT_EQ(run("write", {name, "string", "abcdef"}).exitCode, 0) << name;
        EXPECT_THAT(program().calls(), HasSubstr(call)) << name;
    }
    EXPECT_EQ(run("write", {"vpn-pasword", "string", "hunter22"}).err,
              "orva-panel: no channel has that number or name; the nearest is 'VPN password'; "
              "orva-panel channels lists them\n");
}

TEST_F(WordsTest, CommandsAndChannelsPrintWhatThereIs)
{
    const Finished all = program().run({"commands"});
    EXPECT_EQ(all.exitCode, 0);
    EXPECT_EQ(linesOf(all.out).size(), 12U);
    EXPECT_THAT(all.out, HasSubstr("\nSTARTVPN(address,port,r)      Starts the tunnel"));
    const Finished one = program().run({"commands", "setalivetime"});
    EXPECT_THAT(one.out, StartsWith("SETALIVETIME(seconds,r)\n  Sets the heartbeat period: "));
    EXPECT_THAT(one.out, HasSubstr("  seconds      numeric variable or number  1 to 3600\n"));
    EXPECT_THAT(one.out, EndsWith("  codes        1, 0, 5\n"));
    const Finished none = program().run({"commands", "STARVPN"});
    EXPECT_EQ(none.exitCode, 2);
    EXPECT_EQ(none.err, "orva-panel: 'STARVPN' is no command; the nearest is STARTVPN\n");
    const Finished channels = program().run({"channels"});
    EXPECT_EQ(channels.exitCode, 0);
    EXPECT_EQ(linesOf(channels.out).size(), 11U);
    EXPECT_THAT(channels.out, HasSubstr(" 9  VPN password      VPN密码         text    6 to 32"));
    EXPECT_THAT(channels.out, HasSubstr("10  VPN user name     VPN用户名       text    6 to 32"));
}

TEST_F(WordsTest, TheHelpOfEveryCommandTellsItsExitCodes)
{
    for (const char* command :
         {"poll", "send", "write", "run", "blob", "check", "commands", "channels"}) {
        const Finished help = program().run({command, "--help"});
        EXPECT_EQ(help.exitCode, 0) << command;
        const std::size_t begin = help.out.find("xit code");
        ASSERT_NE(begin, std::string::npos) << command;
        const std::string codes = help.out.substr(begin);
        for (const char* code : {"0", "2"}) {
            EXPECT_THAT(codes, ContainsRegex(std::string("[^0-9]") + code + "[^0-9]")) << command;
        }
        EXPECT_THAT(codes, HasSubstr("wrong")) << command;
    }
}

TEST_F(WordsTest, TheStatesThatCanBeWaitedForAreThoseOfThePage)
{
    const std::string says = run("poll", {"--until", "up"}).err;
    const std::size_t begin = says.find("must be one of ") + 15;
    std::set<std::string> states;
    std::istringstream names(says.substr(begin, says.find(';') - begin));
    for (std::string name; std::getline(names >> std::ws, name, ',');) states.insert(name);
    EXPECT_EQ(states.size(), 6U);

    std::ifstream file(PANEL_DOCS "/channels.md");
    const std::string page((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    const std::size_t start = page.find("take `--until`: ") + 16;
    const std::string list = page.substr(start, page.find('.', start) - start);
    const std::regex word("`([a-z-]+)`(?: \\(([0-9]+)\\))?");
    std::set<std::string> said;
    for (std::sregex_iterator at(list.begin(), list.end(), word), end; at != end; ++at) {
        said.insert((*at)[1]);
        if (!(*at)[2].matched) continue;
        program().script("cycle " + (*at)[2].str() + "\n");
        EXPECT_EQ(run("poll", {"--until", (*at)[1], "--cycles", "1"}).exitCode, 0) << at->str();
    }
    EXPECT_EQ(said, states);
}

TEST_F(WordsTest, CheckAsJsonIsOneObjectForEachFinding)
{
    const Finished result =
        program().run({"check", "--json", "--no-dry-cycle", plugin("no_destroy")});
    EXPECT_EQ(result.exitCode, 2);
    std::vector<std::string> grades;
    for (const std::string& line : linesOf(result.out)) {
        const auto finding = nlohmann::json::parse(line);
        EXPECT_EQ(finding.at("library"), plugin("no_destroy"));
        EXPECT_EQ(finding.count("time"), 1U);
        if (finding.at("subject") == "exports") grades.push_back(finding.at("grade"));
        if (finding.at("grade") == "WRONG") {
            EXPECT_EQ(finding.at("text"), "does not export DestroyDeviceCtrl");
        }
    }
    EXPECT_EQ(grades, (std::vector<std::string>{"WRONG", "warning"}));
}

TEST_F(WordsTest, RunCheckSaysEverythingAndRunsNothing)
{
    const std::string file = project(
        "[[variable]]\nname = \"r\"\ntype = \"int\"\nvalue = 0\n"
        "[[variable]]\nname = \"port\"\ntype = \"int\"\nvalue = 0\n"
        "[[action]]\ncommand = \"SETDEVICESN(newpass1,r)\"\n"
        "[[action]]\ncommand = \"STARVPN(,port,r)\"\n"
        "[[action]]\ncommand = \"STARTVPN(,port,r)\"\n"
        "[[action]]\nset = { variable = \"port\", value = 70000 }\n"
        "[[action]]\nwrite = { channel = \"server-port\", type = \"int\", value = 5 }\n"
        "[[action]]\ncommand = \"STOPVPN(r)\"\n");
    const Finished result = program().run({"run", "--check", file});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(withoutTimes(result.out),
              file +
                  ":14: key 'command' in action: SETDEVICESN(newpass1,r)\n"
                  "  note: newpass1 is no variable; it is sent as the text itself\n" +
                  file +
                  ":16: key 'command' in action: STARVPN(,port,r)\n"
                  "  cause: STARVPN is no command; the nearest is STARTVPN(address,port,r)\n" +
                  file +
                  ":22: key 'write' in action: channel 2 (server port) = 5\n"
                  "  cause: it can only be read; written can be 9 (VPN password), 10 (VPN "
                  "user name)\n"
                  "2 would be refused\n");
    EXPECT_EQ(program().calls(), "");
    const std::vector<std::string> json =
        linesOf(program().run({"run", "--check", "--json", file}).out);
    ASSERT_EQ(json.size(), 3U);
    EXPECT_EQ(nlohmann::json::parse(json[0]).at("refused"), false);
    EXPECT_EQ(nlohmann::json::parse(json[1]).at("refused"), true);
    EXPECT_EQ(nlohmann::json::parse(json[1]).at("what"), "STARVPN(,port,r)");
    const Finished fine = program().run({"run", "--check", project("")});
    EXPECT_EQ(fine.exitCode, 0);
    EXPECT_EQ(withoutTimes(fine.out), "nothing would be refused\n");
}

TEST_F(WordsTest, RunCheckLooksAtTheLibrariesAndHidesSecrets)
{
    const std::string file =
        folder().write("p.toml",
                       "[[device]]\nname = \"A\"\ndriver = \"missing.so\"\n[[action]]\n"
                       "command = \"SetVPNPasswd(hunter22,hunter23)\"\n[[action]]\n"
                       "write = { channel = 9, type = \"string\", value = \"hunter-2\" }\n");
    const Finished result = program().run({"run", "--check", file});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.out, HasSubstr(":3: key 'driver' in device: "));
    EXPECT_THAT(result.out, HasSubstr("missing.so': No such file or directory\n"));
    EXPECT_THAT(result.out, EndsWith("3 would be refused\n"));
    EXPECT_THAT(result.out + result.err, Not(HasSubstr("hunter")));
    EXPECT_THAT(program().run({"run", "--check", "--driver", plugin("no_exports"), file}).out,
                HasSubstr("  cause: exports: exports nothing"));
}

TEST_F(WordsTest, PollUntilEndsWithTheStateAndItsOwnExitCodes)
{
    program().script("cycle 1\ncycle 8\ncycle 0\n");
    const Finished reached = run("poll", {"--until", "connected", "--period", "0"});
    EXPECT_EQ(reached.exitCode, 0);
    EXPECT_THAT(reached.out, HasSubstr("cycle 3: code 0"));
    EXPECT_THAT(reached.out, Not(HasSubstr("cycle 4")));
    EXPECT_EQ(run("poll", {"--until", "connecting", "--period", "0"}).exitCode, 0);
    EXPECT_EQ(run("poll", {"--until", "no-service", "--period", "0"}).exitCode, 0);
    program().script("cycle 10\n");
    EXPECT_EQ(run("poll", {"--until", "connected", "--timeout", "1"}).exitCode, 3);
    EXPECT_EQ(run("poll", {"--until", "connected", "--cycles", "2", "--period", "0"}).exitCode, 3);
    EXPECT_EQ(run("poll", {"--until", "disabled", "--timeout", "1"}).exitCode, 0);
    program().start({"poll", "--driver", plugin("scripted_driver"), "--until", "connected"});
    ASSERT_TRUE(program().waitForOutput("cycle 1"));
    program().signal(SIGINT);
    EXPECT_EQ(program().finish().exitCode, 4);
}

TEST_F(WordsTest, WrongUseOfUntilIsToldWithWhatIsRight)
{
    EXPECT_EQ(run("poll", {"--until", "up"}).err,
              "orva-panel: --until: must be one of connected, connecting, disabled, fault, idle, "
              "no-service; see --help\n");
    EXPECT_EQ(run("poll", {"--timeout", "5"}).exitCode, 2);
    EXPECT_EQ(run("poll", {"--until", "idle", "--timeout", "0"}).exitCode, 2);
    EXPECT_EQ(program().calls(), "");
}

TEST_F(WordsTest, ACallThatTakesLongIsToldWhileItRuns)
{
    program().script("hold VPN " + folder().path("go") + "\ncycle 0\n");
    program().start({"poll", "--driver", plugin("scripted_driver"), "--cycles", "1"});
    // The call itself comes back only after this file is there.
    EXPECT_TRUE(program().waitForOutput("cycle 1: the driver is still waiting; "));
    folder().write("go", "");
    const Finished result = program().finish();
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_THAT(result.err, ContainsRegex("127\\.0\\.0\\.1:9009"));
    EXPECT_EQ(linesOf(result.err).size(), 1U);
}

TEST_F(WordsTest, SendAndWriteTellOfASlowCallToo)
{
    const std::vector<std::vector<std::string>> commands = {{"send", "REFRESH()"},
                                                            {"write", "10", "string", "abcdef"}};
    for (std::vector<std::string> arguments : commands) {
        const std::string go = folder().path(arguments[0]);
        program().script("slow " + go + "\ncommand REFRESH 0\n");
        arguments.insert(arguments.begin() + 1, {"--driver", plugin("scripted_driver")});
        program().start(arguments);
        EXPECT_TRUE(program().waitForOutput("orva-panel: the driver is still waiting; "));
        folder().write(arguments[0], "");
        const Finished result = program().finish();
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(linesOf(result.err).size(), 1U);
    }
}

TEST_F(WordsTest, TheDriverMayComeFromTheEnvironment)
{
    program().script("cycle 0\n");
    program().setDriver(plugin("scripted_driver"));
    EXPECT_EQ(program().run({"poll", "--cycles", "1"}).exitCode, 0);
    EXPECT_EQ(program().run({"write", "10", "string", "abcdef"}).exitCode, 0);
    EXPECT_EQ(program().run({"send", "REFRESH()"}).exitCode, 1);
    const std::string without =
        folder().write("w.toml", "[[device]]\nname = \"A\"\nperiod_ms = 10\n");
    EXPECT_EQ(program().run({"run", "--duration", "100", without}).exitCode, 0);
    EXPECT_EQ(program().run({"run", "--check", without}).exitCode, 0);
    program().setDriver("/does/not/exist.so");
    EXPECT_EQ(program().run({"run", "--duration", "100", project("")}).exitCode, 0);
    EXPECT_EQ(program()
                  .run({"run", "--duration", "100", "--driver", plugin("scripted_driver"), without})
                  .exitCode,
              0);
    const Finished wrong = program().run({"run", "--duration", "100", without});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_THAT(wrong.err, HasSubstr("'/does/not/exist.so'"));
    EXPECT_THAT(withoutTimes(program().run({"run", "--check", without}).out),
                StartsWith("device 'A': /does/not/exist.so\n  cause: "));
    EXPECT_THAT(program().run({"poll", "--cycles", "1"}).err, HasSubstr("'/does/not/exist.so'"));
    EXPECT_EQ(run("poll", {"--cycles", "1"}).exitCode, 0);
}

}  // namespace
