#include "panel/check/LoadDriver.h"
#include "panel/runtime/ConfigBlob.h"
#include "panel/runtime/DisplayText.h"
#include "panel/view/Explain.h"
#include "tests/panel/PanelProgram.h"
#include "tests/service/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <csignal>
#include <filesystem>
#include <set>
#include <string_view>

namespace
{

using ::testing::HasSubstr;

// The panel with the real driver and the real service.
class LiveTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(m_service.waitFor([this] {
            return m_service.out().find("listening") != std::string::npos;
        })) << m_service.err();
    }
    Finished panel(const std::string& command, std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(), {command, "--driver", PANEL_DRIVER});
        return m_program.run(arguments);
    }
    TestFolder& folder() { return m_folder; }
    PanelProgram& program() { return m_program; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
    ChildProcess m_service{programWords(PANEL_SERVICE)};
};

TEST_F(LiveTest, AllTenChannelsComeFromTheService)
{
    const Finished result = panel("poll", {"--cycles", "3", "--period", "10", "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    for (int channel = 1; channel <= 10; ++channel) {
        EXPECT_THAT(result.out, HasSubstr("\"" + std::to_string(channel) + "\":")) << result.out;
    }
    EXPECT_THAT(result.out, HasSubstr("\"9\":\"********\""));
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 3);
}

TEST_F(LiveTest, AStartedTunnelShowsInTheResultVariableAndInTheChannels)
{
    const Finished result = panel("send", {"--var", "r=int:7", "--var", "a=string:10.0.0.1",
                                           "--var", "p=int:1195", "STARTVPN(a,p,r)"});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr("STARTVPN(a,p,r): code 0 (done)"));
    EXPECT_THAT(result.out, HasSubstr("  r = 0\n"));
    program().start({"poll", "--driver", PANEL_DRIVER, "--period", "50", "--json"});
    EXPECT_TRUE(program().waitForOutput("\"code\":0,"));
    EXPECT_TRUE(program().waitForOutput("\"channels\":{\"1\":\"10.0.0.1\",\"2\":1195,"));
    program().signal(SIGINT);
    EXPECT_EQ(program().finish().exitCode, 0);
}

TEST_F(LiveTest, AWrittenUserNameIsThereInTheNextCycle)
{
    EXPECT_EQ(panel("write", {"10", "string", "operator"}).exitCode, 0);
    EXPECT_THAT(panel("poll", {"--cycles", "1", "--json"}).out, HasSubstr("\"10\":\"operator\""));
    EXPECT_EQ(panel("write", {"10", "string", "user01"}).exitCode, 1);
    EXPECT_THAT(panel("write", {"2", "int", "5"}).out, HasSubstr("code 4 (channel is read-only)"));
}

TEST_F(LiveTest, TheDriverPassesItsOwnCheck)
{
    const std::string runtime = programWords(PANEL_PROGRAM).back();
    const Finished result = program().run({"check", "--runtime", runtime, PANEL_DRIVER});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_THAT(result.out, HasSubstr(", 10 channels, "));
    // What the weak references of the real driver ask for is there in the real program.
    EXPECT_THAT(result.out,
                HasSubstr("  ok       runtime     exports Orva_GetTickCount, watch_dog_report\n"));
}

