#include "device/DevBas.h"
#include "device/ServiceFailure.h"
#include "host/DevData.h"
#include "host/StatusCodes.h"
#include "platform/QZNet.h"
#include "platform/QZRPC.h"
#include "vpnclient/Connection.h"

#include <cstdio>

namespace
{
constexpr const char* kServiceAddress = "127.0.0.1:9009";
}

bool CDevBas::initData(DEV_DATA* devData)
{
    if (devData == nullptr) return false;
    QZ::RPC::DispatchClient*& client = devData->pDispatchClient;
    try {
        if (client != nullptr) {
            if (client->online()) {
                // On purpose: a connection must answer twice to be trusted.
                if (client->online()) return true;
                dropConnection(client);
                return false;
            }
            // A connection that cannot even be stopped ends this attempt.
            if (!dropConnection(client)) return false;
        }
        const QZ::Net::Address address(kServiceAddress);
        client = new QZ::RPC::DispatchClient(address, QZ::Net::TCPClient::NewFactory());
        if (client->online()) return true;
    } catch (const QZ::Net::Exception&) {
        // Told by the result alone.
    }
    dropConnection(client);
    return false;
}

int endWithServiceFailure(const char* operation, int line, const QZ::Net::Exception& failure,
                          DEV_DATA* devData)
{
    std::printf("%s[%d] failed with: %s-%s\n", operation, line, failure.func(), failure.info());
    std::fflush(stdout);
    if (devData != nullptr) dropConnection(devData->pDispatchClient);
    return kResultNoService;
}
