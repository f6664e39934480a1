#pragma once

#include "platform/RpcServer.h"

#include <memory>

namespace vpnd
{

// A client that an answer is owed to.
class IAwaitsReply
{
public:
    // The answer; comes once. Raises nothing.
    virtual void reply(const QZ::RPC::ResultWriter& write) = 0;
    // There will be none. Raises nothing.
    virtual void forsake() = 0;

protected:
    ~IAwaitsReply() = default;
};

// The answer that a call is owed, for whoever is to give it. Copies are the same answer, and
// may outlive client and listener. When the last copy ends without finish(), the client gets
// an error reply instead of waiting for ever. On the listener's thread only.
class LaterReply
{
public:
    // To nobody.
    LaterReply() = default;

    // Has the answer written and sent; only the first call does. Does nothing, and calls
    // nobody, when the client has gone or the listener has stopped meanwhile. What write
    // returns is as of IDispatcher::dispatch(), kAnswersLater being a refusal here. It must
    // not end the listener. The client's next request is looked at in a later turn of the loop.
    void finish(const QZ::RPC::ResultWriter& write) const;

    // The side of the client: between both, whoever ends first.
    class Ticket
    {
    public:
        explicit Ticket(IAwaitsReply& client) : m_client(&client) {}
        ~Ticket();
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

        // The client is told no more.
        void cancel() { m_client = nullptr; }

    private:
        friend class LaterReply;
        IAwaitsReply* m_client;
    };
    explicit LaterReply(std::shared_ptr<Ticket> ticket) : m_ticket(std::move(ticket)) {}

private:
    std::shared_ptr<Ticket> m_ticket;
};

}  // namespace vpnd
