#include "device/CommandArguments.h"
#include "device/DevBas.h"
#include "device/ServiceCall.h"
#include "host/StatusCodes.h"
#include "support/DevServer.h"

namespace
{

int putOnline(ORVA_DATA& data, const CString& text, bool online)
{
    const CommandArguments arguments(data, text, 1);
    if (!arguments.valid()) return kResultBadCommand;
    callService(data, &VPNRpcCtrlClient::setOnline, online);
    arguments.writeResult(kResultOk);
    return kResultOk;
}

// Reports an answer that means a refusal unless it is 0.
int reportAnswer(const CommandArguments& arguments, int answer, int refused)
{
    if (!arguments.writeResult(answer)) return kResultBadCommand;
    return answer == kAnswerDone ? kResultOk : refused;
}

}  // namespace

int CDevBas::_SetVPNCA(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid()) return kResultBadCommand;
    const int answer = callService(data, &VPNRpcCtrlClient::setVPNCA, fields.text(0));
    return reportAnswer(fields, answer, kResultRefused);
}

int CDevBas::_StopVPN(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 1);
    if (!fields.valid()) return kResultBadCommand;
    const int answer = callService(data, &VPNRpcCtrlClient::stopVPN);
    return reportAnswer(fields, answer, kResultRefused);
}

int CDevBas::_SetAliveTime(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid()) return kResultBadCommand;
    int interval = 0;
    if (fields.readNumber(0, interval) != CommandArguments::Number::kRead) return fields.refuse();
    const int answer = callService(data, &VPNRpcCtrlClient::setBeatInterval, interval);
    // On purpose unlike the others: a refused interval counts as a bad argument.
    return reportAnswer(fields, answer, kResultBadCommand);
}

int CDevBas::_SetDeviceSN(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid()) return kResultBadCommand;
    // On purpose stricter than a certificate: the name of a numeric variable is no device number.
    CString number;
    if (!fields.readText(0, number)) return fields.refuse();
    callService(data, &VPNRpcCtrlClient::setDeviceSn, QZ::utils::String(number));
    return fields.writeResult(kResultOk) ? kResultOk : kResultBadCommand;
}

int CDevBas::_RefreshData(ORVA_DATA& data)
{
    callService(data, &VPNRpcCtrlClient::checkCommState);
    return kResultOk;
}

int CDevBas::_ActivateVPN(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid()) return kResultBadCommand;
    // On purpose no literal: the switch is a numeric variable of the host's, or nothing.
    double value = 0.0;
    if (!fields.readVariable(0, value)) return fields.refuse();
    const bool enabled = CDevServer::Double2Int(value) != 0;
    callService(data, &VPNRpcCtrlClient::setVPNEnabled, enabled);
    fields.writeResult(kResultOk);
    return kResultOk;
}

int CDevBas::_SetOnline(ORVA_DATA& data, const CString& arguments)
{
    return putOnline(data, arguments, true);
}

int CDevBas::_SetOffline(ORVA_DATA& data, const CString& arguments)
{
    return putOnline(data, arguments, false);
}
