#pragma once

#include "platform/RpcServer.h"
#include "service/base/CountedLog.h"
#include "service/base/EventLoop.h"
#include "service/core/Controller.h"
#include "service/rpc/RpcService.h"
#include "service/rpc/VpnValues.h"
#include "service/tunnel/SimulatedTunnel.h"
#include "tests/service/RawBlocks.h"
#include "tests/service/TestStore.h"

#include <gtest/gtest.h>
#include <spdlog/spdlog.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

// Such that every channel shows something.
inline vpnd::VpnSettings exampleSettings()
{
    vpnd::VpnSettings settings;
    settings.server = "vpn.example.com";
    settings.userName = "exampleuser";
    settings.password = "example123";
    return settings;
}

// The controller over a simulated tunnel whose clock the test turns.
class ControllerFixture : public testing::Test
{
protected:
    // A new one with these settings stored, at the present time.
    void begin(const vpnd::VpnSettings& settings, vpnd::AccessRules access = kOwner,
               bool areStored = true, bool isHeld = false)
    {
        m_controller.reset();
        m_history.reset();
        m_tunnel.reset();
        m_store = TestStore(settings);
        m_tunnel.emplace(m_loop);
        m_history.emplace(
            m_loop, m_store, [this] { return wallMs; }, vpnd::HistoryBounds(),
            std::vector<vpnd::HistoryEntry>());
        m_controller.emplace(
            vpnd::Controller::Parts{m_store, *m_tunnel, *m_history, m_log, m_clock},
            vpnd::Controller::Beginning{settings, areStored, isHeld},
            vpnd::Identity{"panel", "ORVA-000001"}, std::move(access));
    }

    void SetUp() override
    {
        spdlog::set_level(spdlog::level::off);
        begin(exampleSettings());
    }

    void pass(std::int64_t ms)
    {
        m_nowMs += ms;
        m_loop.turn(0);
    }
    // Until a connect or a stop is certainly over.
    void settle() { pass(2000); }

    vpnd::Controller& controller() { return *m_controller; }
    vpnd::History& history() { return *m_history; }
    TestStore& store() { return m_store; }
    vpnd::EventLoop& loop() { return m_loop; }
    vpnd::CountedLog& log() { return m_log; }

    // A user who may do everything.
    static constexpr uid_t kOwnerUid = 1000;
    static inline const vpnd::AccessRules kOwner = vpnd::AccessRules::standard(kOwnerUid);

    std::int64_t wallMs = 1'700'000'000'000;

private:
    std::int64_t m_nowMs = 1000;
    const vpnd::Clock m_clock = [this] { return m_nowMs; };
    vpnd::EventLoop m_loop{m_clock};
    vpnd::CountedLog m_log{m_loop};
    TestStore m_store;
    std::optional<vpnd::SimulatedTunnel> m_tunnel;
    std::optional<vpnd::History> m_history;
    std::optional<vpnd::Controller> m_controller;
};

// A call on its way: takes its result at once or later.
class TestCall final : public vpnd::IPendingCall, private vpnd::IAwaitsReply
{
public:
    ~TestCall()
    {
        if (m_ticket) m_ticket->cancel();
    }

    vpnd::LaterReply answerLater() override
    {
        if (!m_ticket) m_ticket = std::make_shared<vpnd::LaterReply::Ticket>(owner());
        return vpnd::LaterReply(m_ticket);
    }

    // The result block; "refused: …" for a call that was refused; nothing so far.
    std::optional<std::string> answer;

    void take(const char* refusal, const QZ::RPC::ByteBuffer& result)
    {
        const std::string written(result.bytes().begin(), result.bytes().end());
        if (refusal != nullptr) {
            EXPECT_EQ(written, "") << "a refused call has no result";
        }
        answer = refusal == nullptr ? written : std::string("refused: ") + refusal;
    }

private:
    void reply(const QZ::RPC::ResultWriter& write) override
    {
        QZ::RPC::ByteBuffer result;
        const char* const refusal = write(result);
        take(refusal, result);
    }
    void forsake() override { answer = "refused: forsaken"; }
    vpnd::IAwaitsReply& owner() { return *this; }

    std::shared_ptr<vpnd::LaterReply::Ticket> m_ticket;
};

// The service over it. Calls go in and come out as blocks.
class ServiceFixture : public ControllerFixture, public QZ::RPC::IDispatcher
{
public:
    // For a session; what would be answered later is answered now.
    const char* dispatch(std::string_view method, QZ::utils::IBuffer& args,
                         QZ::utils::IBuffer& result) override
    {
        TestCall call;
        const char* const refusal = m_service->handle(peer, method, args, result, call);
        EXPECT_NE(refusal, QZ::RPC::kAnswersLater);
        return refusal;
    }

protected:
    void begin(const vpnd::VpnSettings& settings, vpnd::AccessRules access = kOwner,
               bool areStored = true, bool isHeld = false)
    {
        m_service.reset();
        ControllerFixture::begin(settings, std::move(access), areStored, isHeld);
        m_service.emplace(controller(), log());
    }

    void SetUp() override
    {
        ControllerFixture::SetUp();
        begin(exampleSettings());
    }

    void startCall(TestCall& call, const std::string& method, const std::string& block)
    {
        QZ::RPC::ByteBuffer result;
        // On the heap with its exact size, so that a sanitizer sees every byte read too many.
        const std::unique_ptr<unsigned char[]> bytes(new unsigned char[block.size()]);
        block.copy(reinterpret_cast<char*>(bytes.get()), block.size());
        QZ::RPC::ByteView args(bytes.get(), block.size());
        const char* const refusal = m_service->handle(peer, method, args, result, call);
        if (refusal != QZ::RPC::kAnswersLater) call.take(refusal, result);
    }

    // The result block of a call, which is stored meanwhile when it has to be.
    std::string call(const std::string& method, const std::string& block = raw::args())
    {
        TestCall call;
        startCall(call, method, block);
        if (!call.answer) store().answerAll();
        return call.answer.value_or("no answer");
    }

    std::int32_t state() { return controller().stateNumber(); }
    std::int32_t status() { return byteAt(call("getDeviceVPNInfo"), 4 + 13); }
    // What the controller would tell in the record.
    struct Info {
        std::string serverIP;
        std::int32_t serverPort;
        std::string vpnIP;
        std::int32_t beatInterval;
    };
    Info info()
    {
        const vpnd::VpnSettings& settings = controller().settings();
        return {settings.server, settings.port, controller().tunnel().vpnIp,
                settings.beatIntervalS};
    }
    vpnd::RpcService& service() { return *m_service; }

    vpnd::Peer peer{kOwnerUid};

private:
    static std::int32_t byteAt(const std::string& text, std::size_t at)
    {
        return static_cast<unsigned char>(text.at(at));
    }

    std::optional<vpnd::RpcService> m_service;
};
