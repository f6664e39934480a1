#include "service/SimulatedTunnel.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace vpnd
{
namespace
{

bool endsWith(std::string_view text, std::string_view end)
{
    return text.size() >= end.size() && text.substr(text.size() - end.size()) == end;
}

bool beginsWith(std::string_view text, std::string_view begin)
{
    return text.substr(0, begin.size()) == begin;
}

bool sameServer(const TunnelConfig& a, const TunnelConfig& b)
{
    return a.server == b.server && a.port == b.port;
}

bool sameCredentials(const TunnelConfig& a, const TunnelConfig& b)
{
    return a.userName == b.userName && a.password == b.password;
}

}  // namespace

SimulatedTunnel::SimulatedTunnel(Clock clock) : m_clock(std::move(clock)) {}

bool SimulatedTunnel::start(const TunnelConfig& config)
{
    advance();
    // Without a certificate it starts all the same: there is no server to check.
    if (config.userName.empty() || config.password.empty()) return false;
    m_backOffMs = kFirstBackOffMs;
    if (m_started && m_stage != TunnelStage::kFault) {
        apply(config);
        poke();
        return true;
    }
    m_started = true;
    m_config = config;
    // A tunnel that is still going down comes up again when it is down.
    if (m_online && m_stage != TunnelStage::kStopping) connect(m_clock());
    return true;
}

void SimulatedTunnel::stop()
{
    advance();
    m_started = false;
    if (isBusy()) {
        enterFor(TunnelStage::kStopping, m_clock(), kStoppingMs);
    } else if (m_stage == TunnelStage::kFault) {
        enter(TunnelStage::kIdle);
    }
}

void SimulatedTunnel::apply(const TunnelConfig& config)
{
    advance();
    const TunnelConfig before = std::exchange(m_config, config);
    if (!m_started) return;

    const bool otherServer = !sameServer(before, config);
    const bool otherCertificates = before.certificates != config.certificates;
    if (m_stage == TunnelStage::kFault) {
        const bool causeGone = m_fault == FaultReason::kCredentials
                                   ? !sameCredentials(before, config)
                                   : otherCertificates;
        if (otherServer || causeGone) connect(m_clock());
    } else if (otherServer) {
        restart(m_clock());
    } else if (otherCertificates && isBusy()) {
        enterFor(TunnelStage::kReconnecting, m_clock(), kReconnectingMs);
    }
}

void SimulatedTunnel::setOnline(bool online)
{
    advance();
    if (online == m_online) return;
    m_online = online;
    if (!m_started || m_stage == TunnelStage::kStopping) return;
    if (online) {
        enterFor(TunnelStage::kReconnecting, m_clock(), kReconnectingMs);
    } else {
        enter(TunnelStage::kIdle);
    }
}

void SimulatedTunnel::poke()
{
    advance();
    if (m_stage == TunnelStage::kReconnecting) connect(m_clock());
}

TunnelState SimulatedTunnel::state()
{
    advance();
    TunnelState state;
    state.stage = m_stage;
    state.fault = m_fault;
    if (m_stage == TunnelStage::kConnected) state.vpnIp = kVpnIp;
    return state;
}

// Goes through all stages whose time is over, each from the moment at which the
// one before it ended, so that it does not matter how often anybody looks.
void SimulatedTunnel::advance()
{
    const std::int64_t nowMs = m_clock();
    while (m_untilMs && *m_untilMs <= nowMs) leaveTimedStage();
}

void SimulatedTunnel::leaveTimedStage()
{
    const std::int64_t atMs = *m_untilMs;
    switch (m_stage) {
        case TunnelStage::kReaching:
            if (neverResolves()) {
                enterFor(TunnelStage::kReconnecting, atMs, m_backOffMs);
                m_backOffMs = std::min(m_backOffMs * 2, kMaxBackOffMs);
            } else {
                enterFor(TunnelStage::kAuthenticating, atMs, kAuthenticatingMs);
            }
            break;
        case TunnelStage::kAuthenticating:
            if (verdict() != FaultReason::kNone) {
                fail(verdict());
            } else {
                enterFor(TunnelStage::kConfiguring, atMs, kConfiguringMs);
            }
            break;
        case TunnelStage::kConfiguring:
            enter(TunnelStage::kConnected);
            m_backOffMs = kFirstBackOffMs;
            break;
        case TunnelStage::kReconnecting:
            connect(atMs);
            break;
        case TunnelStage::kStopping:
            if (m_started && m_online) {
                connect(atMs);
            } else {
                enter(TunnelStage::kIdle);
            }
            break;
        case TunnelStage::kIdle:
        case TunnelStage::kConnected:
        case TunnelStage::kFault:
            m_untilMs.reset();
            break;
    }
}

void SimulatedTunnel::enter(TunnelStage stage)
{
    m_stage = stage;
    m_fault = FaultReason::kNone;
    m_untilMs.reset();
}

void SimulatedTunnel::enterFor(TunnelStage stage, std::int64_t atMs, std::int64_t durationMs)
{
    enter(stage);
    m_untilMs = atMs + durationMs;
}

void SimulatedTunnel::connect(std::int64_t atMs)
{
    enterFor(TunnelStage::kReaching, atMs, neverResolves() ? kUnreachableMs : kReachingMs);
}

// By way of stopping, as a program that serves one server has to end first.
void SimulatedTunnel::restart(std::int64_t atMs)
{
    m_backOffMs = kFirstBackOffMs;
    if (isBusy()) enterFor(TunnelStage::kStopping, atMs, kStoppingMs);
}

void SimulatedTunnel::fail(FaultReason reason)
{
    enter(TunnelStage::kFault);
    m_fault = reason;
}

// Whether there is anything to take down.
bool SimulatedTunnel::isBusy() const
{
    switch (m_stage) {
        case TunnelStage::kReaching:
        case TunnelStage::kAuthenticating:
        case TunnelStage::kConfiguring:
        case TunnelStage::kConnected:
        case TunnelStage::kReconnecting:
            return true;
        case TunnelStage::kIdle:
        case TunnelStage::kStopping:
        case TunnelStage::kFault:
            break;
    }
    return false;
}

bool SimulatedTunnel::neverResolves() const { return endsWith(m_config.server, ".invalid"); }

FaultReason SimulatedTunnel::verdict() const
{
    if (endsWith(m_config.server, "untrusted.test")) return FaultReason::kCertificate;
    if (beginsWith(m_config.userName, "wrong") || beginsWith(m_config.password, "wrong")) {
        return FaultReason::kCredentials;
    }
    return FaultReason::kNone;
}

}  // namespace vpnd
