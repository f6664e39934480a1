#include "service/net/LaterReply.h"

#include <utility>

namespace vpnd
{

void LaterReply::finish(const QZ::RPC::ResultWriter& write) const
{
    if (!m_ticket) return;
    if (IAwaitsReply* const client = std::exchange(m_ticket->m_client, nullptr))
        client->reply(write);
}

LaterReply::Ticket::~Ticket()
{
    if (m_client != nullptr) m_client->forsake();
}

}  // namespace vpnd
