#include "device/CommandArguments.h"
#include "device/DevBas.h"
#include "device/DevTables.h"
#include "device/ServiceCall.h"
#include "host/DataTypes.h"
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
    {kChannelVpnPassword, &CDevBas::_CheckVPNPasswd, &VPNRpcCtrlClient::setVPNPassword},
    {kChannelVpnUserName, &CDevBas::_CheckVPNUserName, &VPNRpcCtrlClient::setVPNUserName},
};

// Null for a channel that is read-only.
constexpr const WritableChannel* findWritable(int channel)
{
    for (const WritableChannel& target : kWritableChannels) {
        if (target.channel == channel) return &target;
    }
    return nullptr;
}

constexpr bool matchesTheTableOfClasses()
{
    for (int channel = 1; channel <= kChannelCount; ++channel) {
        const bool readOnly = DEV_DWORD_CHLRWTYPE[channel] == CHANNEL_READONLY;
        if (readOnly != (findWritable(channel) == nullptr)) return false;
    }
    return true;
}
static_assert(matchesTheTableOfClasses());

// On purpose: connection and client come before the validator.
int writeChannel(ORVA_DATA& data, const WritableChannel& target, CString& value)
{
    if (!CDevBas::initData(data.pDevData)) return kResultNoService;
    VPNRpcCtrlClient client(connectionOf(data));
    if (!target.accepts(value)) return kResultBadCommand;
    const int answer = (client.*target.operation)(QZ::utils::String(value));
    return answer == kAnswerDone ? kResultOk : kResultBadCommand;
}

}  // namespace

bool CDevBas::_CheckVPNPasswd(CString& text) { return isCredential(text, &std::isalnum); }

// On purpose stricter than the password: no digits.
bool CDevBas::_CheckVPNUserName(CString& text) { return isCredential(text, &std::isalpha); }

int CDevBas::_GetPasswd(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid() || fields.type(0) != kDataString) return kResultBadCommand;
    fields.writeText(0, callService(data, &VPNRpcCtrlClient::getVPNPassword));
    fields.writeResult(kResultOk);
    return kResultOk;
}

int CDevBas::_SetPasswd(ORVA_DATA& data, const CString& arguments)
{
    const CommandArguments fields(data, arguments, 2);
    if (!fields.valid()) return kResultBadCommand;
    const int type = fields.type(0);
    if (type != kDataString && type != kNoParamType) return kResultBadCommand;
    CString password;
    if (!fields.readText(0, password) || !_CheckVPNPasswd(password)) return fields.refuse();
    callService(data, &VPNRpcCtrlClient::setVPNPassword, QZ::utils::String(password));
    fields.writeResult(kResultOk);
    return kResultOk;
}

int CDevBas::mfDevIOWriteChannel(ORVA_DATA& data, CString& arguments)
{
    CString separator("=");
    CString left;
    CString value;
    if (CDevServer::SvrGetCmdStr(arguments, separator, left, value) == 0) {
        return kResultMalformedWrite;
    }
    const int channel = truncToInt(CDevServer::SvrStr2Double(left, kTypeText, 0, left.GetLength()));
    if (channel < 1 || channel > kChannelCount) return kResultOk;
    const WritableChannel* const target = findWritable(channel);
    if (target == nullptr) return kResultRefused;
    // On purpose unlike the commands: whatever goes wrong, nothing is printed.
    return catchAll([&] { return writeChannel(data, *target, value); },
                    [&] {
                        if (data.pDevData != nullptr) {
                            dropConnection(data.pDevData->pDispatchClient);
                        }
                        return kResultNoService;
                    });
}
