#include "host/StatusCodes.h"
#include "panel/view/Explain.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace panel
{
namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class ExplainTest : public ::testing::Test
{
protected:
    ExplainTest()
    {
        define("r", 7);
        define("port", 1194);
        define("far", 70000);
        define("half", 2.5);
        define("address", std::string("10.0.0.1"));
        define("name", std::string("vpn.example.com"));
        define("empty", std::string());
        define("password", std::string("abc123"));
        define("short", std::string("abc12"));
    }
    void define(const std::string& name, Value value)
    {
        EXPECT_TRUE(m_variables.define(name, std::move(value)));
    }
    Explanation read(const std::string& command) { return readCommand(command, m_variables, {}); }
    std::string causes(const std::string& command) { return inOneLine(read(command).causes); }
    std::string notes(const std::string& command) { return inOneLine(read(command).notes); }
    // What is said about the command after such an answer.
    Explanation explain(const std::string& command, int code,
                        const std::vector<NamedValue>& written = {})
    {
        CallResult result;
        result.code = code;
        result.written = written;
        return explainCommand(command, result, read(command), m_variables);
    }

    VariableStore m_variables;
};

TEST_F(ExplainTest, CommandsThatAreRightHaveNoCause)
{
    for (const char* command : {"STARTVPN(address,port,r)",
                                "startvpn ( address , half , r )",
                                "STARTVPN(,,r)",
                                "SETVPNSERVER(name,+80,r)",
                                "SETVPNSERVER(empty,1,r)",
                                "STOPVPN(r)",
                                "SETVPNCA(name,r)",
                                "SETDEVICESN(name,r)",
                                "SETALIVETIME(15,r)",
                                "SETALIVETIME(half,r)",
                                "Enable(r,r)",
                                "ONLINE(half)",
                                "Offline(r)",
                                "GetVPNPasswd(empty,r)",
                                "SetVPNPasswd(password,r)",
                                "REFRESH()",
                                "REFRESH(a,b,c)",
                                "STOPVPN(r) and more",
                                "STOPVPN(r)(",
                                "Online(r))"}) {
        EXPECT_EQ(causes(command), "") << command;
    }
}

TEST_F(ExplainTest, EachCauseOfCode5IsTold)
{
    const std::pair<const char*, const char*> cases[] = {
        {"STARTVPN", "no parentheses; right would be STARTVPN(address,port,r)"},
        {"", "no parentheses; a command has the form NAME(arguments)"},
        {"hunter22", "no parentheses; a command has the form NAME(arguments)"},
        {"STARTVPM", "no parentheses; the nearest command is STARTVPN(address,port,r)"},
        {"stoppvpn r", "no parentheses; the nearest command is STOPVPN(r)"},
        {"SetVPNPasswd abc123,r", "no parentheses; right would be SetVPNPasswd(password,r)"},
        {"STOPVPN(r", "the \")\" is missing; right would be STOPVPN(r)"},
        {"STOPPVPN(", "the \")\" is missing; the nearest command is STOPVPN(r)"},
        {"Foo(", "the \")\" is missing; a command has the form NAME(arguments)"},
        {"STOPVPN r)", "the \"(\" is missing; right would be STOPVPN(r)"},
        {"STOPVPM)", "the \"(\" is missing; the nearest command is STOPVPN(r)"},
        {"STARVPN(address,port,r)",
         "STARVPN is no command; the nearest is STARTVPN(address,port,r)"},
        {"Onlnie(r)", "Onlnie is no command; the nearest is Online(r)"},
        {"XYZ(r)", "XYZ is no command; orva-panel commands lists them"},
        {"(r)", " is no command; orva-panel commands lists them"},
        {"SetVPNPasswd hunter22 (r)",
         "SetVPNPasswd ******** is no command; the nearest is SetVPNPasswd(password,r)"},
        {"STOPVPN()", "0 arguments instead of 1: STOPVPN(r)"},
        {"STOPVPN(r,r)", "2 arguments instead of 1: STOPVPN(r)"},
        {")STOPVPN(r", ")STOPVPN is no command; the nearest is STOPVPN(r)"},
        {"STARTVPN(address,r)", "2 arguments instead of 3: STARTVPN(address,port,r)"},
        {"STOPVPN(res)", "res is no variable; the outcome goes into a numeric variable"},
        {"STOPVPN(addres)",
         "addres is no variable (address is one); the outcome goes into a numeric variable"},
        {"STOPVPN(name)", "name is a text variable; the outcome goes into a numeric variable"},
        {"STARTVPN(address,port,)",
         "the result is empty and names no variable; the outcome goes into a numeric variable"},
        {"STARTVPN(name,port,r)",
         "name: the address vpn.example.com is not four numbers such as 10.0.0.1"},
        {"STARTVPN(010.0.0.1,port,r)",
         "the address 010.0.0.1 is not four numbers such as 10.0.0.1"},
        {"STARTVPN(255.255.255.255,port,r)",
         "the address 255.255.255.255 is not four numbers such as 10.0.0.1"},
        {"STARTVPN(address,far,r)", "far: the port 70000 is not 1 to 65535"},
        {"SETVPNSERVER(name,0,r)", "the port 0 is not 1 to 65535"},
        {"SETVPNSERVER(name,prot,r)",
         "prot is no variable (port is one); the port must be a numeric variable or a whole "
         "number"},
        {"SETVPNSERVER(name,name,r)",
         "name is a text variable; the port must be a numeric variable or a whole number"},
        {"SETALIVETIME(12.5,r)",
         "12.5 is no variable; the seconds must be a numeric variable or a whole number"},
        {"SETALIVETIME(,r)", "the seconds must not be empty"},
        {"SETALIVETIME(3601,r)", "the seconds 3601 is not 1 to 3600"},
        {"SETDEVICESN(port,r)",
         "port is a numeric variable; the number must be a text variable or a text"},
        {"Enable(1,r)",
         "1 is no variable; the switch must be a numeric variable, not a number itself"},
        {"Enable(name,r)",
         "name is a text variable; the switch must be a numeric variable, not a number itself"},
        {"GetVPNPasswd(port,r)", "port is a numeric variable; the text must be a text variable"},
        {"SetVPNPasswd(short,r)", "short: the password is not 6 to 32 letters and digits"},
        {"SetVPNPasswd(port,r)",
         "port is a numeric variable; the password must be a text variable or a text"},
        {"SETALIVETIME(far,name)",
         "far: the seconds 70000 is not 1 to 3600; name is a text variable; the outcome goes into "
         "a numeric variable"},
    };
    for (const auto& [command, says] : cases) EXPECT_EQ(causes(command), says) << command;
}

TEST_F(ExplainTest, ATextThatNamesNoVariableIsNoted)
{
    EXPECT_EQ(notes("SETDEVICESN(newpass1,r)"),
              "newpass1 is no variable; it was sent as the text itself");
    EXPECT_EQ(notes("SETDEVICESN(adress,r)"),
              "adress is no variable (address is one); it was sent as the text itself");
    EXPECT_EQ(notes("SETVPNSERVER(port,1,r)"),
              "port is a numeric variable; its name was sent as the text itself");
    EXPECT_EQ(notes("SETVPNSERVER(empty,1,r)"), "empty is empty: the service's own address");
    EXPECT_EQ(notes("SETVPNSERVER(,1,r)"), "");
    EXPECT_EQ(notes("SETVPNSERVER(name,1,r)"), "");
    EXPECT_EQ(inOneLine(readCommand("SETDEVICESN(x,r)", m_variables, {false, Tense::kIs}).notes),
              "x is no variable; it is sent as the text itself");
    EXPECT_EQ(notes("ORVA_WRITE(9=abc123)"),
              "ORVA_WRITE is no command for scripts: see orva-panel write");
}

TEST_F(ExplainTest, WhatMayBeASecretIsNotQuoted)
{
    for (const char* command :
         {"SetVPNPasswd(hunter22,r)", "SetVPNPasswd(r,hunter22)", "SETVPNCA(hunter22,r)",
          "SETVPNCA(name,hunter22)", "SetVPNPasswd(hunter22)", "SetVPNPasswd hunter22,r",
          "hunter22", "SetVPNPasswd hunter22 (r)", "ORVA_WRITE(9=hunter22)",
          "SetVPNPasswd(hunter22", "SetVPNPaswd hunter22)", "hunter22(", "hunter22)",
          "SetVPNPasswd(hunter-22,r)"}) {
        EXPECT_THAT(causes(command) + notes(command), Not(HasSubstr("unter"))) << command;
    }
    EXPECT_EQ(notes("SetVPNPasswd(hunter22,r)"),
              "******** is no variable; it was sent as the text itself");
    EXPECT_EQ(inOneLine(readCommand("SetVPNPasswd(hunter22,r)", m_variables, {true}).notes),
              "hunter22 is no variable; it was sent as the text itself");
    define("secret", std::string("hunter-22"));
    EXPECT_EQ(causes("SetVPNPasswd(secret,r)"),
              "secret: the password is not 6 to 32 letters and digits");
}

TEST_F(ExplainTest, AVariableThatWillChangeIsJudgedByItsTypeOnly)
{
    const ReadAs readAs = {false, Tense::kIs, {"far", "short", "name"}};
    EXPECT_THAT(readCommand("STARTVPN(name,far,r)", m_variables, readAs).causes, IsEmpty());
    EXPECT_THAT(readCommand("SetVPNPasswd(short,r)", m_variables, readAs).causes, IsEmpty());
    EXPECT_THAT(readCommand("SETALIVETIME(name,r)", m_variables, readAs).causes,
                ElementsAre(HasSubstr("name is a text variable")));
}

TEST_F(ExplainTest, TheAnswerOfTheServiceIsToldWhereTheCommandItselfIsRight)
{
    EXPECT_EQ(inOneLine(explain("STOPVPN(r)", kResultRefused, {{"r", 3}}).causes),
              "the service answered 3: could not be stored");
    EXPECT_EQ(inOneLine(explain("SETVPNSERVER(name,1,r)", kResultBadCommand, {{"r", 1}}).causes),
              "the service answered 1: an argument is invalid");
    EXPECT_EQ(inOneLine(explain("SETVPNSERVER(name,1,r)", kResultNotNow, {{"r", 2}}).causes),
              "the service answered 2: valid, but not possible now, not stored or not allowed");
    EXPECT_EQ(inOneLine(explain("STARTVPN(name,port,r)", kResultBadCommand, {{"r", 1}}).causes),
              causes("STARTVPN(name,port,r)"));
    // Whatever number a driver writes, also one that is no whole number.
    EXPECT_EQ(inOneLine(explain("STOPVPN(half)", kResultRefused, {{"half", 1e300}}).causes),
              "the service answered 2147483647");
    EXPECT_EQ(inOneLine(explain("SETVPNSERVER(name,1,r)", kResultBadCommand, {{"r", 5}}).causes),
              "the driver refused an argument");
    const Explanation odd = explain("SETVPNSERVER(name,1,r)", kResultOk, {{"r", 3}});
    EXPECT_THAT(odd.causes, IsEmpty());
    EXPECT_THAT(odd.notes, ElementsAre("the service answered 3: could not be stored"));
    EXPECT_THAT(explain("STOPVPN(r)", kResultOk, {{"r", 0}}).notes, IsEmpty());
}

TEST_F(ExplainTest, AResultThatWasNotWrittenIsTold)
{
    EXPECT_THAT(explain("STOPVPN(r,r)", kResultBadCommand).notes,
                ElementsAre("r was not written; it still has 7"));
    EXPECT_THAT(explain("STOPVPN(half)", kResultNoService).notes,
                ElementsAre("half was not written; it still has 2.5"));
    EXPECT_THAT(explain("STOPVPN(name)", kResultBadCommand).notes, IsEmpty());
    EXPECT_THAT(explain("STOPVPN(r)", kResultRefused, {{"r", 7}}).notes, IsEmpty());
}

TEST_F(ExplainTest, WithoutAServiceTheReasonIsTheService)
{
    const Explanation explanation = explain("STOPVPN(name)", kResultNoService);
    EXPECT_THAT(explanation.causes, ElementsAre(HasSubstr("127.0.0.1:9009")));
    EXPECT_THAT(explanation.notes,
                ElementsAre(HasSubstr("with a service it would be refused: name is a text")));
    EXPECT_THAT(explainCycle({1, kResultNoService, 0, {}}).causes,
                ElementsAre(HasSubstr("127.0.0.1:9009")));
    EXPECT_THAT(explainWrite(9, std::string("abc123"), {kResultNoService, 0, {}}).causes,
                ElementsAre(HasSubstr("127.0.0.1:9009")));
    const Explanation write = explainWrite(10, std::string("user01"), {kResultNoService, 0, {}});
    EXPECT_THAT(write.causes, ElementsAre(HasSubstr("127.0.0.1:9009")));
    EXPECT_THAT(write.notes, ElementsAre("with a service it would be refused: the value user01 is "
                                         "not 6 to 32 letters"));
}

TEST_F(ExplainTest, AFaultIsTakenFromTheConnectionState)
{
    const auto cause = [](int code, std::map<int, Value> channels) {
        return inOneLine(explainCycle({1, code, 0, std::move(channels)}).causes);
    };
    EXPECT_EQ(
        cause(kResultVpnOther, {{7, 101}}),
        "connection state 101: The server refused the user name or the password. Set the right "
        "user name and password; the tunnel then tries again by itself.");
    EXPECT_EQ(
        cause(kResultVpnOther, {{7, 102}}),
        "connection state 102: The server's certificate is not signed by the stored CA. Set the "
        "CA certificate of this server, or correct the server's address.");
    EXPECT_EQ(cause(kResultVpnOther, {{7, 199}}), "connection state 199");
    EXPECT_EQ(cause(kResultVpnOther, {}), "channel 7 tells which, when it is asked for");
    EXPECT_EQ(cause(kResultVpnIdle, {{7, 1}}), "");
    EXPECT_EQ(cause(kResultOk, {{7, 5}}), "");
}

TEST_F(ExplainTest, AWriteIsReadAsItArrivesAtTheDevice)
{
    const auto cause = [](int channel, const Value& value) {
        return inOneLine(readWrite(channel, value).causes);
    };
    EXPECT_EQ(cause(2, 5),
              "it can only be read; written can be 9 (VPN password), 10 (VPN user name)");
    EXPECT_EQ(cause(9, 123456), "");
    EXPECT_EQ(cause(9, 123456.0), "the value is not 6 to 32 letters and digits");
    EXPECT_EQ(cause(9, std::string("hunter-22")), "the value is not 6 to 32 letters and digits");
    EXPECT_EQ(cause(9, std::string("  abc123 ")), "");
    EXPECT_EQ(cause(9, std::string("abc123)-")), "");
    EXPECT_THAT(
        readWrite(9, std::string("abc123)-")).notes,
        ElementsAre("the text is cut at its first \")\", and blanks around it are dropped"));
    EXPECT_EQ(cause(10, std::string("operator")), "");
    EXPECT_EQ(cause(10, std::string("operator7")), "the value operator7 is not 6 to 32 letters");
    EXPECT_EQ(inOneLine(explainWrite(10, std::string("operator"), {5, 0, {}}).causes),
              "the service refused the value");
    EXPECT_EQ(inOneLine(explainWrite(10, std::string("a"), {0, 0, {}}).causes), "");
}

}  // namespace
}  // namespace panel
