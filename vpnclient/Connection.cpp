#include "vpnclient/Connection.h"

#include "platform/QZRPC.h"

#include <cxxabi.h>

#include <memory>
#include <utility>

bool dropConnection(QZ::RPC::DispatchClient*& connection)
{
    const std::unique_ptr<QZ::RPC::DispatchClient> owned(std::exchange(connection, nullptr));
    if (!owned) return true;
    try {
        owned->stop();
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return false;
    }
}