TEST(NoServiceTest, APollSaysAtOnceThatNobodyIsThere)
{
    const TestFolder folder;
    PanelProgram program(folder);
    const Finished text = program.run({"poll", "--driver", PANEL_DRIVER, "--cycles", "1"});
    EXPECT_EQ(withoutTimes(text.out),
              "cycle 1: code 1 (no VPN service, or a call to it failed), T ms\n"
              "  cause: nobody listens at 127.0.0.1:9009; is orva-vpnd running?\n"
              "  no channel published\n");
    const Finished json =
        program.run({"poll", "--driver", PANEL_DRIVER, "--cycles", "1", "--json"});
    EXPECT_THAT(json.out, HasSubstr(R"("cause":"nobody listens at 127.0.0.1:9009;)"));
    EXPECT_EQ(program.run({"poll", "--driver", PANEL_DRIVER, "--until", "no-service"}).exitCode, 0);
}

// Every command with fields of all kinds: what is said of it before it is sent is what
// the driver then does.
TEST_F(LiveTest, WhatIsSaidOfACommandIsWhatTheDriverDoes)
{
    const std::vector<panel::NamedValue> values = {{"r", 1},
                                                   {"half", 2.5},
                                                   {"far", 70000},
                                                   {"name", std::string("vpn.example.com")},
                                                   {"address", std::string("10.0.0.1")},
                                                   {"password", std::string("abc123")},
                                                   {"short", std::string("abc12")},
                                                   {"empty", std::string()}};
    std::vector<std::string> fields = {"nothing", "10.0.0.1", "10.1", "1194",
                                       " +7",     "12.5",     "0",    ""};
    for (const panel::NamedValue& one : values) fields.push_back(one.name);
    const std::vector<std::string> results = {"r", "half", "name", "nothing", ""};
    const std::set<std::string> ports = {"1194", "+7", "r", "half", ""};

    panel::VariableStore variables;
    for (const panel::NamedValue& one : values) ASSERT_TRUE(variables.define(one.name, one.value));
    const auto library = panel::loadDriver(PANEL_DRIVER);
    panel::DeviceSession session(*library, "VPN", variables);
    ASSERT_EQ(session.init(panel::makeConfigBlob(10)), 0);
    int refused = 0;
    const auto compare = [&](const std::string& command) {
        for (const panel::NamedValue& one : values) {
            ASSERT_TRUE(variables.set(one.name, one.value));
        }
        const panel::Explanation read = panel::readCommand(command, variables, {});
        const panel::CallResult result = session.command(command);
        if (!read.causes.empty()) ++refused;
        // Without a cause only the service itself refuses, a strange name of a server.
        const panel::CommandText text(command);
        const bool strangeName = text.word == "SETVPNSERVER" && text.fields.size() == 3 &&
                                 result.written.size() == 1 &&
                                 (result.written[0].value == panel::Value(1) ||
                                  result.written[0].value == panel::Value(1.0));
        const bool portFits = strangeName && ports.count(text.fields[1]) == 1;
        EXPECT_EQ(result.code == 5, !read.causes.empty() || portFits)
            << command << ": code " << result.code << ", " << panel::inOneLine(read.causes);
        EXPECT_NE(result.code, 1) << command;
    };
    for (const panel::CommandInfo& command : panel::kCommands) {
        const std::string head = std::string(command.word) + "(";
        for (const std::string& last : results) {
            compare(head + last + ")");
            for (const std::string& first : fields) {
                compare(head + first + "," + last + ")");
                if (command.count != 3) continue;
                for (const std::string& second : fields) {
                    compare(head + first + "," + second + "," + last + ")");
                }
            }
        }
    }
    EXPECT_GT(refused, 1000);
}

TEST_F(LiveTest, EachChannelWriteIsReadAsTheDriverReadsIt)
{
    const std::vector<panel::Value> values = {5,
                                              123456,
                                              123456.0,
                                              std::string("abc123"),
                                              std::string("abcdef"),
                                              std::string("abc12"),
                                              std::string(" abcdef "),
                                              std::string("abcdef)-"),
                                              std::string("abc-def"),
                                              std::string(""),
                                              std::string(32, 'a'),
                                              std::string(33, 'a'),
                                              std::string("Gerätx"),
                                              std::string("a=bcdef")};
    panel::VariableStore variables;
    const auto library = panel::loadDriver(PANEL_DRIVER);
    panel::DeviceSession session(*library, "VPN", variables);
    ASSERT_EQ(session.init(panel::makeConfigBlob(10)), 0);
    for (int channel = 1; channel <= panel::kChannelCount; ++channel) {
        for (const panel::Value& value : values) {
            const panel::Explanation read = panel::readWrite(channel, value);
            EXPECT_EQ(session.write(channel, value).code != 0, !read.causes.empty())
                << channel << ": " << panel::displayText(value);
        }
    }
}

// An example as it stands, but at five times its speed.
class LiveExampleTest : public LiveTest, public ::testing::WithParamInterface<const char*>
{
protected:
    std::string hastened(const std::string& example)
    {
        for (const auto& entry : std::filesystem::directory_iterator(PANEL_EXAMPLES)) {
            std::filesystem::copy(entry, folder().path(entry.path().filename()));
        }
        std::string text = folder().read(example);
        constexpr std::string_view kUnit = "_ms = ";
        for (std::size_t at = text.find(kUnit); at != text.npos; at = text.find(kUnit, at)) {
            at += kUnit.size();
            const std::size_t end = text.find('\n', at);
            text.replace(at, end - at, std::to_string(std::stoi(text.substr(at, end - at)) / 5));
        }
        return folder().write(example, text);
    }
};

TEST_P(LiveExampleTest, TheExampleWorks)
{
    const Finished result = program().run({"run", hastened(GetParam()), "--driver", PANEL_DRIVER});
    EXPECT_EQ(result.exitCode, 0) << result.out << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_THAT(result.out, HasSubstr(": code 0 (done)"));
}

INSTANTIATE_TEST_SUITE_P(Examples, LiveExampleTest,
                         ::testing::Values("first-contact.toml", "credentials.toml",
                                           "change-of-server.toml", "on-and-off-line.toml"));

}  // namespace
