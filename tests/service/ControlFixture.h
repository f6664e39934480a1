#pragma once

#include "service/control/ControlListener.h"
#include "service/control/ControlService.h"
#include "tests/service/HttpAnswers.h"
#include "tests/service/ServiceFixture.h"
#include "tests/service/UnixClient.h"

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

// The control interface over a controller, with clients in the same thread. The service moves
// while the test waits for something, and its clock when the test says so.
class ControlFixture : public ControllerFixture
{
protected:
    void SetUp() override
    {
        ControllerFixture::SetUp();
        std::string name = (std::filesystem::temp_directory_path() / "control-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        facts.version = "1.0.0";
        facts.tunnel = "simulated";
        facts.listen = "127.0.0.1:9009";
        facts.rules = {"[callers] read in F", "[callers] change in F", "[secrets] show-to in F"};
        facts.rpcCalls = &rpcCalls;
        facts.rpcClients = [] { return std::size_t{0}; };
        facts.rpcRefused = [] { return std::uint64_t{0}; };
        facts.controlClients = [this] { return listener->clientCount(); };
        facts.controlTurnedAway = [this] { return listener->turnedAway(); };
        open(exampleSettings());
    }
    void TearDown() override
    {
        listener.reset();
        service.reset();
        std::filesystem::remove_all(folder);
    }

    // Anew, with the user of this test in the place that the rules give it.
    void open(const vpnd::VpnSettings& settings,
              vpnd::AccessRules access = vpnd::AccessRules::standard(::geteuid()))
    {
        listener.reset();
        service.reset();
        begin(settings, std::move(access));
        service.emplace(loop(), controller(), history(), log(), facts);
        listener.emplace(loop(), path(), *service, log());
        service->onNews([this] { listener->goOn(); });
    }
    std::string path() const { return folder + "/control.sock"; }

    template <class Condition>
    bool soon(Condition condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) return false;
            loop().turn(1);
        }
        return true;
    }
    // Lets everything happen that can happen without time passing.
    void work()
    {
        for (int idle = 0; idle < 3;) idle = loop().turn(0) ? 0 : idle + 1;
    }

    static std::string request(const std::string& line, const std::string& body = {},
                               const std::string& headers = {})
    {
        return line + " HTTP/1.1\r\nHost: localhost\r\n" + headers +
               (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") +
               "\r\n" + body;
    }
    HttpResponse response(UnixClient& client)
    {
        std::optional<HttpResponse> whole;
        std::size_t end = 0;
        const bool came = soon([&] {
            if (stores) store().answerAll();
            whole = responseIn(client.received(), end);
            return whole.has_value() || client.closed();
        });
        EXPECT_TRUE(came && whole) << client.received();
        if (!whole) return {};
        client.take(end);
        return *whole;
    }
    HttpResponse ask(const std::string& line, const std::string& body = {},
                     const std::string& headers = {})
    {
        UnixClient client(path());
        client.send(request(line, body, headers));
        return response(client);
    }
    nlohmann::json status() { return ask("GET /v1/status").json(); }

    // All events that a reader has got so far.
    std::vector<ServerEvent> events(UnixClient& client)
    {
        pass(10);
        work();
        const std::string& text = client.received();
        const std::size_t begin = text.find("\r\n\r\n");
        if (begin == std::string::npos) return {};
        std::size_t end = 0;
        bool isWhole = false;
        return eventsIn(dechunked(text, begin + 4, end, isWhole));
    }
    UnixClient reader(const std::string& query = {}, const std::string& headers = {})
    {
        UnixClient client(path());
        client.send(request("GET /v1/events" + query, {}, headers));
        work();
        return client;
    }

    bool stores = true;  // at once, while a response is waited for
    std::string folder;
    vpnd::ControlFacts facts;
    std::vector<vpnd::CallCounter> rpcCalls;
    std::optional<vpnd::ControlService> service;
    std::optional<vpnd::ControlListener> listener;
};
