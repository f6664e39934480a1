#pragma once

#include "service/control/HttpReply.h"
#include "service/control/HttpRequest.h"
#include "service/core/Caller.h"

#include <functional>
#include <memory>

namespace vpnd
{

// A client that an answer is owed to.
class IAwaitsAnswer
{
public:
    // Comes once. Raises nothing.
    virtual void answer(HttpReply reply) = 0;

protected:
    ~IAwaitsAnswer() = default;
};

// The answer that a request is owed. Copies are the same answer, and may outlive client and
// listener. When the last copy ends without finish(), the client gets an error.
class HttpAnswer
{
public:
    // Only the first one counts; to nobody when the client has gone.
    void finish(HttpReply reply) const;
    // Called before the answer, when there is one and somebody waits for it. Raises nothing.
    void onFinish(std::function<void()> finishes) const;

    class Ticket
    {
    public:
        explicit Ticket(IAwaitsAnswer& client) : m_client(&client) {}
        ~Ticket();
        Ticket(const Ticket&) = delete;
        Ticket& operator=(const Ticket&) = delete;

        void cancel() { m_client = nullptr; }

    private:
        friend class HttpAnswer;
        IAwaitsAnswer* m_client;
        std::function<void()> m_finishes;
    };
    explicit HttpAnswer(std::shared_ptr<Ticket> ticket) : m_ticket(std::move(ticket)) {}

private:
    std::shared_ptr<Ticket> m_ticket;
};

// Who answers requests.
class IHttpHandler
{
public:
    // At once or later. Raises nothing, and must not end the connection.
    virtual void handle(const Caller& caller, const HttpRequest& request,
                        const HttpAnswer& answer) = 0;
    // A request that came to nothing: what was sent is no request, or came too late.
    virtual void refused(Refusal refusal) = 0;

protected:
    ~IHttpHandler() = default;
};

}  // namespace vpnd
