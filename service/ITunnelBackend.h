#pragma once

#include "service/Clock.h"

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
    kFault = 100,  // stopped trying, FaultReason says why
};

enum class FaultReason : std::int32_t {
    kNone = 0,
    kCredentials = 1,  // user name or password refused by the server
    kCertificate = 2,  // the server's certificate does not fit the CA
};

struct TunnelState {
    TunnelStage stage = TunnelStage::kIdle;
    FaultReason fault = FaultReason::kNone;  // other than kNone at kFault only
    std::string vpnIp;                       // empty unless connected
};

// Everything that a tunnel needs to know. Validated by whoever fills it in.
struct TunnelConfig {
    std::string server;
    std::int32_t port = 0;
    std::string userName;
    std::string password;
    std::string certificates;  // PEM; may be empty
    std::string deviceNumber;
    std::int32_t beatIntervalS = 0;
};

// One VPN tunnel. Every operation returns at once and nothing here waits for
// the network: the answers come from memory. One thread.
//   1. setOnline() says whether it may connect at all; it starts off as online.
//   2. start() connects and from then on keeps the connection up.
//   3. apply() brings it to other settings, stop() ends it; start() begins anew.
class ITunnelBackend
{
public:
    virtual ~ITunnelBackend() = default;

    // Connects with these settings. On a tunnel that runs unchanged it only ends
    // a wait before the next attempt; one that stands at a fault tries again.
    // False, with nothing started, when something that it needs is missing.
    [[nodiscard]] virtual bool start(const TunnelConfig& config) = 0;
    virtual void stop() = 0;

    // The settings have changed. A running tunnel takes them over in the
    // gentlest way: at once only where that is needed (another server, another
    // certificate, the cause of its fault), otherwise at its next attempt. Does
    // nothing to a tunnel whose settings are the same, or that is not started.
    virtual void apply(const TunnelConfig& config) = 0;

    // False takes the connection down and holds it; true lets it come back.
    virtual void setOnline(bool online) = 0;

    // Look after the connection now: a wait before the next attempt ends.
    virtual void poke() = 0;

    virtual TunnelState state() = 0;

protected:
    ITunnelBackend() = default;
    ITunnelBackend(const ITunnelBackend&) = default;
    ITunnelBackend& operator=(const ITunnelBackend&) = default;
};

}  // namespace vpnd
