#include "tests/panel/PanelProgram.h"
#include "tests/service/ChildProcess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <csignal>
#include <filesystem>
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
