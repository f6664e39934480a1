#include "tests/ctl/CtlProgram.h"
#include "tests/ctl/Scripts.h"

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>

// Each command meets each way in which a service can fail it.
namespace
{

struct Command {
    const char* name;
    std::vector<std::string> arguments;
};

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = {
        {"status", {"status"}},
        {"history", {"history"}},
        {"set", {"set", "port", "1195"}},
        {"password", {"set", "password"}},
        {"start", {"start"}},
        {"stop", {"stop"}},
        {"enable", {"enable"}},
        {"disable", {"disable"}},
        {"online", {"online"}},
        {"offline", {"offline"}},
        {"check", {"check"}},
        {"export", {"export"}},
        {"secrets", {"export", "--with-secrets", "FILE"}},
        {"import", {"import", "SETTINGS"}},
        {"dry", {"import", "--dry-run", "SETTINGS"}},
        {"doctor", {"doctor"}},
    };
    return all;
}

struct Fault {
    const char* name;
    std::function<void(FakeService&)> script;
    int exitCode;
    const char* message;
};

FakeService::Reply reply(const std::string& bytes, bool staysOpen = false, bool readsRequest = true)
{
    FakeService::Reply result;
    result.bytes = bytes;
    result.staysOpen = staysOpen;
    result.readsRequest = readsRequest;
    return result;
}

std::function<void(FakeService&)> always(const FakeService::Reply& what)
{
    return [what](FakeService& service) { service.answer("*", what); };
}

const std::vector<Fault>& faults()
{
    const std::string head = "HTTP/1.1 200 OK\r\nContent-Length: ";
    static const std::vector<Fault> all = {
        {"closes_at_once", always(reply("", false, false)), 11, "gives no usable answer"},
        {"closes", always(reply("")), 11, "it ended before it was whole"},
        {"garbage", always(reply("\x16\x03\x01 nonsense\r\n\r\n")), 11, "it is not HTTP/1.1"},
        {"half_a_head", always(reply("HTTP/1.1 200 OK\r\nContent-")), 11, "ended before"},
        {"half_an_answer", always(reply(head + "100\r\n\r\n{\"version\"")), 11, "ended before"},
        {"no_json", always(reply(httpAnswer(200, "<html>"))), 11, "no JSON text"},
        {"no_object", always(reply(httpAnswer(200, "[]"))), 11, "no object"},
        {"deep_json", always(reply(httpAnswer(200, std::string(100000, '[')))), 11, "too deep"},
        {"silence", always(reply("", true)), 11, "no answer in time"},
        {"stops_midway", always(reply(head + "100\r\n\r\n{", true)), 11, "no answer in time"},
        {"huge_length", always(reply(head + "99999999999\r\n\r\n{")), 11, "it is too long"},
        {"huge_head", always(reply("HTTP/1.1 200 OK\r\nX: " + std::string(20000, 'a'))), 11,
         "its head is too long"},
        {"huge_answer", always(reply("HTTP/1.1 200 OK\r\n\r\n" + std::string(5000000, ' '))), 11,
         "it is too long"},
        {"other_version", always(reply(httpAnswer(200, R"({"api": 2})"))), 10, "another version"},
        {"unknown_path", always(reply(httpAnswer(404, "{}"))), 10, "another version"},
        {"not_allowed",
         always(reply(httpAnswer(403, scripts::error("not_allowed", "callers.change",
                                                     "[callers] change in /etc/orva/vpnd.toml")))),
         7, "[callers] change in /etc/orva/vpnd.toml"},
        {"error_without_words", always(reply(httpAnswer(500, "oops"))), 11, "without saying why"},
    };
    return all;
}

class FailuresTest : public testing::TestWithParam<Fault>
{
protected:
    // The command's two files stand for themselves.
    static CtlResult run(CtlProgram& program, const Command& command)
    {
        std::vector<std::string> arguments = {"--request-timeout", "0.5"};
        for (const std::string& each : command.arguments) {
            arguments.push_back(each == "FILE"       ? program.path("file")
                                : each == "SETTINGS" ? program.write("in", "port = 1195\n")
                                                     : each);
        }
        program.setInput("secret\n");
        return program.run(arguments);
    }
};

TEST_P(FailuresTest, EachCommandTellsItByMessageAndExitCode)
{
    const Fault& fault = GetParam();
    for (const Command& command : commands()) {
        CtlProgram program;
        FakeService service(program.socketPath());
        fault.script(service);
        const CtlResult result = run(program, command);
        EXPECT_EQ(result.exitCode, fault.exitCode) << command.name << "\n" << result.err;
        // The doctor's result is what it has found.
        EXPECT_NE((result.err + result.out).find(fault.message), std::string::npos)
            << command.name << "\n"
            << result.err << result.out;
        if (std::string(command.name) != "doctor") {
            EXPECT_EQ(result.out, "") << command.name;
        }
        EXPECT_EQ(program.read("file"), "") << command.name;
    }
}

