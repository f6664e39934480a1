#include "vpnclient/Connection.h"

#include "platform/QZRPC.h"
#include "vpnclient/CatchAll.h"

#include <memory>
#include <utility>

bool dropConnection(QZ::RPC::DispatchClient*& connection)
{
    const std::unique_ptr<QZ::RPC::DispatchClient> owned(std::exchange(connection, nullptr));
    if (!owned) return true;
    return catchAll(
        [&] {
            owned->stop();
            return true;
        },
        [] { return false; });
}
