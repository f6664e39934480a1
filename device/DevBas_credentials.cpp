#include "device/CommandArguments.h"
#include "device/DevBas.h"
#include "device/DevTables.h"
#include "device/ServiceCall.h"
#include "host/StatusCodes.h"
#include "support/DevServer.h"
#include "support/Truncate.h"
#include "vpnclient/CatchAll.h"
#include "vpnclient/Connection.h"

#include <cctype>

namespace
{

constexpr int kMinCredentialLength = 6;
constexpr int kMaxCredentialLength = 32;

bool isCredential(const CString& text, int (*accepts)(int))
{
    const int length = text.GetLength();
    if (length < kMinCredentialLength || length > kMaxCredentialLength) return false;
    for (int i = 0; i < length; ++i) {
        if (accepts(static_cast<unsigned char>(text.GetAt(i))) == 0) return false;
    }
    return true;
}

// The channels that the host can write.
struct WritableChannel {
    int channel;
    bool (*accepts)(CString& value);
    int (VPNRpcCtrlClient::*operation)(const QZ::utils::String& value);
};

constexpr WritableChannel kWritableChannels[] = {
    {CHANNEL_VPN_PASSWORD, &CDevBas::_CheckVPNPasswd, &VPNRpcCtrlClient::setVPNPassword},
    {CHANNEL_VPN_USER_NAME, &CDevBas::_CheckVPNUserName, &VPNRpcCtrlClient::setVPNUserName},
};

// On purpose: connection and client come before the validator.
int writeChannel(ORVA_DATA& data, const WritableChannel& target, CString& value)
{
    if (!CDevBas::initData(data.pDevData)) return RESULT_NO_SERVICE;
    VPNRpcCtrlClient client(connectionOf(data));
    if (!target.accepts(value)) return RESULT_BAD_COMMAND;
    const int answer = (client.*target.operation)(QZ::utils::String(value));
    return answer == kAnswerDone ? RESULT_OK : RESULT_BAD_COMMAND;
}

}  // namespace

bool CDevBas::_CheckVPNPasswd(CString& text) { return isCredential(text, &std::isalnum); }

// On purpose stricter than the password: no digits.
bool CDevBas::_CheckVPNUserName(CString& text) { return isCredential(text, &std::isalpha); }

int CDevBas::_GetPasswd(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid() || fields.type(0) != DATATYPE_STRING) return RESULT_BAD_COMMAND;
    fields.writeText(0, callService(data, &VPNRpcCtrlClient::getVPNPassword));
    fields.writeResult(RESULT_OK);
    return RESULT_OK;
}

int CDevBas::_SetPasswd(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid()) return RESULT_BAD_COMMAND;
    const int type = fields.type(0);
    if (type != DATATYPE_STRING && type != kNoParamType) return RESULT_BAD_COMMAND;
    CString password;
    if (!fields.readText(0, password) || !_CheckVPNPasswd(password)) return fields.refuse();
    callService(data, &VPNRpcCtrlClient::setVPNPassword, QZ::utils::String(password));
    fields.writeResult(RESULT_OK);
    return RESULT_OK;
}

int CDevBas::mfDevIOWriteChannel(ORVA_DATA& data, CString& arguments)
{
    CString separator("=");
    CString left;
    CString value;
    if (CDevServer::SvrGetCmdStr(arguments, separator, left, value) == 0) {
        return RESULT_MALFORMED_WRITE;
    }
    const int channel = truncToInt(CDevServer::SvrStr2Double(left, kTypeText, 0, left.GetLength()));
    if (channel < 1 || channel > CHANNEL_COUNT) return RESULT_OK;
    if (DEV_DWORD_CHLRWTYPE[channel] == CHANNEL_READONLY) return RESULT_REFUSED;

    for (const WritableChannel& target : kWritableChannels) {
        if (target.channel != channel) continue;
        // On purpose unlike the commands: whatever goes wrong, nothing is printed.
        return catchAll([&] { return writeChannel(data, target, value); },
                        [&] {
                            if (data.pDevData != nullptr) {
                                dropConnection(data.pDevData->pDispatchClient);
                            }
                            return RESULT_NO_SERVICE;
                        });
    }
    return RESULT_OK;
}
