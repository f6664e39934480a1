#include "common/Reasons.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace common
{

const std::vector<ReasonText>& reasons()
{
    static const std::vector<ReasonText> all = {
        {Reason::kCredentialsRefused, "credentials-refused", Effect::kFault,
         "The server refused the user name or the password.", "服务器拒绝了用户名或密码。",
         "Set the right user name and password; the tunnel then tries again by itself.",
         "请设置正确的用户名和密码，设置后隧道会自动重试。"},
        {Reason::kCertificateUntrusted, "certificate-untrusted", Effect::kFault,
         "The server's certificate is not signed by the stored CA.",
         "服务器证书不是由已保存的 CA 签发的。",
         "Set the CA certificate of this server, or correct the server's address.",
         "请设置该服务器的 CA 证书，或更正服务器地址。"},
        {Reason::kAccountRefused, "account-refused", Effect::kFault,
         "The server refuses this account.", "服务器拒绝此账户。",
         "Ask the server's administrator; the server's own words tell more. Then start again.",
         "请联系服务器管理员，服务器的原文给出更多信息；处理后请重新启动。"},
        {Reason::kSecondFactor, "second-factor", Effect::kFault,
         "The server asks for a second factor, which a panel cannot give.",
         "服务器要求第二验证因素，面板无法提供。",
         "Have the server's administrator exempt this account from the second factor.",
         "请服务器管理员为此账户免除第二验证因素。"},
        {Reason::kCertificateExpired, "certificate-expired", Effect::kFault,
         "The server's certificate has expired.", "服务器证书已过期。",
         "Have the server's certificate renewed; check that the panel's clock is right.",
         "请更新服务器证书，并检查面板时钟是否正确。"},
        {Reason::kCertificateNotYetValid, "certificate-not-yet-valid", Effect::kFault,
         "The panel's clock is before the first day of the server's certificate.",
         "面板时钟早于服务器证书的生效日期。", "Set the panel's clock, then start again.",
         "请校准面板时钟，然后重新启动。"},
        {Reason::kNameNotResolved, "name-not-resolved", Effect::kRetry,
         "The server's name cannot be resolved.", "无法解析服务器名称。",
         "Check the server's name, the panel's network cable and its name server.",
         "请检查服务器名称、面板网线和域名服务器。"},
        {Reason::kServerUnreachable, "server-unreachable", Effect::kRetry,
         "There is no way to the server, or it refuses the connection.",
         "无法到达服务器，或服务器拒绝连接。",
         "Check address and port, the panel's gateway, and whether the server runs.",
         "请检查地址和端口、面板网关以及服务器是否运行。"},
        {Reason::kServerSilent, "server-silent", Effect::kRetry, "The server does not answer.",
         "服务器没有应答。",
         "Check address, port and transport, and whether a firewall drops the packets.",
         "请检查地址、端口和传输方式，以及防火墙是否丢弃数据包。"},
        {Reason::kRouteRefused, "route-refused", Effect::kFault,
         "The server's routes or address do not fit this panel.",
         "服务器下发的路由或地址不适用于此面板。",
         "Have the server's routes changed, or allow them in the service's configuration.",
         "请修改服务器下发的路由，或在服务配置中允许这些路由。"},
        {Reason::kTunDenied, "tun-denied", Effect::kFault,
         "The system does not let the service open a tun device.", "系统不允许服务打开 tun 设备。",
         "Load the kernel module tun and give the service access to /dev/net/tun.",
         "请加载内核模块 tun，并授予服务访问 /dev/net/tun 的权限。"},
        {Reason::kProgramMissing, "program-missing", Effect::kFault,
         "openvpn is missing, or too old.", "缺少 openvpn，或其版本过旧。",
         "Install openvpn 2.6.11 or newer.", "请安装 openvpn 2.6.11 或更新版本。"},
        {Reason::kLoginUsedTwice, "login-used-twice", Effect::kRetry,
         "Another device uses the same login; the two push each other off the server.",
         "另一台设备使用了相同的登录名，两者互相被服务器断开。",
         "Give each device a login of its own.", "请为每台设备分配单独的登录名。"},
        {Reason::kSettingsMissing, "settings-missing", Effect::kIdle,
         "Server, user name or password are not set yet.", "尚未设置服务器、用户名或密码。",
         "Set what is missing; the tunnel then starts by itself.",
         "请补全缺少的设置，补全后隧道会自动启动。"},
    };
    return all;
}

const ReasonText& textOf(Reason reason)
{
    const ReasonText* found = findReason(static_cast<std::int32_t>(reason));
    if (found == nullptr) {
        throw std::out_of_range("no reason " + std::to_string(static_cast<std::int32_t>(reason)));
    }
    return *found;
}

const ReasonText* findReason(std::string_view name)
{
    const auto found = std::find_if(reasons().begin(), reasons().end(),
                                    [&](const ReasonText& each) { return each.name == name; });
    return found == reasons().end() ? nullptr : &*found;
}

const ReasonText* findReason(std::int32_t number)
{
    const auto found =
        std::find_if(reasons().begin(), reasons().end(),
                     [&](const ReasonText& each) { return each.number() == number; });
    return found == reasons().end() ? nullptr : &*found;
}

const std::vector<StateText>& states()
{
    static const std::vector<StateText> all = {
        {0, "disabled", "The VPN is disabled.", "VPN 已禁用。"},
        {1, "idle", "The VPN is idle.", "VPN 空闲。"},
        {2, "reaching", "Looking for the server.", "正在查找服务器。"},
        {3, "authenticating", "The server checks certificate and login.",
         "服务器正在检查证书和登录。"},
        {4, "configuring", "Address and routes are being set.", "正在设置地址和路由。"},
        {5, "connected", "Connected.", "已连接。"},
        {6, "reconnecting", "Waiting before the next attempt.", "等待下一次尝试。"},
        {7, "stopping", "The VPN is stopping.", "VPN 正在停止。"},
    };
    return all;
}

}  // namespace common
