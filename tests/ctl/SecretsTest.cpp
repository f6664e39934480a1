#include "tests/ctl/CtlProgram.h"
#include "tests/ctl/Scripts.h"

#include <gtest/gtest.h>

#include <csignal>

// Where a password may be, and where not.
namespace
{

class SecretsTest : public testing::Test
{
protected:
    SecretsTest() : service(program.socketPath()) { scripts::play(service); }

    void expectHidden(const std::string& text, const std::string& secret)
    {
        EXPECT_EQ(text.find(secret), std::string::npos) << text;
    }

    // Up to the prompt, with the terminal's echo off.
    void startPrompt()
    {
        program.startOnTerminal({"set", "password"});
        ASSERT_TRUE(program.waitForOutput("New VPN password: "));
        ASSERT_FALSE(program.echoes());
    }

    CtlProgram program;
    FakeService service;
};

TEST_F(SecretsTest, APasswordInTheCommandLineIsRefusedAndNotQuoted)
{
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"set", "password", "hunter2"},
             {"set", "password", "hunter2", "hunter2"},
             {"set", "password", "--hunter2"},
             {"set", "password", "--value=hunter2"},
             {"set", "hunter2"},
             {"set", "port", "1", "hunter2"},
             {"call", "setVPNPassword", "hunter2"},
             {"call", "checkPassword", "hunter2", "hunter2"},
             {"call", "checkPassword", "--hunter2"},
             {"call", "hunter2"},
         }) {
        const CtlResult result = program.run(arguments);
        EXPECT_EQ(result.exitCode, 2);
        expectHidden(result.out + result.err, "hunter2");
        EXPECT_NE(result.err, "");
    }
    EXPECT_TRUE(service.requests().empty());
    EXPECT_NE(program.run({"set", "password", "x"}).err.find("not taken from the command line"),
              std::string::npos);
}

TEST_F(SecretsTest, StandardInputGivesThePasswordWithoutItsLineEnd)
{
    for (const char* input : {"hunter 2", "hunter 2\n", "hunter 2\r\n"}) {
        program.setInput(input);
        const CtlResult result = program.run({"set", "password"});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(service.requests().back(), R"(PATCH /v1/settings {"password":"hunter 2"})");
        expectHidden(result.out + result.err, "hunter");
    }
}

TEST_F(SecretsTest, NoneTwoAndOverlongOnesAreRefused)
{
    for (const std::string& input :
         {std::string(), std::string("\n"), std::string("hush1\nhush2"), std::string(2000, 'h')}) {
        program.setInput(input);
        const CtlResult result = program.run({"set", "password"});
        EXPECT_EQ(result.exitCode, 2);
        expectHidden(result.out + result.err, "hush");
    }
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(SecretsTest, ThePromptDoesNotEchoAndTheCommandLineDoesNotTell)
{
    startPrompt();
    expectHidden(program.commandLine(), "hunter");
    program.type("hunter2\n");
    ASSERT_TRUE(program.waitForOutput("changed: "));
    EXPECT_TRUE(program.echoes());
    const CtlResult result = program.finish();
    EXPECT_EQ(result.exitCode, 0) << result.out;
    expectHidden(result.out, "hunter");
    EXPECT_EQ(service.requests().back(), R"(PATCH /v1/settings {"password":"hunter2"})");
}

TEST_F(SecretsTest, SignalsThatEndItBringTheEchoBack)
{
    for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
        startPrompt();
        program.type("hunt");
        program.signal(number);
        const CtlResult result = program.finish();
        EXPECT_EQ(result.signal, number);
        EXPECT_TRUE(program.echoes()) << number;
        expectHidden(result.out, "hunt");
    }
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(SecretsTest, TheInterruptKeyEndsThePromptAndBringsTheEchoBack)
{
    startPrompt();
    program.type("hunt\x03");
    const CtlResult result = program.finish();
    EXPECT_EQ(result.signal, SIGINT);
    EXPECT_TRUE(program.echoes());
}

TEST_F(SecretsTest, AnEndOfInputAtThePromptIsNoPassword)
{
    startPrompt();
    program.type("\x04");
    const CtlResult result = program.finish();
    EXPECT_EQ(result.exitCode, 2) << result.out;
    EXPECT_TRUE(program.echoes());
}

TEST_F(SecretsTest, AServiceThatSendsThePasswordBackDoesNotMakeItShow)
{
    service.answer("GET /v1/settings", 200, scripts::settings());
    for (const std::vector<std::string>& arguments : std::vector<std::vector<std::string>>{
             {"export"}, {"export", "--json"}, {"status"}, {"history"}}) {
        expectHidden(program.run(arguments).out, scripts::kPassword);
    }
}

}  // namespace
