#include "tests/ctl/CtlProgram.h"
#include "tests/ctl/Scripts.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <csignal>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>

namespace
{

std::string oneLine(const std::string& json) { return nlohmann::ordered_json::parse(json).dump(); }

std::string statusEvent(const std::string& status, const std::string& id = {})
{
    return eventText("status", id, oneLine(status));
}

std::string rowEvent(int id)
{
    return eventText("history", "7f3a9c21-" + std::to_string(id), oneLine(scripts::row(id)));
}

FakeService::Reply endingStream(const std::string& events)
{
    FakeService::Reply reply;
    reply.bytes = "HTTP/1.1 200 OK\r\n\r\n" + events;
    return reply;
}

TEST(WaitTest, BeginsBeforeTheServiceDoes)
{
    CtlProgram program;
    program.start({"wait", "--timeout", "60"});
    // It knows its answers before it can be found.
    const std::string elsewhere = program.socketPath() + "-later";
    FakeService service(elsewhere);
    service.stream("GET /v1/events",
                   statusEvent(scripts::reachingStatus()) + statusEvent(scripts::status()));
    std::filesystem::rename(elsewhere, program.socketPath());
    const CtlResult result = program.finish();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.out, "connected, 10.8.0.6\n");
}

TEST(WaitTest, OutlivesAServiceThatEndsAndOneThatIsGarbage)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.answer("GET /v1/events", endingStream(statusEvent(scripts::reachingStatus())));
    service.answer("GET /v1/events", FakeService::Reply{"garbage\r\n"});
    service.answer("GET /v1/events", endingStream(eventText("status", "", "{")));
    service.stream("GET /v1/events", statusEvent(scripts::status()));
    const CtlResult result = program.run({"wait", "--timeout", "60"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(service.requests().size(), 4U);
}

TEST(WaitTest, ConnectedMeansWithAnAddress)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.stream("GET /v1/events", statusEvent(scripts::status(R"({"vpn_address": null})")));
    const CtlResult result = program.run({"wait", "--timeout", "0.5"});
    EXPECT_EQ(result.exitCode, 9);
    EXPECT_NE(result.err.find("the last that was seen: connected"), std::string::npos)
        << result.err;
}

TEST(WaitTest, WithoutAServiceTheTimeIsOverAndTheReasonIsTold)
{
    CtlProgram program;
    const CtlResult result = program.run({"wait", "--timeout", "0.3"});
    EXPECT_EQ(result.exitCode, 9);
    EXPECT_NE(result.err.find("there is no service at"), std::string::npos) << result.err;
}

TEST(WaitTest, ASilentServiceIsWaitedForNoLongerThanAsked)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    FakeService::Reply silence;
    silence.staysOpen = true;
    service.answer("*", silence);
    const CtlResult result = program.run({"wait", "--timeout", "0.5"});
    EXPECT_EQ(result.exitCode, 9) << result.err;
    EXPECT_NE(result.err.find("is stuck"), std::string::npos) << result.err;
}

TEST(WaitTest, WhatNoWaitingHelpsAgainstEndsIt)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.answer("*", 403, scripts::error("not_allowed", "callers.read", ""));
    EXPECT_EQ(program.run({"wait", "--timeout", "60"}).exitCode, 7);
    FakeService other(program.path("o"));
    EXPECT_EQ(program.run({"--control", other.path(), "wait", "--timeout", "60"}).exitCode, 10);
}

TEST(MonitorTest, GoesOnBehindTheLastRowAfterALoss)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.answer("GET /v1/events",
                   endingStream(statusEvent(scripts::status(), "7f3a9c21-1040") + rowEvent(1041)));
    service.answer("GET /v1/events",
                   endingStream(statusEvent(scripts::status(), "7f3a9c21-1041") + rowEvent(1042)));
    service.stream("GET /v1/events",
                   statusEvent(scripts::status(), "7f3a9c21-1042") + rowEvent(1043));
    const CtlResult result = program.run({"monitor", "--count", "4", "--json"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    const std::string received = service.received();
    EXPECT_NE(received.find("Last-Event-ID: 7f3a9c21-1041\r\n"), std::string::npos) << received;

    CtlProgram second;
    FakeService again(second.socketPath());
    again.answer("GET /v1/events",
                 endingStream(statusEvent(scripts::status(), "7f3a9c21-1040") + rowEvent(1041)));
    again.answer("GET /v1/events", endingStream(statusEvent(scripts::status(), "7f3a9c21-1041")));
    again.stream("GET /v1/events", rowEvent(1042));
    const CtlResult text = second.run({"monitor", "--count", "3"});
    EXPECT_EQ(text.exitCode, 0) << text.err;
    // The status is the same after the loss and not told again.
    std::istringstream lines(text.out);
    std::vector<std::string> said;
    for (std::string line; std::getline(lines, line);) said.push_back(line.substr(22, 15));
    EXPECT_EQ(said, (std::vector<std::string>{
                        "now connected, ", "#1041 state rec", "the service doe", "the service is ",
                        "the service doe", "the service is ", "#1042 setting p"}))
        << text.out;
}

TEST(MonitorTest, WaitsForAServiceThatIsNotThereYet)
{
    CtlProgram program;
    program.start({"monitor", "--count", "1"});
    ASSERT_TRUE(program.waitForOutput("there is no service at"));
    const std::string elsewhere = program.socketPath() + "-later";
    FakeService service(elsewhere);
    service.stream("GET /v1/events", statusEvent(scripts::status()));
    std::filesystem::rename(elsewhere, program.socketPath());
    const CtlResult result = program.finish();
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_NE(result.out.find("the service is back\n"), std::string::npos) << result.out;
}

TEST(MonitorTest, ALineIsThereAsSoonAsItHappens)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.stream("GET /v1/events", statusEvent(scripts::status()) + rowEvent(1041));
    program.start({"monitor"});
    EXPECT_TRUE(program.waitForOutput("#1041 state reconnecting"));
    program.signal(SIGINT);
    EXPECT_EQ(program.finish().signal, SIGINT);
}

TEST(MonitorTest, OneFieldOfEachEventIsPrintedAlone)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    scripts::play(service);
    const CtlResult result = program.run({"monitor", "--get", "data.state.name", "--count", "1"});
    EXPECT_EQ(result.out, "connected\n");
}

TEST(HistoryTest, FollowsBehindWhatItHasPrinted)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    service.answer("GET /v1/history?limit=50", 200, scripts::history());
    service.stream("GET /v1/events", statusEvent(scripts::status()) + rowEvent(1043));
    program.start({"history", "--follow", "--json"});
    ASSERT_TRUE(program.waitForOutput("{\"id\":1043"));
    program.signal(SIGTERM);
    const CtlResult result = program.finish();
    EXPECT_NE(service.received().find("Last-Event-ID: 7f3a9c21-1042\r\n"), std::string::npos);
    std::istringstream lines(result.out);
    std::vector<int> ids;
    for (std::string line; std::getline(lines, line);) {
        ids.push_back(nlohmann::json::parse(line).at("id"));
    }
    EXPECT_EQ(ids, (std::vector<int>{1040, 1041, 1042, 1043}));
}

TEST(HistoryTest, AThousandRowsAtOnceArePrintedWhole)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    std::string events = statusEvent(scripts::status(), "7f3a9c21-1");
    for (int id = 2000; id < 3000; ++id) events += rowEvent(id);
    service.stream("GET /v1/events", events);
    const CtlResult result = program.run({"monitor", "--count", "1001", "--json"});
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 1001);
}

}  // namespace
