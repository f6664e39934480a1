#include "service/tunnel/SimulatedTunnel.h"

#include <algorithm>
#include <string>
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

bool isOfAccount(Reason reason)
{
    return reason == Reason::kCredentialsRefused || reason == Reason::kAccountRefused ||
           reason == Reason::kSecondFactor;
}

bool isOfCertificate(Reason reason)
{
    return reason == Reason::kCertificateUntrusted || reason == Reason::kCertificateExpired ||
           reason == Reason::kCertificateNotYetValid;
}

// That a server of this name plays.
Reason reasonOf(std::string_view server)
{
    if (endsWith(server, ".invalid")) return Reason::kNameNotResolved;
    if (endsWith(server, "untrusted.test")) return Reason::kCertificateUntrusted;
    for (const ReasonText& each : reasons()) {
        if (endsWith(server, std::string(each.name) + ".test")) return each.reason;
    }
    return Reason::kNone;
}

// The stage at whose end a tunnel finds out.
TunnelStage strikesIn(Reason reason)
{
    switch (reason) {
        case Reason::kNameNotResolved:
        case Reason::kServerUnreachable:
        case Reason::kServerSilent:
        case Reason::kProgramMissing:
            return TunnelStage::kReaching;
        case Reason::kRouteRefused:
        case Reason::kTunDenied:
            return TunnelStage::kConfiguring;
        case Reason::kLoginUsedTwice:
            return TunnelStage::kConnected;
        case Reason::kNone:
        case Reason::kCredentialsRefused:
        case Reason::kCertificateUntrusted:
        case Reason::kAccountRefused:
        case Reason::kSecondFactor:
        case Reason::kCertificateExpired:
        case Reason::kCertificateNotYetValid:
        case Reason::kSettingsMissing:
            break;
    }
    return TunnelStage::kAuthenticating;
}

const char* wordsAbout(Reason reason)
{
    if (reason == Reason::kAccountRefused) return "Account expired, please call the help desk";
    if (reason == Reason::kSecondFactor) return "Enter the code of your token";
    return "";
}

}  // namespace

SimulatedTunnel::SimulatedTunnel(EventLoop& loop)
    : m_loop(loop),
      m_timer(loop, [this] { advance(); }),
      m_trafficTimer(loop, [this] { reportTraffic(); })
{
}

void SimulatedTunnel::start(const TunnelConfig& config)
{
    advance();
    m_backOffMs = kFirstBackOffMs;
    if (m_started && m_stage != TunnelStage::kFault) {
        apply(config);
        poke();
        return;
    }
    m_started = true;
    m_config = config;
    m_reason = Reason::kNone;
    // A tunnel that is still going down comes up again when it is down.
    if (m_online && m_stage != TunnelStage::kStopping) connect(m_loop.nowMs());
    wake();
}

void SimulatedTunnel::stop()
{
    advance();
    m_started = false;
    if (isBusy()) {
        enterFor(TunnelStage::kStopping, m_loop.nowMs(), kStoppingMs);
    } else if (m_stage == TunnelStage::kFault) {
        enter(TunnelStage::kIdle);
    }
    wake();
}

void SimulatedTunnel::apply(const TunnelConfig& config)
{
    advance();
    const TunnelConfig before = std::exchange(m_config, config);
    if (!m_started) return;

    const bool otherServer = !sameServer(before, config);
    const bool otherCertificates = before.certificates != config.certificates;
    const std::int64_t nowMs = m_loop.nowMs();
    if (m_stage == TunnelStage::kFault) {
        const bool causeGone = (isOfAccount(m_reason) && !sameCredentials(before, config)) ||
                               (isOfCertificate(m_reason) && otherCertificates);
        if (otherServer || causeGone) {
            m_reason = Reason::kNone;
            connect(nowMs);
        }
    } else if (otherServer) {
        restart(nowMs);
    } else if (otherCertificates && isBusy()) {
        enterFor(TunnelStage::kReconnecting, nowMs, kReconnectingMs);
    }
    wake();
}

bool SimulatedTunnel::dropsFor(const TunnelConfig& config) const
{
    return m_started && isBusy() &&
           (!sameServer(m_config, config) || m_config.certificates != config.certificates);
}

void SimulatedTunnel::setOnline(bool online)
{
    advance();
    if (online == m_online) return;
    m_online = online;
    if (!m_started || m_stage == TunnelStage::kStopping) return;
    if (online) {
        enterFor(TunnelStage::kReconnecting, m_loop.nowMs(), kReconnectingMs);
    } else {
        enter(TunnelStage::kIdle);
    }
    wake();
}

void SimulatedTunnel::poke()
{
    advance();
    if (m_stage == TunnelStage::kReconnecting) connect(m_loop.nowMs());
    wake();
}

