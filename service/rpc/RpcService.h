#pragma once

#include "service/core/Controller.h"
#include "service/core/Counters.h"
#include "service/net/IRpcHandler.h"

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace vpnd
{

// The 21 methods of docs/rpc-protocol.md over a controller. A block that does not fit the
// method exactly, or an unknown method, is refused. One thread.
class RpcService final : public IRpcHandler
{
public:
    // Borrows both, which must outlive it.
    RpcService(Controller& controller, CountedLog& log);

    const char* handle(const Peer& peer, std::string_view method, QZ::utils::IBuffer& args,
                       QZ::utils::IBuffer& result, IPendingCall& call) override;

    // Of each method, in the order of the table; what was refused does not count.
    const std::vector<CallCounter>& calls() const { return *m_calls; }
    // Calls that came to nothing.
    std::uint64_t refusedCalls() const { return m_refused; }

private:
    Controller& m_controller;
    CountedLog& m_log;
    std::shared_ptr<std::vector<CallCounter>> m_calls;
    std::uint64_t m_refused = 0;
};

}  // namespace vpnd
