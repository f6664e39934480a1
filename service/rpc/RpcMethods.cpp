#include "service/rpc/RpcMethods.h"

#include "service/core/Validation.h"
#include "service/pki/Pem.h"
#include "service/rpc/RpcCall.h"

#include <string>
#include <utility>

namespace vpnd
{
namespace
{

void change(const Request& request, const Controller::Done& done, SettingPlace place,
            std::string_view text)
{
    SettingsChange change;
    // Nothing is cleared over this interface.
    if (text.empty() || !change.assign(place, text)) {
        request.refused(Outcome::kInvalid);
        return done(Outcome::kInvalid);
    }
    request.controller.change(request.caller, change, done);
}

bool readServer(const Request& request, const std::string& address, std::int32_t port,
                SettingsChange& server)
{
    if (isServerAddress(address) && isPort(port)) {
        server.values.server = address;
        server.values.port = port;
        server.which.set(kServer).set(kPort);
        return true;
    }
    request.refused(Outcome::kInvalid, isPort(port) ? "address" : "port");
    return false;
}

void changeServerIP(const Request& request, const Controller::Done& done,
                    const std::string& address)
{
    change(request, done, kServer, address);
}

bool hasPassword(const Request& request) { return !request.controller.settings().password.empty(); }

bool checkPassword(const Request& request, const std::string& password)
{
    return request.controller.checkPassword(request.caller, request.method, password);
}

std::string getServerIP(const Request& request) { return request.controller.settings().server; }

void setServerIPAndPort(const Request& request, const Controller::Done& done,
                        const std::string& address, std::int32_t port)
{
    SettingsChange server;
    if (!readServer(request, address, port, server)) return done(Outcome::kInvalid);
    request.controller.change(request.caller, server, done);
}

void setVPNCA(const Request& request, const Controller::Done& done, const std::string& text)
{
    Certificates certificates = readCertificates(text);
    if (certificates.refusal != nullptr) {
        request.refused(Outcome::kInvalid, certificates.refusal);
        return done(Outcome::kInvalid);
    }
    SettingsChange change;
    change.values.certificates = std::move(certificates.pem);
    change.which.set(kCertificates);
    request.controller.change(request.caller, change, done);
}

void checkCommState(const Request& request, const Controller::Done& done)
{
    request.controller.lookAfterConnection();
    done(Outcome::kDone);
}

void setDeviceSn(const Request& request, const Controller::Done& done, const std::string& number)
{
    change(request, done, kDeviceNumber, number);
}

void startVPN(const Request& request, const Controller::Done& done, const std::string& address,
              std::int32_t port)
{
    SettingsChange server;
    if (!readServer(request, address, port, server)) return done(Outcome::kInvalid);
    request.controller.start(request.caller, request.method, server, done);
}

void stopVPN(const Request& request, const Controller::Done& done)
{
    request.controller.stop(request.caller, done);
}

void setBeatInterval(const Request& request, const Controller::Done& done, std::int32_t seconds)
{
    change(request, done, kBeatInterval, std::to_string(seconds));
}

std::int32_t statusOf(const Controller& controller)
{
    if (!controller.settings().enabled) return kStatusDisabled;
    switch (controller.tunnel().stage) {
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

DeviceInfo getDeviceVPNInfo(const Request& request)
{
    const Controller& controller = request.controller;
    DeviceInfo info;
    info.status = statusOf(controller);
    info.serverIP = controller.settings().server;
    info.serverPort = controller.settings().port;
    info.deviceName = controller.deviceName();
    info.vpnIP = controller.tunnel().vpnIp;
    info.beatInterval = controller.settings().beatIntervalS;
    return info;
}

void setVPNEnabled(const Request& request, const Controller::Done& done, bool enabled)
{
    request.controller.setEnabled(request.caller, enabled, done);
}

bool getVPNEnabled(const Request& request) { return request.controller.settings().enabled; }

void setOnline(const Request& request, const Controller::Done& done, bool online)
{
    request.controller.setOnline(request.caller, online, done);
}

std::int32_t getVpnState(const Request& request) { return request.controller.stateNumber(); }

std::string getProductSn(const Request& request) { return request.controller.serialNumber(); }

void setVPNPassword(const Request& request, const Controller::Done& done,
                    const std::string& password)
{
    change(request, done, kPassword, password);
}

std::string getVPNPassword(const Request& request)
{
    return request.controller.passwordFor(request.caller);
}

void setVPNUserName(const Request& request, const Controller::Done& done,
                    const std::string& userName)
{
    change(request, done, kUserName, userName);
}

std::string getVPNUserName(const Request& request)
{
    return request.controller.settings().userName;
}

template <auto Function>
constexpr MethodEntry reads(const char* name, Right right = Right::kRead)
{
    return {name, right, &Read<Function>::run};
}

template <auto Function, Answer How = Answer::kCode>
constexpr MethodEntry changes(const char* name)
{
    return {name, Right::kChange, &Change<Function, How>::run};
}

constexpr MethodEntry kMethods[] = {
    changes<&changeServerIP>("changeServerIP"),
    reads<&hasPassword>("hasPassword"),
    // Who may guess the password might as well set it.
    reads<&checkPassword>("checkPassword", Right::kChange),
    reads<&getServerIP>("getServerIP"),
    changes<&setServerIPAndPort, Answer::kServerCode>("setServerIPAndPort"),
    changes<&setVPNCA>("setVPNCA"),
    changes<&checkCommState, Answer::kNothing>("checkCommState"),
    changes<&setDeviceSn, Answer::kNothing>("setDeviceSn"),
    changes<&startVPN, Answer::kServerCode>("startVPN"),
    changes<&stopVPN>("stopVPN"),
    changes<&setBeatInterval>("setBeatInterval"),
    reads<&getDeviceVPNInfo>("getDeviceVPNInfo"),
    changes<&setVPNEnabled, Answer::kNothing>("setVPNEnabled"),
    reads<&getVPNEnabled>("getVPNEnabled"),
    changes<&setOnline>("setOnline"),
    reads<&getVpnState>("getVpnState"),
    reads<&getProductSn>("getProductSn"),
    changes<&setVPNPassword>("setVPNPassword"),
    // Never refused, so that a panel's cycle does not fail for it.
    reads<&getVPNPassword>("getVPNPassword", Right::kNone),
    changes<&setVPNUserName>("setVPNUserName"),
    reads<&getVPNUserName>("getVPNUserName"),
};
static_assert(sizeof kMethods / sizeof kMethods[0] == kMethodCount);

}  // namespace

const MethodEntry* methods() { return kMethods; }

const MethodEntry* findMethod(std::string_view name)
{
    for (const MethodEntry& entry : kMethods) {
        if (entry.name == name) return &entry;
    }
    return nullptr;
}

}  // namespace vpnd
