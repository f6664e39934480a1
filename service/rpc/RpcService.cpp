#include "service/rpc/RpcService.h"

#include "service/rpc/RpcCall.h"
#include "service/rpc/RpcMethods.h"

namespace vpnd
{

RpcService::RpcService(Controller& controller, CountedLog& log)
    : m_controller(controller), m_log(log), m_calls(std::make_shared<std::vector<CallCounter>>())
{
    for (std::size_t i = 0; i < kMethodCount; ++i) m_calls->push_back({methods()[i].name, {}});
}

const char* RpcService::handle(const Peer& peer, std::string_view method, QZ::utils::IBuffer& args,
                               QZ::utils::IBuffer& result, IPendingCall& call)
{
    const char* refusal = "unknown method";
    try {
        const Caller caller{Interface::kRpc, peer.uid, {}};
        if (const MethodEntry* const entry = findMethod(method)) {
            const CallTimer timer(m_calls, static_cast<std::size_t>(entry - methods()));
            refusal = entry->run(
                {m_controller, entry->name, entry->right, caller, args, result, call, timer});
            if (refusal == nullptr) timer.stop();
        }
    } catch (...) {
        // Out of memory, at most; the other clients go on.
        refusal = "internal error";
    }
    const bool isAnswered = refusal == nullptr || refusal == QZ::RPC::kAnswersLater;
    if (!isAnswered) ++m_refused;
    if (!isAnswered) m_log.warn("a call was refused", refusal);
    return refusal;
}

}  // namespace vpnd
