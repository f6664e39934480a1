#pragma once

#include "host/DevData.h"
#include "host/OrvaData.h"
#include "vpnclient/VPNRpcCtrlClient.h"

// What the service answers to a call that changes something.
constexpr int kAnswerDone = 0;
constexpr int kAnswerInvalid = 1;
constexpr int kAnswerNotNow = 2;

// The device's connection; null once the host has come back into the driver and
// cleaned up meanwhile. A call over null fails as any other failed call.
inline QZ::RPC::DispatchClient* connectionOf(const ORVA_DATA& data)
{
    return data.pDevData == nullptr ? nullptr : data.pDevData->pDispatchClient;
}

// One call on the device's live connection, with a client that is gone when it
// returns. Exceptions of the client pass through.
template <class Result, class... Parameters, class... Arguments>
Result callService(ORVA_DATA& data, Result (VPNRpcCtrlClient::*operation)(Parameters...),
                   const Arguments&... arguments)
{
    VPNRpcCtrlClient client(connectionOf(data));
    return (client.*operation)(arguments...);
}
