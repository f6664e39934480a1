#include "service/net/RpcListenerClient.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <utility>

namespace vpnd
{
namespace
{

constexpr std::size_t kReadBytes = 16 * 1024;
// Before it is the others' turn.
constexpr int kRepliesInATurn = 8;
constexpr std::int64_t kTurnMs = 1;
// To a client whose answer nobody gives.
constexpr const char* kForsaken = "internal error";

}  // namespace

RpcListener::Client::Client(Descriptor socket, const Peer& peer, RpcListener& owner)
    : m_owner(owner),
      m_peer(peer),
      m_sinceMs(owner.m_loop.nowMs()),
      m_watch(owner.m_loop, std::move(socket), EPOLLIN, *this)
{
}

RpcListener::Client::~Client()
{
    disown();
    hold(0);
}

bool RpcListener::Client::isAsking() const
{
    if (isWaiting()) return true;
    char byte = 0;
    return m_watch.events() == EPOLLIN &&
           ::recv(m_watch.descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
}

const char* RpcListener::Client::handle(std::string_view method, QZ::utils::IBuffer& args,
                                        QZ::utils::IBuffer& result)
{
    m_result = &result;
    m_refusal = kForsaken;
    m_answer = Answer::kNone;
    const char* const refusal = m_owner.m_handler.handle(m_peer, method, args, result, *this);
    m_result = nullptr;
    if (refusal != QZ::RPC::kAnswersLater) {
        disown();
        return refusal;
    }
    return m_answer == Answer::kOwed ? refusal : m_refusal;
}

template <class Step>
void RpcListener::Client::goOnUnlessOver(Step step)
{
    bool isOver = true;
    try {
        isOver = !step() || holdsTooMuch();
    } catch (const std::exception& error) {
        m_owner.m_log.warn("a connection is closed", error.what());
    }
    if (isOver) m_owner.remove(*this);
}

void RpcListener::Client::onReady(std::uint32_t events)
{
    goOnUnlessOver([&] {
        if (isWaiting()) return wait(events);
        return m_watch.events() == EPOLLIN ? read() : goOn(events);
    });
}

void RpcListener::Client::reply(const QZ::RPC::ResultWriter& write)
{
    m_answer = Answer::kGiven;
    if (m_result != nullptr) return keep(write);
    goOnUnlessOver([&] {
        m_session->finish(write);
        return sendLate();
    });
}

void RpcListener::Client::forsake()
{
    if (m_result == nullptr) return reply([](auto&) { return kForsaken; });
    m_answer = Answer::kNone;
}

LaterReply RpcListener::Client::answerLater()
{
    if (m_answer == Answer::kGiven) return {};
    if (m_answer == Answer::kOwed) return LaterReply(m_ticket.lock());
    IAwaitsReply& client = *this;
    const auto ticket = std::make_shared<LaterReply::Ticket>(client);
    m_ticket = ticket;
    m_answer = Answer::kOwed;
    return LaterReply(ticket);
}

// The answer came while the call is still being handled.
void RpcListener::Client::keep(const QZ::RPC::ResultWriter& write)
{
    try {
        m_result->clear();
        const char* const refusal = write(*m_result);
        if (refusal != QZ::RPC::kAnswersLater) m_refusal = refusal;
    } catch (const std::exception& error) {
        m_owner.m_log.warn("an answer could not be written", error.what());
    }
}

// Whoever has the answer keeps it.
void RpcListener::Client::disown()
{
    if (std::exchange(m_answer, Answer::kNone) == Answer::kOwed) m_ticket.lock()->cancel();
}

// More has come while an answer is due: it stays where it is.
bool RpcListener::Client::wait(std::uint32_t events)
{
    m_watch.setEvents(0);
    return (events & (EPOLLERR | EPOLLHUP)) == 0;
}

bool RpcListener::Client::read()
{
    if (!m_session) m_session = m_owner.lendSession();
    const ssize_t count =
        ::recv(m_watch.descriptor(), m_session->prepare(kReadBytes), kReadBytes, 0);
    if (count > 0) return answer(static_cast<std::size_t>(count));
    if (count == 0 || (errno != EAGAIN && errno != EINTR)) return false;
    rest();
    return true;
}

bool RpcListener::Client::goOn(std::uint32_t events)
{
    if ((events & (EPOLLERR | EPOLLHUP)) != 0) return false;
    if (!m_session->output().empty()) {
        if (!send()) return false;
        if (!m_session->output().empty()) return true;
    }
    return answer(0);
}

// Takes what was received, and makes and sends replies until the client has to do something.
bool RpcListener::Client::answer(std::size_t received)
{
    const std::int64_t endMs = m_owner.m_loop.nowMs() + kTurnMs;
    for (int replies = 1;; ++replies) {
        m_owner.m_asking = this;
        if (!m_session->received(std::exchange(received, 0))) {
            m_owner.m_log.warn("a connection is closed: what it sent is no request");
            return false;
        }
        if (m_session->output().empty()) {
            rest();
            m_watch.setEvents(EPOLLIN);
            return true;
        }
        if (!send()) return false;
        if (!m_session->output().empty()) break;
        // The end of a turn costs two system calls: not when nothing else has come.
        if (m_session->isIdle()) continue;
        if (replies >= kRepliesInATurn || m_owner.m_loop.nowMs() >= endMs) break;
    }
    m_watch.setEvents(EPOLLOUT);
    return true;
}

// What has come meanwhile waits for the next turn: whoever gives an answer is not asked
// for the next one before that is done.
bool RpcListener::Client::sendLate()
{
    if (!send()) return false;
    const bool isDone = m_session->isIdle();
    rest();
    m_watch.setEvents(isDone ? EPOLLIN : EPOLLOUT);
    return true;
}

// Sends as much of the reply as there is room for; the output is empty when that is all.
bool RpcListener::Client::send()
{
    const std::vector<unsigned char>& output = m_session->output();
    const ssize_t count = ::send(m_watch.descriptor(), output.data() + m_sentBytes,
                                 output.size() - m_sentBytes, MSG_NOSIGNAL);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    m_sentBytes += static_cast<std::size_t>(count);
    if (m_sentBytes < output.size()) return true;
    m_sentBytes = 0;
    m_session->sent();
    m_sinceMs = m_owner.m_loop.nowMs();
    m_owner.moveToServed(*this);
    return true;
}

void RpcListener::Client::rest()
{
    if (m_session->isIdle()) m_owner.giveBack(std::move(m_session));
}

void RpcListener::Client::hold(std::size_t bytes)
{
    m_owner.m_heldBytes += bytes;
    m_owner.m_heldBytes -= std::exchange(m_heldBytes, bytes);
}

bool RpcListener::Client::holdsTooMuch()
{
    hold(m_session ? m_session->heldBytes() : 0);
    if (m_heldBytes <= kFairShareBytes || m_owner.m_heldBytes <= kMaxHeldBytes) return false;
    m_owner.m_log.warn("a connection is closed: too much is under way");
    return true;
}

}  // namespace vpnd
