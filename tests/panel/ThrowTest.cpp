#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace
{

using ::testing::EndsWith;
using ::testing::HasSubstr;

// Every command, with a driver that throws from one of its calls.
class ThrowTest : public ::testing::Test
{
protected:
    std::vector<std::vector<std::string>> commandsThatReach(const std::string& call)
    {
        const std::string driver = plugin("scripted_driver");
        const std::string project = m_folder.write(
            "p.toml", "[[device]]\nname = \"A\"\ndriver = \"" + driver +
                          "\"\nperiod_ms = 10\n[[action]]\ncommand = \"X()\"\n"
                          "[[action]]\nwrite = { channel = 10, type = \"int\", value = 1 }\n");
        const std::vector<std::string> poll = {"poll", "--driver", driver, "--cycles", "1"};
        const std::vector<std::string> send = {"send", "--driver", driver, "X()"};
        const std::vector<std::string> write = {"write", "--driver", driver, "10", "int", "1"};
        // It ends in any case, should nobody throw.
        const std::vector<std::string> run = {"run", "--duration", "300", project};
        if (call == "collect") return {poll, run};
        if (call == "command") return {send, run};
        if (call == "write") return {write, run};
        return {poll, send, write, run};
    }
    void expectOneLine(const std::string& call, const std::string& kind, const std::string& says)
    {
        m_program.script("command X 0\nthrow " + call + " " + kind + "\n");
        for (const auto& arguments : commandsThatReach(call)) {
            const Finished result = m_program.run(arguments);
            EXPECT_EQ(result.exitCode, 2) << arguments[0] << ' ' << call << ' ' << kind;
            EXPECT_THAT(result.err, ::testing::StartsWith("orva-panel: driver '"));
            EXPECT_THAT(result.err, EndsWith("': " + says + "\n")) << arguments[0];
            EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        }
    }
    PanelProgram& program() { return m_program; }

private:
    TestFolder m_folder;
    PanelProgram m_program{m_folder};
};

constexpr std::pair<const char*, const char*> kCalls[] = {
    {"create", "CreateDeviceCtrl"},  {"init", "InitDevice"},    {"collect", "CollectDevData"},
    {"command", "DevIOCtrl"},        {"write", "WriteChannel"}, {"cleanup", "CleanupDevice"},
    {"destroy", "DestroyDeviceCtrl"}};

TEST_F(ThrowTest, WhateverADriverThrowsEndsEveryCommandWithOneLineAndCode2)
{
    for (const auto& [call, name] : kCalls) {
        expectOneLine(call, "int", std::string(name) + " raised an exception of unknown type");
    }
}

TEST_F(ThrowTest, AnExceptionOfTheLibrarysOwnTypeIsToldAlthoughTheLibraryIsGone)
{
    for (const auto& [call, name] : kCalls) {
        expectOneLine(call, "own", std::string(name) + " raised an exception: own");
    }
    expectOneLine("collect", "std", "CollectDevData raised an exception: standard");
}

TEST_F(ThrowTest, ADeviceThatThrewIsStillCleanedUpAndDestroyed)
{
    expectOneLine("command", "int", "DevIOCtrl raised an exception of unknown type");
    EXPECT_THAT(program().calls(), HasSubstr("command X()\ncleanup\ndestroy\n"));
    program().script("throw cleanup int\n");
    program().run({"poll", "--driver", plugin("scripted_driver"), "--cycles", "1"});
    EXPECT_THAT(program().calls(), EndsWith("cleanup\ndestroy\n"));
}

TEST_F(ThrowTest, TheDryCycleNamesTheCallThatThrew)
{
    for (const auto& [call, name] : kCalls) {
        if (call == std::string("command") || call == std::string("write")) continue;
        program().script(std::string("throw ") + call + " int\n");
        const Finished result = program().run({"check", plugin("scripted_driver")});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_THAT(result.out, HasSubstr("  WRONG    dry cycle   driver '"));
        EXPECT_THAT(result.out,
                    HasSubstr(std::string(name) + " raised an exception of unknown type\n"));
    }
}

}  // namespace
