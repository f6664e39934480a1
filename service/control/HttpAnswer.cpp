#include "service/control/HttpAnswer.h"

#include <utility>

namespace vpnd
{

void HttpAnswer::finish(HttpReply reply) const
{
    if (IAwaitsAnswer* const client = std::exchange(m_ticket->m_client, nullptr)) {
        if (m_ticket->m_finishes) m_ticket->m_finishes();
        client->answer(std::move(reply));
    }
}

void HttpAnswer::onFinish(std::function<void()> finishes) const
{
    m_ticket->m_finishes = std::move(finishes);
}

HttpAnswer::Ticket::~Ticket()
{
    if (m_client != nullptr) m_client->answer(replyOf(Refusal::kInternal));
}

}  // namespace vpnd
