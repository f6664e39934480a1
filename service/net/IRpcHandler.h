#pragma once

#include "platform/RpcServer.h"
#include "service/net/LaterReply.h"
#include "service/net/Peer.h"

#include <string_view>

namespace vpnd
{

// The call that is being handled. Valid until handle() returns.
class IPendingCall
{
public:
    // For an answer that comes later. Each time the same; raises std::bad_alloc.
    virtual LaterReply answerLater() = 0;

protected:
    ~IPendingCall() = default;
};

// What a listener does when a call arrives.
class IRpcHandler
{
public:
    // As QZ::RPC::IDispatcher::dispatch(), for a known peer: null, a refusal, or kAnswersLater
    // with call.answerLater() kept or finished already; when it is neither, the client gets an
    // error reply. What answerLater() gave counts no more when something else is returned.
    // All arguments are valid until this returns. Must not raise, nor end the listener.
    virtual const char* handle(const Peer& peer, std::string_view method, QZ::utils::IBuffer& args,
                               QZ::utils::IBuffer& result, IPendingCall& call) = 0;

protected:
    ~IRpcHandler() = default;
};

}  // namespace vpnd
