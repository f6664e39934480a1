#pragma once

#include "service/ITunnelBackend.h"

#include <optional>

namespace vpnd
{

// A tunnel that goes through all stages in believable time without touching the
// network. What it does is decided by its clock whenever it is looked at; no
// timer runs. Reserved inputs make it fail:
//   server name ending in ".invalid"      never resolves: stage 2 and 6 by turns, for ever
//   server name ending in "untrusted.test"  fault kCertificate while authenticating
//   user name or password that begins with "wrong"  fault kCredentials while authenticating
class SimulatedTunnel final : public ITunnelBackend
{
public:
    // Times of the stages, in milliseconds. The first three make up one connect.
    static constexpr std::int64_t kReachingMs = 400;
    static constexpr std::int64_t kAuthenticatingMs = 350;
    static constexpr std::int64_t kConfiguringMs = 250;
    static constexpr std::int64_t kStoppingMs = 300;
    static constexpr std::int64_t kReconnectingMs = 200;  // after a connection that was up
    static constexpr std::int64_t kUnreachableMs = 5000;  // until an attempt is given up
    // Wait after a failed attempt; doubles with each one.
    static constexpr std::int64_t kFirstBackOffMs = 2000;
    static constexpr std::int64_t kMaxBackOffMs = 30000;
    // Address inside the VPN while connected.
    static constexpr const char* kVpnIp = "10.8.0.6";

    explicit SimulatedTunnel(Clock clock);

    [[nodiscard]] bool start(const TunnelConfig& config) override;
    void stop() override;
    void apply(const TunnelConfig& config) override;
    void setOnline(bool online) override;
    void poke() override;
    TunnelState state() override;

private:
    void advance();
    void leaveTimedStage();
    void enter(TunnelStage stage);
    void enterFor(TunnelStage stage, std::int64_t atMs, std::int64_t durationMs);
    void connect(std::int64_t atMs);
    void restart(std::int64_t atMs);
    void fail(FaultReason reason);
    bool isBusy() const;
    bool neverResolves() const;
    FaultReason verdict() const;

    Clock m_clock;
    TunnelConfig m_config;
    bool m_started = false;
    bool m_online = true;
    TunnelStage m_stage = TunnelStage::kIdle;
    FaultReason m_fault = FaultReason::kNone;
    std::optional<std::int64_t> m_untilMs;  // end of the stage, for those that end by themselves
    std::int64_t m_backOffMs = kFirstBackOffMs;
};

}  // namespace vpnd
