#include "service/VpnService.h"

#include "service/Pem.h"
#include "service/Validation.h"

#include <spdlog/fmt/fmt.h>

#include <utility>

namespace vpnd
{
namespace
{

constexpr const char* kNotStartedYet = "the tunnel cannot be started yet";

std::int32_t statusOf(TunnelStage stage)
{
    switch (stage) {
        case TunnelStage::kConnected:
            return kStatusConnected;
        case TunnelStage::kIdle:
        case TunnelStage::kStopping:
            return kStatusIdle;
        case TunnelStage::kReaching:
        case TunnelStage::kAuthenticating:
        case TunnelStage::kConfiguring:
        case TunnelStage::kReconnecting:
            return kStatusTrying;
        case TunnelStage::kFault:
            break;
    }
    return kStatusFault;
}

}  // namespace

VpnService::VpnService(VpnSettings settings, ISettingsStore& store, ITunnelBackend& tunnel,
                       Clock clock, CountedLog& log)
    : m_settings(std::move(settings)),
      m_stored(m_settings),
      m_store(store),
      m_tunnel(tunnel),
      m_clock(std::move(clock)),
      m_log(log)
{
    m_tunnel.setOnline(m_settings.online);
    if (isWanted() && !m_tunnel.start(config())) m_log.warn(kNotStartedYet);
}

std::int32_t VpnService::changeServerIP(const std::string& address)
{
    if (!isServerAddress(address)) return kInvalid;
    VpnSettings next = m_settings;
    next.server = address;
    return change(std::move(next), "server address");
}

bool VpnService::hasPassword() { return !m_settings.password.empty(); }

bool VpnService::checkPassword(const std::string& password)
{
    if (!mayTryPassword()) {
        m_log.warn("password check refused",
                   fmt::format("more than {} tries in a minute", kPasswordTries));
        return false;
    }
    const bool right = hasPassword() && equalsSecret(password, m_settings.password);
    m_log.info(right ? "password check: right" : "password check: wrong");
    return right;
}

std::string VpnService::getServerIP() { return m_settings.server; }

std::int32_t VpnService::setServerIPAndPort(const std::string& address, std::int32_t port)
{
    if (!isServerAddress(address) || !isPort(port)) return kInvalid;
    VpnSettings next = m_settings;
    next.server = address;
    next.port = port;
    return change(std::move(next), "server") == kDone ? kDone : kNotNow;
}

std::int32_t VpnService::setVPNCA(const std::string& text)
{
    Certificates certificates = readCertificates(text);
    if (certificates.refusal) {
        m_log.warn("certificate refused", certificates.refusal);
        return kInvalid;
    }
    std::string summary;
    for (const CertificateSummary& one : certificates.summaries) {
        if (!summary.empty()) summary += "; ";
        summary += one.subject + ", valid until " + one.notAfter;
    }
    VpnSettings next = m_settings;
    next.certificates = std::move(certificates.pem);
    return change(std::move(next), "certificate", summary);
}

void VpnService::checkCommState() { m_tunnel.poke(); }

void VpnService::setDeviceSn(const std::string& number)
{
    if (!isDeviceNumber(number)) {
        m_log.warn("device number refused",
                   fmt::format("not 1 to {} of the allowed characters", kMaxDeviceNumberBytes));
        return;
    }
    VpnSettings next = m_settings;
    next.deviceNumber = number;
    static_cast<void>(change(std::move(next), "device number"));  // no result to report it in
}

std::int32_t VpnService::startVPN(const std::string& address, std::int32_t port)
{
    if (!isServerAddress(address) || !isPort(port)) return kInvalid;
    if (!m_settings.enabled || !m_settings.online) return kNotNow;
    VpnSettings next = m_settings;
    next.server = address;
    next.port = port;
    next.connect = true;
    const bool isNews = !isInForce(next);
    if (!keep(next)) {
        m_log.error("start", "the settings could not be stored");
        return kNotNow;
    }
    const TunnelStage before = m_tunnel.state().stage;
    m_settings = std::move(next);
    const bool isStarted = m_tunnel.start(config());
    if (isNews || m_tunnel.state().stage != before) {
        m_log.info("start", fmt::format("{} port {}", m_settings.server, m_settings.port));
    }
    return isStarted ? kDone : kNotNow;
}

std::int32_t VpnService::stopVPN()
{
    VpnSettings next = m_settings;
    next.connect = false;
    const bool stored = switchTo(std::move(next), "stop");
    m_tunnel.stop();
    return stored ? kDone : kNotStored;
}

std::int32_t VpnService::setBeatInterval(std::int32_t seconds)
{
    if (!isBeatInterval(seconds)) return kInvalid;
    VpnSettings next = m_settings;
    next.beatIntervalS = seconds;
    return change(std::move(next), "beat interval");
}

DeviceInfo VpnService::getDeviceVPNInfo()
{
    const TunnelState tunnel = m_tunnel.state();
    DeviceInfo info;
    info.serverIP = m_settings.server;
    info.serverPort = m_settings.port;
    info.deviceName = m_settings.deviceName;
    info.vpnIP = tunnel.vpnIp;
    info.beatInterval = m_settings.beatIntervalS;
    info.status = m_settings.enabled ? statusOf(tunnel.stage) : kStatusDisabled;
    return info;
}

void VpnService::setVPNEnabled(bool enabled)
{
    const bool changes = enabled != m_settings.enabled;
    VpnSettings next = m_settings;
    next.enabled = enabled;
    switchTo(std::move(next), enabled ? "enable" : "disable");
    if (!changes) return;
    if (!enabled) {
        m_tunnel.stop();
    } else if (isWanted() && !m_tunnel.start(config())) {
        m_log.warn(kNotStartedYet);
    }
}

bool VpnService::getVPNEnabled() { return m_settings.enabled; }

std::int32_t VpnService::setOnline(bool online)
{
    VpnSettings next = m_settings;
    next.online = online;
    const bool stored = switchTo(std::move(next), online ? "online" : "offline");
    m_tunnel.setOnline(online);
    return stored ? kDone : kNotStored;
}

std::int32_t VpnService::getVpnState()
{
    if (!m_settings.enabled) return kStateDisabled;
    const TunnelState tunnel = m_tunnel.state();
    if (tunnel.stage == TunnelStage::kFault) {
        return kStateFaultBase + static_cast<std::int32_t>(tunnel.fault);
    }
    return static_cast<std::int32_t>(tunnel.stage);
}

std::string VpnService::getProductSn()
{
    return m_settings.deviceNumber.empty() ? m_settings.factorySerial : m_settings.deviceNumber;
}

std::int32_t VpnService::setVPNPassword(const std::string& password)
{
    if (!isCredential(password)) return kInvalid;
    VpnSettings next = m_settings;
    next.password = password;
    return change(std::move(next), "password");
}

std::string VpnService::getVPNPassword() { return m_settings.password; }

std::int32_t VpnService::setVPNUserName(const std::string& userName)
{
    if (!isCredential(userName)) return kInvalid;
    VpnSettings next = m_settings;
    next.userName = userName;
    return change(std::move(next), "user name");
}

std::string VpnService::getVPNUserName() { return m_settings.userName; }

TunnelConfig VpnService::config() const
{
    TunnelConfig config;
    config.server = m_settings.server;
    config.port = m_settings.port;
    config.userName = m_settings.userName;
    config.password = m_settings.password;
    config.certificates = m_settings.certificates;
    config.deviceNumber = m_settings.deviceNumber;
    config.beatIntervalS = m_settings.beatIntervalS;
    return config;
}

// A script may repeat the same command for ever; that must not wear out the memory. What
// is in force does not count here: a switch may be in force without being stored.
bool VpnService::keep(VpnSettings next)
{
    if (next == m_stored) return true;
    if (!m_store.save(next)) return false;
    m_stored = std::move(next);
    return true;
}

// Stores other settings and brings the tunnel to them; on failure all stays as it was.
std::int32_t VpnService::change(VpnSettings next, const char* what, std::string_view news)
{
    const bool isNews = !isInForce(next);
    if (!keep(next)) {
        m_log.error(what, "could not be stored");
        return kNotStored;
    }
    if (isNews) m_log.info(what, news);
    m_settings = std::move(next);
    m_tunnel.apply(config());
    return kDone;
}

// For the switches, which take effect also when they cannot be stored.
bool VpnService::switchTo(VpnSettings next, const char* what)
{
    const bool isNews = !isInForce(next);
    const bool stored = keep(next);
    if (!stored) {
        m_log.error(what, "could not be stored, in force all the same");
    } else if (isNews) {
        m_log.info(what);
    }
    m_settings = std::move(next);
    return stored;
}

bool VpnService::mayTryPassword()
{
    const std::int64_t nowMs = m_clock();
    std::optional<std::int64_t>& oldest = m_triesMs[m_nextTry];
    if (oldest && nowMs - *oldest < kPasswordTriesWithinMs) return false;
    oldest = nowMs;
    m_nextTry = (m_nextTry + 1) % m_triesMs.size();
    return true;
}

}  // namespace vpnd
