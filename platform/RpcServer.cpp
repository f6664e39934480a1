#include "platform/RpcServer.h"

namespace QZ::RPC
{

bool ServerSession::received(std::size_t count)
{
    // Only a caller that reads on while a reply waits comes here with so much.
    if (count != 0 && m_reader.pending() >= kMaxFrameBytes + kLengthBytes) m_malformed = true;
    m_reader.commit(count);
    while (!m_malformed && !m_isWaiting && m_reply.bytes().empty()) {
        ByteView body;
        const FrameReader::Next next = m_reader.next(body);
        if (next == FrameReader::Next::kIncomplete) break;
        if (next == FrameReader::Next::kMalformed || !readHead(body, m_head)) {
            m_malformed = true;
            break;
        }
        beginReply(m_reply, m_head.callId, ReplyStatus::kResult);
        const char* const refusal = m_dispatcher.dispatch(m_head.method, body, m_reply);
        m_isWaiting = refusal == kAnswersLater;
        if (m_isWaiting) {
            m_reply.reset();
        } else {
            complete(refusal);
        }
    }
    return !m_malformed;
}

bool ServerSession::finish(const ResultWriter& write)
{
    if (!m_isWaiting) return false;
    m_isWaiting = false;
    beginReply(m_reply, m_head.callId, ReplyStatus::kResult);
    complete(write(m_reply));
    return true;
}

void ServerSession::complete(const char* refusal)
{
    if (refusal == nullptr && !endFrame(m_reply)) refusal = "result too long";
    if (refusal == nullptr) return;
    beginReply(m_reply, m_head.callId, ReplyStatus::kError);
    if (utils::String(refusal).serialize(&m_reply) == 0 || !endFrame(m_reply)) {
        m_reply.reset();
        m_malformed = true;
    }
}

}  // namespace QZ::RPC
