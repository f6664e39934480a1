#pragma once

#include "service/base/EventLoop.h"
#include "service/core/ISimulation.h"
#include "service/core/ITunnel.h"

#include <optional>
#include <string>

namespace vpnd
{

// A tunnel that goes through all stages in believable time without touching the network.
// Reserved inputs make it fail:
//   server name ending in "NAME.test"   the reason of this name in Reasons.h: a fault in the
//       stage where a real tunnel finds out, or attempts without end; "login-used-twice" loses
//       every connection after kTwinMs; "settings-missing" does not start
//   server name ending in "untrusted.test"  certificate-untrusted
//   server name ending in ".invalid"        name-not-resolved
//   user name or password that begins with "wrong"  credentials-refused
// simulate() does the same, whatever the settings are.
class SimulatedTunnel final : public ITunnel, private ISimulation
{
public:
    // Times of the stages, in milliseconds. The first three make up one connect.
    static constexpr std::int64_t kReachingMs = 400;
    static constexpr std::int64_t kAuthenticatingMs = 350;
    static constexpr std::int64_t kConfiguringMs = 250;
    static constexpr std::int64_t kStoppingMs = 300;
    static constexpr std::int64_t kReconnectingMs = 200;  // after a connection that was up
    static constexpr std::int64_t kUnreachableMs = 5000;  // until an attempt is given up
    static constexpr std::int64_t kTwinMs = 3000;         // until another device takes the login
    static constexpr std::int64_t kTrafficMs = 5000;      // from one report to the next
    // Wait after a failed attempt; doubles with each one.
    static constexpr std::int64_t kFirstBackOffMs = 2000;
    static constexpr std::int64_t kMaxBackOffMs = 30000;
    // Address inside the VPN while connected.
    static constexpr const char* kVpnIp = "10.8.0.6";

    explicit SimulatedTunnel(EventLoop& loop);

    void setListener(ITunnelEvents& listener) override { m_listener = &listener; }
    [[nodiscard]] bool isComplete(const TunnelConfig& config) const override;
    void start(const TunnelConfig& config) override;
    void stop() override;
    void apply(const TunnelConfig& config) override;
    bool dropsFor(const TunnelConfig& config) const override;
    void setOnline(bool online) override;
    void poke() override;
    ISimulation* simulation() override { return this; }

private:
    void advance();
    void leaveTimedStage();
    void enter(TunnelStage stage);
    void wake();
    void tell();
    void reportTraffic();
    void enterFor(TunnelStage stage, std::int64_t atMs, std::int64_t durationMs);
    void connect(std::int64_t atMs);
    void restart(std::int64_t atMs);
    void fail(std::int64_t atMs, Reason reason);
    bool isBusy() const;
    Reason verdict() const;
    Reason reasonFor(const TunnelConfig& config) const;
    std::int64_t played(std::int64_t ms) const;
    void simulate(const Simulation& simulation) override;
    const Simulation& simulation() const override { return m_simulation; }

    EventLoop& m_loop;
    ITunnelEvents* m_listener = nullptr;
    TunnelConfig m_config;
    Simulation m_simulation;
    bool m_started = false;
    bool m_online = true;
    TunnelStage m_stage = TunnelStage::kIdle;
    Reason m_reason = Reason::kNone;
    std::optional<std::int64_t> m_untilMs;  // end of the stage, for those that end by themselves
    std::int64_t m_backOffMs = kFirstBackOffMs;
    Traffic m_traffic;
    Timer m_timer;         // for m_untilMs
    Timer m_trafficTimer;  // while connected
};

}  // namespace vpnd
