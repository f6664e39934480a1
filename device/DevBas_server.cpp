#include "device/CommandArguments.h"
#include "device/DevBas.h"
#include "device/ServiceCall.h"
#include "host/StatusCodes.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <strings.h>

namespace
{

bool isAnyAddress(const QZ::utils::String& text) { return !text.empty(); }
bool isIpAddress(const QZ::utils::String& text) { return CDevBas::_CheckAddr(text.c_str()); }

// What SETVPNSERVER and STARTVPN differ in.
struct ServerCommand {
    bool (*accepts)(const QZ::utils::String& address);
    int (VPNRpcCtrlClient::*operation)(const QZ::utils::String& address, const int& port);
};

// Fills in what the command left out from the service's own settings, then
// calls the operation; the answer that goes into the result variable.
int callServer(ORVA_DATA& data, const ServerCommand& command, QZ::utils::String address, int port,
               bool portMissing)
{
    VPNRpcCtrlClient client(connectionOf(data));
    if (address.empty() || portMissing) {
        const DeviceVPNInfo info = client.getDeviceVPNInfo();
        if (address.empty()) address = info.serverIP;
        if (portMissing) port = info.serverPort;
    }
    if (!command.accepts(address)) return kAnswerInvalid;
    if (!CDevBas::_CheckPort(port)) return kAnswerInvalid;
    return (client.*command.operation)(address, port);
}

int runServerCommand(ORVA_DATA& data, const CString& text, const ServerCommand& command)
{
    const CommandArguments arguments(data, text, 3);
    if (!arguments.valid()) return kResultBadCommand;
    const QZ::utils::String address = arguments.text(0);
    int port = 0;
    const CommandArguments::Number read = arguments.readNumber(1, port);
    if (read == CommandArguments::Number::kMalformed) return arguments.refuse();

    const int answer =
        callServer(data, command, address, port, read == CommandArguments::Number::kMissing);
    const bool written = arguments.writeResult(answer);
    if (answer == kAnswerInvalid || !written) return kResultBadCommand;
    return answer == kAnswerNotNow ? kResultNotNow : kResultOk;
}

}  // namespace

int CDevBas::_SetVPNServer(ORVA_DATA& data, const CString& arguments)
{
    // On purpose unlike STARTVPN: host names and the like are the service's to judge.
    return runServerCommand(data, arguments,
                            {&isAnyAddress, &VPNRpcCtrlClient::setServerIPAndPort});
}

int CDevBas::_StartVPN(ORVA_DATA& data, const CString& arguments)
{
    return runServerCommand(data, arguments, {&isIpAddress, &VPNRpcCtrlClient::startVPN});
}

bool CDevBas::_CheckAddr(const char* text)
{
    if (text == nullptr) return false;
    in_addr address{};
    address.s_addr = inet_addr(text);
    return address.s_addr != INADDR_NONE && strcasecmp(text, inet_ntoa(address)) == 0;
}

bool CDevBas::_CheckPort(int port) { return port >= 1 && port <= 65535; }