// Goes through all stages whose time is over, each from the moment at which the
// one before it ended, so that it does not matter how late the loop is.
void SimulatedTunnel::advance()
{
    const std::int64_t nowMs = m_loop.nowMs();
    while (m_untilMs && *m_untilMs <= nowMs) leaveTimedStage();
    wake();
}

void SimulatedTunnel::leaveTimedStage()
{
    const std::int64_t atMs = *m_untilMs;
    if (m_simulation.stage == m_stage) return m_untilMs.reset();
    const Reason reason = verdict();
    if (reason != Reason::kNone && strikesIn(reason) == m_stage) return fail(atMs, reason);
    switch (m_stage) {
        case TunnelStage::kReaching:
            enterFor(TunnelStage::kAuthenticating, atMs, kAuthenticatingMs);
            break;
        case TunnelStage::kAuthenticating:
            enterFor(TunnelStage::kConfiguring, atMs, kConfiguringMs);
            break;
        case TunnelStage::kConfiguring:
            m_backOffMs = kFirstBackOffMs;
            m_reason = Reason::kNone;
            m_traffic = Traffic();
            if (reason == Reason::kLoginUsedTwice) {
                enterFor(TunnelStage::kConnected, atMs, kTwinMs);
            } else {
                enter(TunnelStage::kConnected);
            }
            m_trafficTimer.start(played(kTrafficMs));
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
    if (stage == TunnelStage::kIdle || stage == TunnelStage::kStopping) m_reason = Reason::kNone;
    m_untilMs.reset();
    m_trafficTimer.cancel();
    tell();
}

void SimulatedTunnel::enterFor(TunnelStage stage, std::int64_t atMs, std::int64_t durationMs)
{
    enter(stage);
    m_untilMs = atMs + played(durationMs);
}

// Has the loop call when the stage ends.
void SimulatedTunnel::wake()
{
    m_timer.cancel();
    if (m_untilMs) m_timer.start(*m_untilMs - m_loop.nowMs());
}

void SimulatedTunnel::tell()
{
    if (m_listener == nullptr) return;
    TunnelState state;
    state.stage = m_stage;
    state.reason = m_reason;
    if (m_stage == TunnelStage::kFault) state.serverWords = wordsAbout(m_reason);
    if (m_stage == TunnelStage::kConnected) state.vpnIp = kVpnIp;
    m_listener->onTunnelState(state);
}

void SimulatedTunnel::reportTraffic()
{
    m_traffic.receivedBytes += 2048;
    m_traffic.sentBytes += 1024;
    if (m_listener != nullptr) m_listener->onTraffic(m_traffic);
    m_trafficTimer.start(played(kTrafficMs));
}

void SimulatedTunnel::connect(std::int64_t atMs)
{
    const Reason reason = verdict();
    const bool isUnanswered = reason == Reason::kNameNotResolved || reason == Reason::kServerSilent;
    enterFor(TunnelStage::kReaching, atMs, isUnanswered ? kUnreachableMs : kReachingMs);
}

// By way of stopping, as a program that serves one server has to end first.
void SimulatedTunnel::restart(std::int64_t atMs)
{
    m_backOffMs = kFirstBackOffMs;
    if (isBusy()) enterFor(TunnelStage::kStopping, atMs, kStoppingMs);
}

void SimulatedTunnel::fail(std::int64_t atMs, Reason reason)
{
    m_reason = reason;
    if (textOf(reason).effect == Effect::kFault) return enter(TunnelStage::kFault);
    enterFor(TunnelStage::kReconnecting, atMs, m_backOffMs);
    m_backOffMs = std::min(m_backOffMs * 2, kMaxBackOffMs);
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

// Without a certificate it starts all the same: there is no server to check.
bool SimulatedTunnel::isComplete(const TunnelConfig& config) const
{
    return !config.server.empty() && !config.userName.empty() && !config.password.empty() &&
           reasonFor(config) != Reason::kSettingsMissing;
}

Reason SimulatedTunnel::verdict() const { return reasonFor(m_config); }

Reason SimulatedTunnel::reasonFor(const TunnelConfig& config) const
{
    if (m_simulation.reason != Reason::kNone) return m_simulation.reason;
    const Reason byServer = reasonOf(config.server);
    if (byServer != Reason::kNone) return byServer;
    const bool isWrong =
        beginsWith(config.userName, "wrong") || beginsWith(config.password, "wrong");
    return isWrong ? Reason::kCredentialsRefused : Reason::kNone;
}

void SimulatedTunnel::simulate(const Simulation& simulation)
{
    advance();
    m_simulation = simulation;
}

// At least a moment, so that stages follow one another and do not spin.
std::int64_t SimulatedTunnel::played(std::int64_t ms) const
{
    return std::max(static_cast<std::int64_t>(static_cast<double>(ms) / m_simulation.speed),
                    std::int64_t{1});
}

}  // namespace vpnd
