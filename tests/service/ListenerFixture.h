#pragma once

#include "service/base/CountedLog.h"
#include "service/base/EventLoop.h"
#include "service/net/ListeningSocket.h"
#include "service/net/RpcListener.h"
#include "tests/service/EchoHandler.h"
#include "tests/service/LoopbackClient.h"
#include "tests/service/RawBlocks.h"

#include <gtest/gtest.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

// Server and clients in one thread: the server moves only while the test waits
// for something, and its clock only when the test says so.
class ListenerFixture : public testing::Test
{
protected:
    void SetUp() override
    {
        spdlog::set_level(spdlog::level::off);
        listen(vpnd::RpcListener::kMaxClients);
    }
    // Whose the clients are is asked elsewhere: it takes descriptors, memory and, where the
    // kernel has to be asked by its tables, time.
    void listen(std::size_t maxClients, vpnd::RpcListener::PeerOf peerOf = nullptr)
    {
        if (!peerOf && !asksTheKernel) peerOf = [](int) { return vpnd::Peer{::getuid()}; };
        m_listener.reset();
        m_listener = std::make_unique<vpnd::RpcListener>(
            m_loop, vpnd::listeningSocket(*vpnd::Endpoint::parse("127.0.0.1:0")), m_handler, m_log,
            maxClients, std::move(peerOf));
    }

    bool asksTheKernel = false;

    static std::string request(std::uint32_t callId)
    {
        return raw::request(callId, "echo", kBlock);
    }
    static std::string reply(std::uint32_t callId) { return raw::reply(callId, kBlock); }

    void pass(std::int64_t ms) { m_nowMs += ms; }

    // Lets the server work until the condition holds; false when it never does.
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
    bool answers(LoopbackClient& client, const std::string& expected)
    {
        const bool came = soon([&] { return client.received().size() >= expected.size(); });
        EXPECT_EQ(client.received(), expected);
        const bool right = came && client.received() == expected;
        client.forget();
        return right;
    }
    bool works(LoopbackClient& client)
    {
        client.send(request(77));
        return answers(client, reply(77));
    }
    bool isClosed(LoopbackClient& client)
    {
        return soon([&] { return client.closed(); });
    }
    // Connected and seen by the server.
    LoopbackClient connected(int receiveBufferBytes = 0)
    {
        LoopbackClient client(receiveBufferBytes);
        client.connect(port());
        loop().turn(1000);
        return client;
    }
    // Connected and answered.
    LoopbackClient served()
    {
        LoopbackClient client = connected();
        EXPECT_TRUE(works(client));
        return client;
    }

    // Sends requests until the server takes no more, because the client reads no answer;
    // how many of them have gone out in whole.
    std::size_t stall(LoopbackClient& client)
    {
        const std::string one = request(9);
        std::string left;
        std::size_t sentBytes = 0;
        for (int fruitless = 0; fruitless < 20; ++fruitless) {
            if (left.size() < one.size()) {
                for (int i = 0; i < 1000; ++i) left += one;
            }
            const std::size_t sent = client.trySend(left);
            left.erase(0, sent);
            sentBytes += sent;
            if (loop().turn(0) || sent > 0) fruitless = 0;
            if (sentBytes > 256u * 1024 * 1024) {
                ADD_FAILURE() << "the server hoards what it cannot answer";
                break;
            }
        }
        return sentBytes / one.size();
    }

    std::uint16_t port() const
    {
        const std::string text = m_listener->localEndpoint().text();
        return static_cast<std::uint16_t>(std::stoi(text.substr(text.rfind(':') + 1)));
    }
    std::unique_ptr<vpnd::RpcListener>& listener() { return m_listener; }
    EchoHandler& handler() { return m_handler; }
    vpnd::EventLoop& loop() { return m_loop; }
    vpnd::CountedLog& log() { return m_log; }

private:
    static constexpr const char* kBlock = "vpn.example.com";

    std::int64_t m_nowMs = 1000;
    const vpnd::Clock m_clock = [this] { return m_nowMs; };
    vpnd::EventLoop m_loop{m_clock};
    vpnd::CountedLog m_log{m_loop};
    EchoHandler m_handler;
    std::unique_ptr<vpnd::RpcListener> m_listener;
};
