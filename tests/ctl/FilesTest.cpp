#include "tests/ctl/CtlProgram.h"
#include "tests/ctl/Scripts.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>
#include <nlohmann/json.hpp>

namespace
{

class FilesTest : public testing::Test
{
protected:
    FilesTest() : service(program.socketPath()) { scripts::play(service); }

    unsigned int modeOf(const std::string& path)
    {
        struct stat status = {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0) << path;
        return status.st_mode & 07777;
    }

    CtlProgram program;
    FakeService service;
};

TEST_F(FilesTest, AnExportWithSecretsIsForItsOwnerAlone)
{
    const std::string path = program.write("settings.toml", "old");
    ASSERT_EQ(::chmod(path.c_str(), 0644), 0);
    const CtlResult result = program.run({"export", "--with-secrets", path});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(modeOf(path), 0600U);
    const std::string text = program.read("settings.toml");
    EXPECT_NE(text.find(std::string("password = \"") + scripts::kPassword + "\"\n"),
              std::string::npos)
        << text;
    EXPECT_EQ((result.out + result.err).find(scripts::kPassword), std::string::npos);
}

TEST_F(FilesTest, AnExportWithSecretsIsRefusedToWhoMayNotChange)
{
    FakeService other(program.path("o"));
    other.answer("GET /v1/status", 200, scripts::status(R"({"you": {"may_change": false}})"));
    const std::string path = program.path("settings.toml");
    const CtlResult result =
        program.run({"--control", other.path(), "export", "--with-secrets", path});
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_NE(result.err.find("[callers] change in /etc/orva/vpnd.toml"), std::string::npos);
    EXPECT_NE(::access(path.c_str(), F_OK), 0);
    EXPECT_EQ(other.requests(), std::vector<std::string>{"GET /v1/status"});
}

TEST_F(FilesTest, AnExportWithSecretsNeedsThePassword)
{
    FakeService other(program.path("o"));
    other.answer("GET /v1/status", 200, scripts::status());
    other.answer("GET /v1/settings?secrets=1", 200, scripts::settings());
    const std::string path = program.path("settings.toml");
    const CtlResult result =
        program.run({"--control", other.path(), "export", "--with-secrets", path});
    EXPECT_EQ(result.exitCode, 7);
    EXPECT_NE(result.err.find("[secrets] show-to"), std::string::npos) << result.err;
    EXPECT_NE(::access(path.c_str(), F_OK), 0);
}

TEST_F(FilesTest, WhatIsExportedIsImportedWithTheVersionThatWasRead)
{
    const std::string path = program.write("in", program.run({"export"}).out);
    const CtlResult result = program.run({"import", path});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "changed: server, port; the tunnel drops\n");
    const std::string request = service.requests().back();
    const std::string begin = "PATCH /v1/settings ";
    ASSERT_EQ(request.substr(0, begin.size()), begin);
    const auto body = nlohmann::json::parse(request.substr(begin.size()));
    auto settings = nlohmann::json::parse(scripts::settings()).at("settings");
    settings.erase("password_set");
    EXPECT_EQ(body, settings);
    EXPECT_NE(service.received().find("If-Match: \"5f0c81d2-3\"\r\n"), std::string::npos);
}

TEST_F(FilesTest, ADryImportAsksForNoChange)
{
    program.setInput("port = 1\n");
    const CtlResult result = program.run({"import", "-", "--dry-run"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(service.requests().back(), R"(PATCH /v1/settings {"port":1,"dry_run":true})");
}

TEST_F(FilesTest, AFileWithOneFaultChangesNothing)
{
    const std::string path = program.write("in", "port = 1195\nuser = 5\n");
    const CtlResult result = program.run({"import", path});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.err.find("in:2: user: a text in quotes would be right"), std::string::npos);
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(FilesTest, FilesThatCannotBeReadAreNamed)
{
    for (const char* command : {"import", "set"}) {
        std::vector<std::string> arguments = {command};
        if (arguments[0] == "set") arguments.emplace_back("ca");
        for (const std::string& path :
             {program.path("none"), program.path(""), std::string("/dev/zero"),
              program.write("big", std::string(300 * 1024, '#'))}) {
            std::vector<std::string> all = arguments;
            all.push_back(path);
            const CtlResult result = program.run(all);
            EXPECT_EQ(result.exitCode, 2) << path;
            EXPECT_NE(result.err.find("cannot read " + path), std::string::npos) << result.err;
        }
    }
    EXPECT_TRUE(service.requests().empty());
}

TEST_F(FilesTest, EachSettingIsSetByItsField)
{
    const std::string ca = program.write("ca.pem", "-----BEGIN\n");
    const std::vector<std::vector<std::string>> rows = {
        {"server", "a.example", R"({"server":"a.example"})"},
        {"port", "1195", R"({"port":1195})"},
        {"user", "", R"({"user":""})"},
        {"ca", ca, R"({"certificates":"-----BEGIN\n"})"},
        {"device-number", "SN-2", R"({"device_number":"SN-2"})"},
        {"beat", "15", R"({"beat_interval":15})"},
        {"name", "line-4", R"({"device_name":"line-4"})"},
    };
    for (const std::vector<std::string>& row : rows) {
        const CtlResult result = program.run({"set", row[0], row[1]});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(service.requests().back(), "PATCH /v1/settings " + row[2]);
    }
    program.setInput("pem");
    EXPECT_EQ(program.run({"set", "ca", "-"}).exitCode, 0);
    EXPECT_EQ(service.requests().back(), R"(PATCH /v1/settings {"certificates":"pem"})");
}

TEST_F(FilesTest, EachSwitchAsksForItself)
{
    for (const char* name : {"start", "stop", "enable", "disable", "online", "offline", "check"}) {
        const CtlResult result = program.run({name});
        EXPECT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, "done; the state is idle\n");
        EXPECT_EQ(service.requests().back(), std::string("POST /v1/") + name + " {}");
    }
}

TEST_F(FilesTest, ColoursAreForTerminalsThatWantThem)
{
    const auto onTerminal = [](const char* name, const char* value) {
        CtlProgram other;
        FakeService same(other.socketPath());
        scripts::play(same);
        other.setEnvironment(name, value);
        other.startOnTerminal({"status"});
        return other.finish().out.find('\x1b') != std::string::npos;
    };
    EXPECT_TRUE(onTerminal("TERM", "xterm"));
    EXPECT_FALSE(onTerminal("TERM", "dumb"));
    EXPECT_FALSE(onTerminal("TERM", ""));
    EXPECT_FALSE(onTerminal("NO_COLOR", "1"));
    EXPECT_EQ(program.run({"status"}).out.find('\x1b'), std::string::npos);
}

}  // namespace
