#pragma once

#include "platform/RpcServer.h"
#include "service/CountedLog.h"
#include "service/ITunnelBackend.h"
#include "service/VpnSettings.h"
#include "service/VpnValues.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vpnd
{

// The 21 methods over settings and tunnel. Everything is answered at once and
// from memory. No log line holds a password or a certificate; the subjects and last
// days of certificates that are set do appear. A call that changes nothing and is not
// refused writes none, but for checkPassword and its answer. One thread.
//
// Methods named set… judge their arguments and keep nothing of a call that they
// refuse. The switches (stopVPN, setVPNEnabled, setOnline) take effect also when
// they cannot be stored: whoever turns the tunnel off must find it off. The next
// call that changes or repeats a setting stores them too. What is stored already
// is not written again.
class VpnService final : public QZ::RPC::IDispatcher
{
public:
    // Tries of checkPassword that are looked at within one minute; others are answered false.
    static constexpr std::size_t kPasswordTries = 5;
    static constexpr std::int64_t kPasswordTriesWithinMs = 60 * 1000;

    // Borrows store, tunnel and log, which must outlive it. The settings are taken for
    // stored. Starts the tunnel when they say so.
    VpnService(VpnSettings settings, ISettingsStore& store, ITunnelBackend& tunnel, Clock clock,
               CountedLog& log);

    // A block that does not fit the method exactly, or an unknown method, is refused.
    const char* dispatch(std::string_view method, QZ::utils::IBuffer& args,
                         QZ::utils::IBuffer& result) override;

    // The methods, named as on the wire; results of type std::int32_t are the
    // codes of VpnValues.h unless stated otherwise.

    std::int32_t changeServerIP(const std::string& address);  // the port stays
    bool hasPassword();
    // Whether it is the stored one; takes equally long whatever the answer is.
    bool checkPassword(const std::string& password);
    std::string getServerIP();
    // A running tunnel moves to another server; with the same values it is left alone.
    // Never kNotStored: the driver would take it for success, so it is kNotNow here.
    std::int32_t setServerIPAndPort(const std::string& address, std::int32_t port);
    std::int32_t setVPNCA(const std::string& text);
    void checkCommState();
    void setDeviceSn(const std::string& number);
    // kNotNow when disabled, off line, not stored or without credentials, never
    // kNotStored. Does not wait for the connection.
    std::int32_t startVPN(const std::string& address, std::int32_t port);
    std::int32_t stopVPN();
    std::int32_t setBeatInterval(std::int32_t seconds);
    DeviceInfo getDeviceVPNInfo();
    void setVPNEnabled(bool enabled);
    bool getVPNEnabled();
    std::int32_t setOnline(bool online);
    std::int32_t getVpnState();  // kStateDisabled, a TunnelStage, or kStateFaultBase + FaultReason
    std::string getProductSn();
    std::int32_t setVPNPassword(const std::string& password);
    std::string getVPNPassword();
    std::int32_t setVPNUserName(const std::string& userName);
    std::string getVPNUserName();

private:
    bool isWanted() const { return m_settings.enabled && m_settings.connect; }
    TunnelConfig config() const;
    bool keep(VpnSettings next);
    // With these settings already in force, and stored, a call changes nothing.
    bool isInForce(const VpnSettings& next) const { return next == m_settings && next == m_stored; }
    std::int32_t change(VpnSettings next, const char* what, std::string_view news = "set");
    bool switchTo(VpnSettings next, const char* what);
    bool mayTryPassword();

    VpnSettings m_settings;  // in force
    VpnSettings m_stored;    // as the store last took them
    ISettingsStore& m_store;
    ITunnelBackend& m_tunnel;
    Clock m_clock;
    CountedLog& m_log;
    std::array<std::optional<std::int64_t>, kPasswordTries>
        m_triesMs;  // a ring, oldest at m_nextTry
    std::size_t m_nextTry = 0;
};

}  // namespace vpnd
