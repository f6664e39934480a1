#pragma once

#include "service/core/Reasons.h"

#include <cstdint>
#include <string>

namespace vpnd
{

// How far the tunnel is; the numbers are those of getVpnState.
enum class TunnelStage : std::int32_t {
    kIdle = 1,            // not started, or held because the device is off line
    kReaching = 2,        // resolving the name, waiting for the server's first answer
    kAuthenticating = 3,  // the server answered; certificate and credentials are checked
    kConfiguring = 4,     // address and routes are being set
    kConnected = 5,
    kReconnecting = 6,  // lost or failed, waiting before the next attempt
    kStopping = 7,
    kFault = 100,  // stopped trying, the reason says why
};

// Longest words of a server that are kept, in bytes.
constexpr std::size_t kMaxServerWordsBytes = 256;

struct TunnelState {
    TunnelStage stage = TunnelStage::kIdle;
    // Why it is at a fault, or why the last attempt failed while it goes on trying.
    Reason reason = Reason::kNone;
    std::string serverWords;  // of the server about that, printable UTF-8; empty: it said none
    std::string vpnIp;        // empty unless connected
};

// Bytes through the tunnel since it was connected.
struct Traffic {
    std::uint64_t receivedBytes = 0;
    std::uint64_t sentBytes = 0;
};

// Who is told what the tunnel does.
class ITunnelEvents
{
public:
    // For each change, in their order; also from within start(), stop(), apply(),
    // setOnline() and poke(). Must not call the tunnel.
    virtual void onTunnelState(const TunnelState& state) = 0;
    // From time to time while connected.
    virtual void onTraffic(const Traffic& traffic) = 0;

protected:
    ~ITunnelEvents() = default;
};

// Everything that a tunnel needs to know. Validated by whoever fills it in.
struct TunnelConfig {
    std::string server;
    std::int32_t port = 0;
    std::string userName;
    std::string password;
    std::string certificates;  // PEM; may be empty
    std::string deviceNumber;
    std::string deviceName;
    std::int32_t beatIntervalS = 0;
};

class ISimulation;

// One VPN tunnel. Every operation returns at once, nothing here waits for the network;
// what becomes of it, the events tell. One thread.
//   1. setListener() says who is told; the state is TunnelState() then.
//   2. setOnline() says whether it may connect at all; it starts off as online.
//   3. start() connects and from then on keeps the connection up.
//   4. apply() brings it to other settings, stop() ends it; start() begins anew.
class ITunnel
{
public:
    virtual ~ITunnel() = default;

    // Borrowed; must outlive the tunnel's last event.
    virtual void setListener(ITunnelEvents& listener) = 0;

    // Whether there is all in it that a connection needs. start() and apply() take no other.
    [[nodiscard]] virtual bool isComplete(const TunnelConfig& config) const = 0;

    // Connects with these settings. On a tunnel that runs unchanged it only ends
    // a wait before the next attempt; one that stands at a fault tries again.
    virtual void start(const TunnelConfig& config) = 0;
    virtual void stop() = 0;

    // The settings have changed. A running tunnel takes them over in the
    // gentlest way: at once only where that is needed (another server, another
    // certificate, the cause of its fault), otherwise at its next attempt. Does
    // nothing to a tunnel whose settings are the same, or that is not started.
    virtual void apply(const TunnelConfig& config) = 0;

    // Whether apply() would take a connection down, or an attempt.
    virtual bool dropsFor(const TunnelConfig& config) const = 0;

    // False takes the connection down and holds it; true lets it come back.
    virtual void setOnline(bool online) = 0;

    // Look after the connection now: a wait before the next attempt ends.
    virtual void poke() = 0;

    // Null for a real tunnel.
    virtual ISimulation* simulation() { return nullptr; }

protected:
    ITunnel() = default;
    ITunnel(const ITunnel&) = default;
    ITunnel& operator=(const ITunnel&) = default;
};

}  // namespace vpnd
