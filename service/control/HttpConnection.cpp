#include "service/control/HttpConnection.h"

#include <spdlog/fmt/fmt.h>
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
// Of a client that is told no: as much is read, for so long, that it comes to read why.
constexpr std::size_t kDrainBytes = 1024 * 1024;
constexpr std::int64_t kDrainMs = 2000;
constexpr std::int64_t kForEver = std::int64_t{365} * 24 * 60 * 60 * 1000;

}  // namespace

HttpConnection::HttpConnection(EventLoop& loop, Descriptor socket, Caller caller,
                               IHttpHandler& handler, IOwner& owner)
    : m_loop(loop),
      m_caller(std::move(caller)),
      m_handler(handler),
      m_owner(owner),
      m_sinceMs(loop.nowMs()),
      m_watch(loop, std::move(socket), EPOLLIN, *this)
{
    enter(State::kReading, EPOLLIN, kHeadMs);
}

HttpConnection::~HttpConnection()
{
    if (const auto ticket = m_ticket.lock()) ticket->cancel();
}

void HttpConnection::checkTime()
{
    if (m_loop.nowMs() < m_dueMs) return m_owner.callBy(m_dueMs);
    goOnUnlessOver([this] { return timeIsUp(); });
}

void HttpConnection::goOn()
{
    if (m_state != State::kStreaming || !m_output.empty()) return;
    goOnUnlessOver([this] { return sendPiece(); });
}

void HttpConnection::turnAway(Refusal refusal)
{
    m_staysOpen = false;
    goOnUnlessOver([&] { return begin(replyOf(refusal)); });
}

void HttpConnection::onReady(std::uint32_t events)
{
    goOnUnlessOver([&] { return step(events); });
}

void HttpConnection::answer(HttpReply reply)
{
    if (m_isHandling) {
        m_reply = std::move(reply);
    } else {
        goOnUnlessOver([&] { return begin(std::move(reply)); });
    }
}

template <class Step>
void HttpConnection::goOnUnlessOver(Step step)
{
    bool isOver = true;
    try {
        isOver = !step();
    } catch (const std::exception&) {
        // Out of memory, at most: the others go on.
    }
    if (isOver) m_owner.remove(*this);
}

void HttpConnection::enter(State state, std::uint32_t events, std::int64_t withinMs)
{
    m_state = state;
    m_watch.setEvents(events);
    m_dueMs = m_loop.nowMs() + withinMs;
    m_owner.callBy(m_dueMs);
}

bool HttpConnection::step(std::uint32_t events)
{
    const bool isGone = (events & (EPOLLERR | EPOLLHUP)) != 0;
    switch (m_state) {
        case State::kReading:
            // For writing when the next request was sent ahead.
            return m_watch.events() == EPOLLIN ? receive() : advance();
        case State::kWaiting:
            return !isGone;
        case State::kSending:
            return !isGone && send();
        case State::kStreaming:
            if (isGone || ((events & EPOLLIN) != 0 && !drain())) return false;
            if ((events & EPOLLOUT) == 0) return true;
            return m_output.empty() ? sendPiece() : send();
        case State::kDraining:
            return drain();
    }
    return false;
}

bool HttpConnection::receive()
{
    char bytes[kReadBytes];
    const ssize_t count = ::recv(m_watch.descriptor(), bytes, sizeof bytes, 0);
    if (count == 0) return false;
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    const bool isFirst = !m_reader.hasBegun();
    m_input.append(bytes, static_cast<std::size_t>(count));
    // The time of a head is counted from its first byte.
    if (isFirst) enter(State::kReading, EPOLLIN, kHeadMs);
    return advance();
}

bool HttpConnection::advance()
{
    const bool hadHead = m_reader.hasHead();
    switch (m_reader.read(m_input)) {
        case HttpReader::Step::kNeedsMore: {
            if (m_reader.takeWaitsForContinue()) {
                constexpr std::string_view kGoOn = "HTTP/1.1 100 Continue\r\n\r\n";
                static_cast<void>(
                    ::send(m_watch.descriptor(), kGoOn.data(), kGoOn.size(), MSG_NOSIGNAL));
            }
            if (m_reader.hasHead() && !hadHead) enter(State::kReading, EPOLLIN, kBodyMs);
            m_watch.setEvents(EPOLLIN);
            return true;
        }
        case HttpReader::Step::kRefused:
            m_staysOpen = false;
            m_handler.refused(m_reader.refusal());
            return begin(replyOf(m_reader.refusal()));
        case HttpReader::Step::kDone:
            break;
    }
    m_staysOpen = m_reader.request().staysOpen;
    m_isChunked = m_reader.request().takesChunks;
    enter(State::kWaiting, 0, kForEver);
    {
        IAwaitsAnswer& client = *this;
        const auto ticket = std::make_shared<HttpAnswer::Ticket>(client);
        m_ticket = ticket;
        m_isHandling = true;
        m_handler.handle(m_caller, m_reader.request(), HttpAnswer(ticket));
    }
    m_isHandling = false;
    return m_reply ? begin(*std::exchange(m_reply, std::nullopt)) : true;
}

