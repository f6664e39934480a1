#include "ctl/commands/RpcMethods.h"

#include "vpnclient/VPNRpcCtrlClient.h"

#include <algorithm>
#include <utility>

namespace ctl
{
namespace
{

using Client = VPNRpcCtrlClient;
using Text = QZ::utils::String;
using Values = std::vector<Json>;

template <class T>
T valueOf(const Json& value)
{
    if constexpr (std::is_same_v<T, Text>) {
        return Text(value.get<std::string>());
    } else {
        return value.get<T>();
    }
}

Json resultOf(const Text& text) { return static_cast<const std::string&>(text); }
Json resultOf(int number) { return number; }
Json resultOf(bool flag) { return flag; }
Json resultOf(const DeviceVPNInfo& info)
{
    return {{"status", info.status},         {"serverIP", info.serverIP},
            {"serverPort", info.serverPort}, {"deviceName", info.deviceName},
            {"vpnIP", info.vpnIP},           {"beatInterval", info.beatInterval}};
}

template <class Member>
struct Signature;
template <class Result, class... Arguments>
struct Signature<Result (Client::*)(Arguments...)> {
    template <Result (Client::*Operation)(Arguments...), std::size_t... I>
    static Json run(Client& client, [[maybe_unused]] const Values& values,
                    std::index_sequence<I...>)
    {
        if constexpr (std::is_void_v<Result>) {
            (client.*Operation)(valueOf<std::decay_t<Arguments>>(values.at(I))...);
            return nullptr;
        } else {
            return resultOf((client.*Operation)(valueOf<std::decay_t<Arguments>>(values.at(I))...));
        }
    }
    template <Result (Client::*Operation)(Arguments...)>
    static Json call(Client& client, const Values& values)
    {
        return run<Operation>(client, values, std::index_sequence_for<Arguments...>());
    }
};

template <auto Operation>
Json call(Client& client, const Values& values)
{
    return Signature<decltype(Operation)>::template call<Operation>(client, values);
}

}  // namespace

const std::vector<RpcMethod>& rpcMethods()
{
    using Kind = ArgumentKind;
    static const std::vector<RpcMethod> all = {
        {"changeServerIP",
         "set the server, the port stays",
         {{"ADDRESS", Kind::kText}},
         false,
         true,
         &call<&Client::changeServerIP>},
        {"hasPassword",
         "whether a VPN password is stored",
         {},
         false,
         false,
         &call<&Client::hasPassword>},
        {"checkPassword",
         "whether a password is the stored one",
         {{"PASSWORD", Kind::kSecret}},
         false,
         false,
         &call<&Client::checkPassword>},
        {"getServerIP", "the server", {}, false, false, &call<&Client::getServerIP>},
        {"setServerIPAndPort",
         "set server and port",
         {{"ADDRESS", Kind::kText}, {"PORT", Kind::kPort}},
         false,
         true,
         &call<&Client::setServerIPAndPort>},
        {"setVPNCA",
         "set the CA certificate, from a file or - for standard input",
         {{"FILE", Kind::kCertificateFile}},
         false,
         true,
         &call<&Client::setVPNCA>},
        {"checkCommState",
         "look after the connection now",
         {},
         false,
         false,
         &call<&Client::checkCommState>},
        {"setDeviceSn",
         "set the device number",
         {{"NUMBER", Kind::kText}},
         false,
         false,
         &call<&Client::setDeviceSn>},
        {"startVPN",
         "set server and port and start the tunnel",
         {{"ADDRESS", Kind::kText}, {"PORT", Kind::kPort}},
         false,
         true,
         &call<&Client::startVPN>},
        {"stopVPN", "stop the tunnel", {}, false, true, &call<&Client::stopVPN>},
        {"setBeatInterval",
         "set the heartbeat period",
         {{"SECONDS", Kind::kSeconds}},
         false,
         true,
         &call<&Client::setBeatInterval>},
        {"getDeviceVPNInfo",
         "settings and status at once",
         {},
         false,
         false,
         &call<&Client::getDeviceVPNInfo>},
        {"setVPNEnabled",
         "allow or forbid the tunnel",
         {{"on|off", Kind::kSwitch}},
         false,
         false,
         &call<&Client::setVPNEnabled>},
        {"getVPNEnabled",
         "whether the tunnel is allowed",
         {},
         false,
         false,
         &call<&Client::getVPNEnabled>},
        {"setOnline",
         "take the tunnel on or off line",
         {{"on|off", Kind::kSwitch}},
         false,
         true,
         &call<&Client::setOnline>},
        {"getVpnState", "the tunnel's state", {}, false, false, &call<&Client::getVpnState>},
        {"getProductSn", "the device number", {}, false, false, &call<&Client::getProductSn>},
        {"setVPNPassword",
         "set the VPN password",
         {{"PASSWORD", Kind::kSecret}},
         false,
         true,
         &call<&Client::setVPNPassword>},
        {"getVPNPassword", "the VPN password", {}, true, false, &call<&Client::getVPNPassword>},
        {"setVPNUserName",
         "set the VPN user name",
         {{"NAME", Kind::kText}},
         false,
         true,
         &call<&Client::setVPNUserName>},
        {"getVPNUserName", "the VPN user name", {}, false, false, &call<&Client::getVPNUserName>},
    };
    return all;
}

const RpcMethod* findRpcMethod(const std::string& name)
{
    const auto found = std::find_if(rpcMethods().begin(), rpcMethods().end(),
                                    [&](const RpcMethod& each) { return name == each.name; });
    return found == rpcMethods().end() ? nullptr : &*found;
}

}  // namespace ctl
