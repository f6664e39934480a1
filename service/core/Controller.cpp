#include "service/core/Controller.h"

#include "service/core/States.h"
#include "service/core/Validation.h"

#include <spdlog/fmt/fmt.h>

#include <utility>

namespace vpnd
{
namespace
{

// What comes by on the way from one lasting state to another is not for everybody.
spdlog::level::level_enum levelOf(TunnelStage stage)
{
    switch (stage) {
        case TunnelStage::kReaching:
        case TunnelStage::kAuthenticating:
        case TunnelStage::kConfiguring:
        case TunnelStage::kStopping:
            return spdlog::level::debug;
        case TunnelStage::kFault:
            return spdlog::level::err;
        case TunnelStage::kReconnecting:
            return spdlog::level::warn;
        case TunnelStage::kIdle:
        case TunnelStage::kConnected:
            break;
    }
    return spdlog::level::info;
}

}  // namespace

Controller::Controller(Parts parts, Beginning beginning, Identity identity, AccessRules access)
    : m_parts(std::move(parts)),
      m_access(std::move(access)),
      m_identity(std::move(identity)),
      m_settings(std::move(beginning.settings)),
      m_stored(m_settings),
      m_isHeld(beginning.isHeld),
      m_stateSinceMs(m_parts.clock()),
      m_stateSinceWallMs(m_parts.history.wallNowMs())
{
    m_parts.tunnel.setListener(*this);
    bringTunnel(true);
    if (beginning.areStored) return;
    m_neverStored.set();
    // Nobody has chosen the defaults: what the configuration says another day still counts then.
    if (differences(m_settings, VpnSettings()).none()) return;
    Pending all;
    all.caller = theService();
    all.values = m_settings;
    all.asked.set();
    all.isSwitch = true;  // in force already
    all.done = [](Outcome) {};
    submit(std::move(all));
}

void Controller::setIdentity(Identity identity)
{
    m_identity = std::move(identity);
    bringTunnel(false);
}

bool Controller::admits(const Caller& caller, Right right, const char* request)
{
    const bool may = right == Right::kNone || (right == Right::kRead ? m_access.mayRead(caller)
                                                                     : m_access.mayChange(caller));
    if (!may) refused(caller, request, Outcome::kNotAllowed);
    return may;
}

void Controller::refused(const Caller& caller, const char* request, Outcome outcome,
                         std::string_view detail)
{
    if (outcome == Outcome::kNotAllowed) {
        const bool isRpc = caller.interface == Interface::kRpc;
        ++(isRpc ? m_counters.notAllowedRpc : m_counters.notAllowedControl);
    }
    HistoryEntry entry;
    entry.kind = EventKind::kRequest;
    entry.subject = request;
    entry.caller = caller;
    entry.outcome = outcome;
    entry.detail = detail;
    m_parts.log.warn(request, fmt::format("{}{}{}, asked by {}", nameOf(outcome),
                                          detail.empty() ? "" : ": ", detail, textOf(caller)));
    m_parts.history.add(std::move(entry));
}

std::string Controller::passwordFor(const Caller& caller) const
{
    if (m_access.maySeeSecrets(caller)) return m_settings.password;
    return m_access.masksSecrets ? kSecretMask : "";
}

std::string Controller::deviceName() const
{
    return m_settings.deviceName.empty() ? m_identity.name : m_settings.deviceName;
}

std::string Controller::serialNumber() const
{
    return m_settings.deviceNumber.empty() ? m_identity.serialNumber : m_settings.deviceNumber;
}

std::int32_t Controller::stateNumber() const
{
    if (!m_settings.enabled) return kStateDisabled;
    if (m_tunnelState.stage == TunnelStage::kFault) {
        return kStateFaultBase + static_cast<std::int32_t>(m_tunnelState.reason);
    }
    return static_cast<std::int32_t>(m_tunnelState.stage);
}

Controller::Effect Controller::effectOf(const SettingsChange& change) const
{
    const VpnSettings before = latest();
    VpnSettings after = before;
    copySettings(after, change.values, change.which);
    const TunnelStage stage = m_tunnelState.stage;
    const bool isUp = m_isStarted && m_settings.online && stage != TunnelStage::kFault;
    const bool staysWanted = after.enabled && after.online && after.connect;
    return {differences(before, after),
            isUp && (!staysWanted || m_parts.tunnel.dropsFor(configOf(after)))};
}

void Controller::beginAgain(const Caller& caller, std::string_view why)
{
    HistoryEntry entry;
    entry.kind = EventKind::kRequest;
    entry.subject = "simulate";
    entry.caller = caller;
    entry.detail = why;
    m_parts.log.info("simulate", fmt::format("{}, asked by {}", why, textOf(caller)));
    m_parts.history.add(std::move(entry));
    m_parts.tunnel.stop();
    bringTunnel(true);
}

bool Controller::checkPassword(const Caller& caller, const char* request, std::string_view password)
{
    if (!mayTryPassword()) {
        refused(caller, request, Outcome::kNotNow,
                fmt::format("more than {} tries in a minute", kPasswordTries));
        return false;
    }
    const bool right = !m_settings.password.empty() && equalsSecret(password, m_settings.password);
    HistoryEntry entry;
    entry.kind = EventKind::kRequest;
    entry.subject = request;
    entry.caller = caller;
    entry.detail = right ? "right" : "wrong";
    m_parts.log.info(right ? "password check: right" : "password check: wrong", textOf(caller));
    m_parts.history.add(std::move(entry));
    return right;
}

void Controller::onTunnelState(const TunnelState& state)
{
    if (state.stage != m_tunnelState.stage) {
        if (state.stage == TunnelStage::kReaching) ++m_counters.attempts;
        if (state.stage == TunnelStage::kConnected) {
            ++m_counters.connections;
            m_traffic = {};
        }
        const bool hasFailed =
            state.stage == TunnelStage::kFault || state.stage == TunnelStage::kReconnecting;
        const auto reason = static_cast<std::size_t>(state.reason);
        if (hasFailed && state.reason != Reason::kNone && reason < m_counters.faults.size()) {
            ++m_counters.faults[reason];
        }
    }
    m_tunnelState = state;
    report();
}

void Controller::onTraffic(const Traffic& traffic)
{
    // Of a connection; the counters go on over all of them.
    m_counters.receivedBytes += traffic.receivedBytes - m_traffic.receivedBytes;
    m_counters.sentBytes += traffic.sentBytes - m_traffic.sentBytes;
    m_traffic = traffic;
}

void Controller::takeOver(const VpnSettings& values, const SettingSet& which)
{
    const VpnSettings before = m_settings;
    copySettings(m_settings, values, which);
    if (differences(before, m_settings).none()) return;
    ++m_version;
    tell();
}

void Controller::tell()
{
    if (m_news) m_news();
}

void Controller::end()
{
    m_isEnding = true;
    m_parts.tunnel.stop();
}

// To the settings that are in force.
void Controller::bringTunnel(bool isStart)
{
    if (m_isEnding) return;
    m_parts.tunnel.setOnline(m_settings.online);
    const TunnelConfig next = config();
    const bool runs = isWanted() && m_parts.tunnel.isComplete(next);
    const bool wasStarted = std::exchange(m_isStarted, runs);
    if (!runs) {
        m_parts.tunnel.stop();
    } else if (isStart || !wasStarted) {
        m_parts.tunnel.start(next);
    } else {
        m_parts.tunnel.apply(next);
    }
    report();
}

// Adds the state to log and history when it is another one.
void Controller::report()
{
    if (m_tunnelState.stage == TunnelStage::kIdle) {
        m_tunnelState.reason =
            isWanted() && !m_isStarted ? Reason::kSettingsMissing : Reason::kNone;
    }
    HistoryEntry entry;
    entry.kind = EventKind::kState;
    entry.subject = m_settings.enabled ? nameOf(m_tunnelState.stage) : "disabled";
    entry.after = std::to_string(stateNumber());
    if (m_settings.enabled) {
        entry.reason = m_tunnelState.reason;
        const bool isConnected = m_tunnelState.stage == TunnelStage::kConnected;
        entry.detail = isConnected ? m_tunnelState.vpnIp : m_tunnelState.serverWords;
    }
    entry.before = m_reported.before;
    if (saysTheSame(entry, m_reported)) return;
    entry.before = m_reported.after;
    if (entry.after != m_reported.after) {
        m_stateSinceMs = m_parts.clock();
        m_stateSinceWallMs = m_parts.history.wallNowMs();
    }
    m_reported = entry;
    tell();

    std::string detail = entry.detail;
    if (entry.reason != Reason::kNone) {
        const ReasonText& reason = common::textOf(entry.reason);
        detail = fmt::format("{}: {}{}{}", reason.name, reason.english,
                             detail.empty() ? "" : " The server's words: ", detail);
    }
    const char* const kind = m_settings.enabled ? nameOf(m_tunnelState.stage) : "disabled";
    m_parts.log.note(m_settings.enabled ? levelOf(m_tunnelState.stage) : spdlog::level::info, kind,
                     detail);
    m_parts.history.add(std::move(entry));
}

TunnelConfig Controller::configOf(const VpnSettings& settings) const
{
    TunnelConfig config;
    config.server = settings.server;
    config.port = settings.port;
    config.userName = settings.userName;
    config.password = settings.password;
    config.certificates = settings.certificates;
    config.deviceNumber =
        settings.deviceNumber.empty() ? m_identity.serialNumber : settings.deviceNumber;
    config.deviceName = settings.deviceName.empty() ? m_identity.name : settings.deviceName;
    config.beatIntervalS = settings.beatIntervalS;
    return config;
}

bool Controller::mayTryPassword()
{
    const std::int64_t nowMs = m_parts.clock();
    std::optional<std::int64_t>& oldest = m_triesMs[m_nextTry];
    if (oldest && nowMs - *oldest < kPasswordTriesWithinMs) return false;
    oldest = nowMs;
    m_nextTry = (m_nextTry + 1) % m_triesMs.size();
    return true;
}

}  // namespace vpnd