INSTANTIATE_TEST_SUITE_P(Each, FailuresTest, testing::ValuesIn(faults()),
                         [](const testing::TestParamInfo<Fault>& fault) {
                             return std::string(fault.param.name);
                         });

TEST(FourFailuresTest, NobodyThereNotAllowedOtherVersionAndStuckAreFourMessages)
{
    std::vector<std::string> messages;
    std::vector<int> codes;
    const auto keep = [&](const CtlResult& result) {
        messages.push_back(result.err.substr(0, result.err.find('\n')));
        codes.push_back(result.exitCode);
    };
    CtlProgram program;
    keep(program.run({"status"}));
    {
        FakeService service(program.socketPath());
        service.answer("*", 403, scripts::error("not_allowed", "callers.read", "[callers] read"));
        keep(program.run({"status"}));
    }
    {
        FakeService service(program.socketPath());
        service.answer("*", 200, R"({"api": 7})");
        keep(program.run({"status"}));
    }
    {
        FakeService service(program.socketPath());
        service.answer("*", reply("", true));
        keep(program.run({"status", "--request-timeout", "0.2"}));
    }
    EXPECT_EQ(codes, (std::vector<int>{8, 7, 10, 11}));
    EXPECT_NE(messages[0].find("there is no service at"), std::string::npos) << messages[0];
    EXPECT_NE(messages[1].find("[not_allowed]"), std::string::npos) << messages[1];
    EXPECT_NE(messages[2].find("is of another version"), std::string::npos) << messages[2];
    EXPECT_NE(messages[3].find("is stuck"), std::string::npos) << messages[3];
}

TEST(FourFailuresTest, TheOneForNotAllowedNamesTheLineThatWouldAllowIt)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.answer("*", 403, scripts::error("not_allowed", "callers.change", "in /etc/x.toml"));
    const CtlResult result = program.run({"stop"});
    EXPECT_NE(result.err.find("in /etc/x.toml"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("under [callers] of the service's configuration: change = [\"root\""),
              std::string::npos)
        << result.err;
}

TEST(FourFailuresTest, ASocketWithoutAListenerIsNoService)
{
    CtlProgram program;
    {
        const FakeService gone(program.socketPath());
    }
    // A file that was a socket's, of a service that was killed.
    const CtlResult result = program.run({"status"});
    EXPECT_EQ(result.exitCode, 8) << result.err;
    program.write("s", "no socket");
    EXPECT_EQ(program.run({"status"}).exitCode, 8);
}

TEST(FourFailuresTest, ASocketThatTakesNoConnectionIsStuckAndNotAbsent)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.answer("*", reply("", true));
    // One holds the service, the others fill its queue.
    std::vector<std::unique_ptr<CtlProgram>> others;
    for (int i = 0; i < 12; ++i) {
        others.push_back(std::make_unique<CtlProgram>());
        others.back()->start({"--control", service.path(), "--request-timeout", "60", "status"});
    }
    CtlResult result;
    for (int i = 0; i < 100; ++i) {
        result = program.run({"--request-timeout", "0.3", "status"});
        if (result.err.find("takes no connection") != std::string::npos) break;
    }
    EXPECT_EQ(result.exitCode, 11);
    EXPECT_NE(result.err.find("takes no connection"), std::string::npos) << result.err;
}

TEST(FourFailuresTest, AnswersInSingleBytesAndInChunksAreAnswers)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    FakeService::Reply slow = reply(httpAnswer(200, scripts::status()));
    slow.pieceBytes = 1;
    service.answer("GET /v1/status", slow);
    service.answer("GET /v1/status",
                   reply("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n"
                         "9;x=y\r\n{\"state\":\r\n1E\r\n{\"number\":5,\"name\":\"connected\"\r\n"
                         "2\r\n}}\r\n0\r\nTrailer: x\r\n\r\n"));
    EXPECT_EQ(program.run({"status", "--get", "state.name"}).out, "connected\n");
    EXPECT_EQ(program.run({"status", "--get", "state.name"}).out, "connected\n");
}

TEST(FourFailuresTest, OutputThatCannotBeWrittenIsAFailure)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    scripts::play(service);
    EXPECT_EQ(program.run({"export", "--with-secrets", "/dev/full"}).exitCode, 1);
    EXPECT_EQ(program.run({"export", "--with-secrets", program.path("no/folder")}).exitCode, 1);
}

TEST(FourFailuresTest, TheTimeLimitIsKeptWhateverTheServiceDoes)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.answer("*", reply("HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{", true));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(program.run({"status", "--request-timeout", "1"}).exitCode, 11);
    const auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(took, std::chrono::milliseconds(900));
    EXPECT_LT(took, std::chrono::seconds(30));
}

}  // namespace
