#pragma once

#include "host/DevData.h"
#include "host/OrvaData.h"
#include "vpnclient/VPNRpcCtrlClient.h"

// One call on the device's live connection, with a client that is gone when it
// returns. Exceptions of the client pass through.
template <class Result, class... Parameters, class... Arguments>
Result callService(ORVA_DATA& data, Result (VPNRpcCtrlClient::*operation)(Parameters...),
                   const Arguments&... arguments)
{
    VPNRpcCtrlClient client(data.pDevData->pDispatchClient);
    return (client.*operation)(arguments...);
}