bool HttpConnection::begin(HttpReply reply)
{
    m_source = std::move(reply.source);
    if (!m_source) m_isChunked = false;
    // Without chunks the end of the connection is the end of the body.
    if (m_source && !m_isChunked) m_staysOpen = false;
    m_output = headOf(reply, m_staysOpen, m_source != nullptr && m_isChunked) + reply.body;
    enter(m_source ? State::kStreaming : State::kSending, EPOLLOUT, kTakeMs);
    return send();
}

bool HttpConnection::send()
{
    const ssize_t count = ::send(m_watch.descriptor(), m_output.data() + m_sentBytes,
                                 m_output.size() - m_sentBytes, MSG_NOSIGNAL);
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    m_sentBytes += static_cast<std::size_t>(count);
    const std::uint32_t listens = m_state == State::kStreaming ? EPOLLIN | EPOLLOUT : EPOLLOUT;
    enter(m_state, listens, kTakeMs);
    if (m_sentBytes < m_output.size()) return true;
    m_sentBytes = 0;
    m_output.clear();
    return m_state == State::kStreaming ? true : finishReply();
}

// The next piece, at the next turn if there is more at once.
bool HttpConnection::sendPiece()
{
    if (!m_source) return finishReply();
    std::string piece;
    const IBodySource::More more = m_source->write(piece);
    if (more == IBodySource::More::kNever) m_source.reset();
    if (!piece.empty() && m_isChunked) m_output += fmt::format("{:x}\r\n", piece.size());
    m_output += piece;
    if (!piece.empty() && m_isChunked) m_output += "\r\n";
    if (!m_source && m_isChunked) m_output += "0\r\n\r\n";
    if (!m_output.empty()) return send();
    if (!m_source) return finishReply();
    enter(State::kStreaming, more == IBodySource::More::kSoon ? EPOLLIN | EPOLLOUT : EPOLLIN,
          kSignMs);
    return true;
}

bool HttpConnection::finishReply()
{
    if (!m_staysOpen) {
        ::shutdown(m_watch.descriptor(), SHUT_WR);
        m_input.clear();
        enter(State::kDraining, EPOLLIN, kDrainMs);
        return true;
    }
    m_reader.reset();
    m_drainedBytes = 0;
    m_sinceMs = m_loop.nowMs();
    const bool isSentAhead = !m_input.empty();
    enter(State::kReading, isSentAhead ? EPOLLOUT : EPOLLIN, isSentAhead ? kHeadMs : kIdleMs);
    return true;
}

// What comes and is not looked at.
bool HttpConnection::drain()
{
    char bytes[kReadBytes];
    const ssize_t count = ::recv(m_watch.descriptor(), bytes, sizeof bytes, 0);
    if (count == 0) return false;
    if (count < 0) return errno == EAGAIN || errno == EINTR;
    m_drainedBytes += static_cast<std::size_t>(count);
    return m_drainedBytes <= kDrainBytes;
}

bool HttpConnection::timeIsUp()
{
    switch (m_state) {
        case State::kReading:
            if (!m_reader.hasBegun()) return false;
            m_staysOpen = false;
            m_handler.refused(Refusal::kTooLate);
            return begin(replyOf(Refusal::kTooLate));
        case State::kStreaming:
            if (!m_output.empty() || !m_source) return false;
            if (m_isChunked) {
                m_output = fmt::format("{:x}\r\n{}\r\n", m_source->sign().size(), m_source->sign());
            } else {
                m_output = m_source->sign();
            }
            return send();
        case State::kWaiting:
            enter(State::kWaiting, 0, kForEver);
            return true;
        case State::kSending:
        case State::kDraining:
            break;
    }
    return false;
}

}  // namespace vpnd
