#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>

namespace
{

using ::testing::HasSubstr;
using ::testing::Not;

class SendTest : public ::testing::Test
{
protected:
    Finished send(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"send", "--driver", plugin("scripted_driver")});
        return m_program.run(arguments);
    }
    Finished write(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {"write", "--driver", plugin("scripted_driver")});
        return m_program.run(arguments);
    }
    PanelProgram& program() { return m_program; }
    TestFolder& folder() { return m_folder; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
};

TEST_F(SendTest, PrintsTheCodeWithItsMeaningAndEveryVariableWrittenEvenWithItsOldValue)
{
    program().script("command STARTVPN 0 r=0\n");
    const Finished result = send({"--var", "r=int:0", "--var", "a=string:10.0.0.1", "--var",
                                  "p=int:1194", "STARTVPN(a,p,r)"});
    EXPECT_EQ(withoutTimes(result.out), "STARTVPN(a,p,r): code 0 (done), T ms\n  r = 0\n");
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(program().calls(),
              "create VPN with tools\ncommunication\ninit 23 4E 00 00 00 00 0A 00 00 00\n"
              "command STARTVPN(a,p,r)\ncleanup\ndestroy\n");
}

TEST_F(SendTest, SendsEveryCommandAndRemembersAFailedOneInTheExitCode)
{
    program().script("command STOPVPN 4 r=3\ncommand REFRESH 0\n");
    const Finished result = send({"--var", "r=double:0", "STOPVPN(r)", "REFRESH()", "NONSENSE"});
    EXPECT_EQ(withoutTimes(result.out),
              "STOPVPN(r): code 4 (refused), T ms\n  r = 3\n"
              "  cause: the service answered 3: could not be stored\n"
              "REFRESH(): code 0 (done), T ms\n"
              "********: code 5 (bad command, bad argument or refused value), T ms\n"
              "  cause: no parentheses; a command has the form NAME(arguments)\n");
    EXPECT_EQ(result.exitCode, 1);
}

TEST_F(SendTest, JsonIsOneObjectACommand)
{
    program().script("command A 9 i=-5 d=2.5 s=text\n");
    const Finished result =
        send({"--json", "--var", "i=int:0", "--var", "d=double:0", "--var", "s=string:", "A(i)"});
    const std::string expected =
        R"-({"command":"A(i)","code":9,"meaning":"valid, but not possible now","ms":T,)-"
        R"("variables":{"i":-5,"d":2.5,"s":"text"},"time":T})";
    EXPECT_EQ(withoutTimes(result.out), expected + "\n");
    EXPECT_EQ(result.exitCode, 1);
}

TEST_F(SendTest, ACommandInBracketsIsOneCommand)
{
    EXPECT_EQ(send({"REFRESH()", "[REFRESH(),REFRESH()]"}).exitCode, 1);
    EXPECT_THAT(program().calls(),
                HasSubstr("command REFRESH()\ncommand [REFRESH(),REFRESH()]\ncleanup\n"));
    EXPECT_EQ(send({"REFRESH()", "--what"}).exitCode, 2);
}

TEST_F(SendTest, WrongUseNeverShowsAPassword)
{
    const std::vector<std::vector<std::string>> wrong = {
        {"9", "int", "hunter22"},
        {"9", "double", "hunter22"},
        {"9", "hunter22", "string"},
        {"hunter22", "string", "9"},
        {"9", "string", "abcdef", "hunter22"},
        {"9", "string", "-hunter22"},
        {"9", "string", "--hunter22"},
    };
    for (const auto& arguments : wrong) {
        const Finished result = write(arguments);
        EXPECT_EQ(result.exitCode, 2) << result.err;
        EXPECT_THAT(result.err, Not(HasSubstr("hunter22")));
        EXPECT_THAT(result.err, Not(HasSubstr("unter22")));
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_EQ(result.out, "");
    }
    for (const char* variable : {"p=int:hunter22", "p=hunter22:string", "hunter22", "a b=int:1"}) {
        const Finished result = send({"--var", variable, "REFRESH()"});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.err, Not(HasSubstr("hunter22")));
    }
    EXPECT_THAT(send({"REFRESH()", "-hunter22"}).err, Not(HasSubstr("unter22")));
    EXPECT_EQ(program().calls(), "");
}

TEST_F(SendTest, CommandsWithEmptyFieldsAndBracketsReachTheDriverAsTheyAre)
{
    EXPECT_EQ(send({"SETVPNSERVER(,,r)", " x (a,[b],) "}).exitCode, 1);
    EXPECT_THAT(program().calls(), HasSubstr("command SETVPNSERVER(,,r)\ncommand  x (a,[b],) \n"));
}

TEST_F(SendTest, AStringVariableCanBeReadFromAFile)
{
    const std::string file = folder().write("ca.pem", "line 1\nline 2\n");
    program().script("command A 0 cert=changed\n");
    EXPECT_EQ(send({"--var", "cert=string:@" + file, "A()"}).exitCode, 0);
    const Finished missing = send({"--var", "cert=string:@/does/not/exist", "A()"});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_EQ(missing.err,
              "orva-panel: variable cert: cannot read '/does/not/exist': "
              "No such file or directory\n");
}

