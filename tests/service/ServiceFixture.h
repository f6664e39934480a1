#pragma once

#include "platform/RpcWire.h"
#include "service/CountedLog.h"
#include "service/EventLoop.h"
#include "service/SimulatedTunnel.h"
#include "service/VpnService.h"
#include "tests/service/RawBlocks.h"

#include <gtest/gtest.h>
#include <spdlog/spdlog.h>

#include <cstdint>
#include <memory>
#include <string>

// A store that counts and can be told to fail.
class TestStore final : public vpnd::ISettingsStore
{
public:
    [[nodiscard]] bool save(const vpnd::VpnSettings& settings) override
    {
        ++tries;
        if (fails) return false;
        ++saves;
        saved = settings;
        return true;
    }

    bool fails = false;
    int tries = 0;
    int saves = 0;            // the tries that did not fail
    vpnd::VpnSettings saved;  // what it holds
};

// The service over a simulated tunnel whose clock the test turns. Calls go in
// and come out as blocks.
class ServiceFixture : public testing::Test
{
protected:
    // A new service with these settings, at the present time.
    void begin(const vpnd::VpnSettings& settings)
    {
        m_service.reset();
        m_tunnel = std::make_unique<vpnd::SimulatedTunnel>(m_clock);
        m_service =
            std::make_unique<vpnd::VpnService>(settings, m_store, *m_tunnel, m_clock, m_log);
    }

    void SetUp() override
    {
        spdlog::set_level(spdlog::level::off);
        begin(vpnd::VpnSettings());
    }

    void pass(std::int64_t ms) { m_nowMs += ms; }
    // Until a connect or a stop is certainly over.
    void settle() { pass(2000); }

    // The result block of a call; "refused: …" for one that was refused.
    std::string call(const std::string& method, const std::string& block = raw::args())
    {
        QZ::RPC::ByteBuffer result;
        // On the heap with its exact size, so that a sanitizer sees every byte read too many.
        const std::unique_ptr<unsigned char[]> bytes(new unsigned char[block.size()]);
        block.copy(reinterpret_cast<char*>(bytes.get()), block.size());
        QZ::RPC::ByteView args(bytes.get(), block.size());
        const char* refusal = m_service->dispatch(method, args, result);
        const std::string written(result.bytes().begin(), result.bytes().end());
        if (!refusal) return written;
        EXPECT_EQ(written, "") << "a refused call has no result";
        return std::string("refused: ") + refusal;
    }

    std::int32_t state()
    {
        const std::string result = call("getVpnState");
        EXPECT_EQ(result.size(), 4u + 3u + 4u);
        return static_cast<std::int32_t>(static_cast<unsigned char>(result[7]));
    }

    vpnd::DeviceInfo info() { return m_service->getDeviceVPNInfo(); }
    std::int32_t status() { return info().status; }
    vpnd::VpnService& service() { return *m_service; }
    TestStore& store() { return m_store; }
    vpnd::EventLoop& loop() { return m_loop; }
    vpnd::CountedLog& log() { return m_log; }

private:
    std::int64_t m_nowMs = 1000;
    const vpnd::Clock m_clock = [this] { return m_nowMs; };
    vpnd::EventLoop m_loop{m_clock};
    vpnd::CountedLog m_log{m_loop};
    TestStore m_store;
    std::unique_ptr<vpnd::SimulatedTunnel> m_tunnel;
    std::unique_ptr<vpnd::VpnService> m_service;
};