TEST_F(SendTest, APasswordThatIsReadShowsOnlyWhenAskedFor)
{
    program().script("command GetVPNPasswd 0 p=abc123 r=0\n");
    const std::vector<std::string> arguments = {"--var", "p=string:", "--var", "r=int:1",
                                                "GetVPNPasswd(p,r)"};
    EXPECT_THAT(send(arguments).out, HasSubstr("  p = ********\n"));
    std::vector<std::string> json = arguments;
    json.insert(json.begin(), "--json");
    EXPECT_THAT(send(json).out, HasSubstr(R"("variables":{"p":"********","r":0})"));
    std::vector<std::string> shown = arguments;
    shown.insert(shown.begin(), "--show-secrets");
    EXPECT_THAT(send(shown).out, HasSubstr("  p = abc123\n"));
}

TEST_F(SendTest, SecretsInTheCommandItselfAreMaskedAndVariableNamesAreNot)
{
    const Finished result = send({"--var", "r=int:0", "setvpnpasswd (abc123,r)",
                                  "ORVA_WRITE(9=abc123)", "SETVPNCA(r,abc)123) abc123"});
    EXPECT_THAT(result.out, Not(HasSubstr("abc123")));
    EXPECT_THAT(result.out, HasSubstr("setvpnpasswd (********,r): code"));
    EXPECT_THAT(result.out, HasSubstr("ORVA_WRITE(9=********): code"));
    EXPECT_THAT(result.out, HasSubstr("SETVPNCA(r,********)********: code"));
    EXPECT_THAT(program().calls(), HasSubstr("command ORVA_WRITE(9=abc123)\n"));
    EXPECT_THAT(send({"--show-secrets", "ORVA_WRITE(9=abc123)"}).out, HasSubstr("(9=abc123)"));
}

TEST_F(SendTest, WrongVariablesAreOneLineAndExitCode2)
{
    for (const char* variable : {"r", "r=int", "r=int:", "r=int:12.5", "r=int:2147483648",
                                 "r=bool:1", "=int:1", "a b=int:1", "a,b=int:1", "r=double:x"}) {
        const Finished result = send({"--var", variable, "A()"});
        EXPECT_EQ(result.exitCode, 2) << variable;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
    }
    EXPECT_THAT(send({"--var", "r=int:1", "--var", "r=int:2", "A()"}).err,
                HasSubstr("variable r is defined twice"));
    EXPECT_EQ(send({"--var", "r=int:1"}).exitCode, 2);
    EXPECT_EQ(program().calls(), "");
}

TEST_F(SendTest, WriteCountsChannelsFromOneAndHandsOverTheTypedValue)
{
    EXPECT_EQ(withoutTimes(write({"10", "string", "vpnuser"}).out),
              "channel 10 (VPN user name) = vpnuser: code 0 (written), T ms\n");
    EXPECT_EQ(write({"2", "int", "1194"}).exitCode, 0);
    EXPECT_EQ(write({"4", "double", "2.5"}).exitCode, 0);
    EXPECT_EQ(write({"--", "6", "int", "-1"}).exitCode, 0);
    const std::string calls = program().calls();
    EXPECT_THAT(calls, HasSubstr("write 9 3 vpnuser\n"));
    EXPECT_THAT(calls, HasSubstr("write 1 1 1194\n"));
    EXPECT_THAT(calls, HasSubstr("write 3 2 2.5\n"));
    EXPECT_THAT(calls, HasSubstr("write 5 1 -1\n"));
}

TEST_F(SendTest, AWriteThatTheDriverRefusesGivesExitCode1)
{
    program().script("write 4\n");
    const Finished result = write({"2", "int", "1194"});
    EXPECT_THAT(result.out, HasSubstr("code 4 (channel is read-only)"));
    EXPECT_EQ(result.exitCode, 1);
    const std::string expected =
        R"-({"write":2,"code":4,"meaning":"channel is read-only","ms":T,"variables":{},)-"
        R"-("time":T,"value":1194,"cause":"it can only be read; )-"
        R"-(written can be 9 (VPN password), 10 (VPN user name)"})-";
    EXPECT_EQ(withoutTimes(write({"--json", "2", "int", "1194"}).out), expected + "\n");
}

TEST_F(SendTest, AWrittenPasswordIsMaskedAndMayComeFromAFile)
{
    const std::string file = folder().write("password", "abc123");
    const Finished result = write({"9", "string", "@" + file});
    EXPECT_THAT(result.out, HasSubstr("channel 9 (VPN password) = ********: code 0"));
    EXPECT_THAT(program().calls(), HasSubstr("write 8 3 abc123\n"));
    EXPECT_THAT(write({"--show-secrets", "9", "string", "abc123"}).out, HasSubstr("= abc123: "));
}

TEST_F(SendTest, AWriteToAChannelThatThereIsNotIsWrongUse)
{
    for (const char* channel : {"0", "11", "x"}) {
        EXPECT_EQ(write({channel, "int", "1"}).exitCode, 2) << channel;
    }
    EXPECT_EQ(write({"1", "text", "1"}).exitCode, 2);
    EXPECT_EQ(write({"1", "int"}).exitCode, 2);
}

}  // namespace
