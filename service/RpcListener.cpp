#include "service/RpcListener.h"

#include "service/SystemError.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <cerrno>
#include <exception>
#include <iterator>
#include <system_error>
#include <utility>

namespace vpnd
{
namespace
{

constexpr std::size_t kReadBytes = 16 * 1024;
// Before it is the others' turn.
constexpr int kRepliesInATurn = 8;
constexpr std::int64_t kTurnMs = 1;
constexpr int kAcceptsInATurn = 16;
constexpr std::int64_t kAcceptPauseMs = 100;

constexpr const char* kNotTaken = "a connection could not be taken";

Descriptor listening(const Endpoint& where)
{
    Descriptor socket(::socket(where.family(), SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket) raiseSystemError("socket");
    const int on = 1;
    ::setsockopt(socket.get(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (::bind(socket.get(), where.address(), where.size()) != 0) raiseSystemError("bind");
    if (::listen(socket.get(), SOMAXCONN) != 0) raiseSystemError("listen");
    return socket;
}

Descriptor accepted(int listener)
{
    return Descriptor(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

Descriptor reserve() { return Descriptor(::eventfd(0, EFD_CLOEXEC)); }

}  // namespace

// One connection: reads, answers, and reads on only when the answer has gone out.
class RpcListener::Client final : private IWatcher
{
public:
    Client(Descriptor socket, RpcListener& owner)
        : m_owner(owner),
          m_sinceMs(owner.m_loop.nowMs()),
          m_watch(owner.m_loop, std::move(socket), EPOLLIN, *this)
    {
    }

    ~Client() { hold(0); }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    // When it came or, later, got its last answer.
    std::int64_t sinceMs() const { return m_sinceMs; }

    // Whether bytes of it have arrived that it has not been late in reading answers for.
    bool isAsking() const
    {
        char byte = 0;
        return m_watch.events() == EPOLLIN &&
               ::recv(m_watch.descriptor(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
    }

    Clients* list = nullptr;  // that it stands in, and where
    Clients::iterator place;

private:
    // This is gone when the connection is over.
    void onReady(std::uint32_t events) override
    {
        bool isOver = true;
        try {
            isOver = !(m_watch.events() == EPOLLIN ? read() : goOn(events)) || holdsTooMuch();
        } catch (const std::exception& error) {
            m_owner.m_log.warn("a connection is closed", error.what());
        }
        if (isOver) m_owner.remove(*this);
    }

    void hold(std::size_t bytes)
    {
        m_owner.m_heldBytes += bytes;
        m_owner.m_heldBytes -= std::exchange(m_heldBytes, bytes);
    }

    bool holdsTooMuch()
    {
        hold(m_session ? m_session->heldBytes() : 0);
        if (m_heldBytes <= kFairShareBytes || m_owner.m_heldBytes <= kMaxHeldBytes) return false;
        m_owner.m_log.warn("a connection is closed: too much is under way");
        return true;
    }

    // These are false when the connection is over.
    bool read()
    {
        if (!m_session) m_session = m_owner.lendSession();
        const ssize_t count =
            ::recv(m_watch.descriptor(), m_session->prepare(kReadBytes), kReadBytes, 0);
        if (count > 0) return answer(static_cast<std::size_t>(count));
        if (count == 0 || (errno != EAGAIN && errno != EINTR)) return false;
        rest();
        return true;
    }

    bool goOn(std::uint32_t events)
    {
        if ((events & (EPOLLERR | EPOLLHUP)) != 0) return false;
        if (!m_session->output().empty()) {
            if (!send()) return false;
            if (!m_session->output().empty()) return true;
        }
        return answer(0);
    }

    // Takes what was received, and makes and sends replies until the client has to do something.
    bool answer(std::size_t received)
    {
        const std::int64_t endMs = m_owner.m_loop.nowMs() + kTurnMs;
        for (int replies = 1;; ++replies) {
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

    // Sends as much of the reply as there is room for; the output is empty when that is all.
    bool send()
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

    void rest()
    {
        if (m_session->isIdle()) m_owner.giveBack(std::move(m_session));
    }

    RpcListener& m_owner;
    std::unique_ptr<QZ::RPC::ServerSession> m_session;  // while something is under way
    std::size_t m_sentBytes = 0;                        // of the output
    std::size_t m_heldBytes = 0;                        // as counted by the owner
    std::int64_t m_sinceMs;
    Watch m_watch;  // for reading or, while a reply or the other clients' turn is due, for writing
};

RpcListener::RpcListener(EventLoop& loop, const Endpoint& where, QZ::RPC::IDispatcher& dispatcher,
                         CountedLog& log, std::size_t maxClients)
    : m_loop(loop),
      m_dispatcher(dispatcher),
      m_log(log),
      m_maxClients(maxClients),
      m_resume(loop, [this] { resume(); }),
      m_reserve(reserve())
{
    IWatcher& watcher = *this;
    m_watch.emplace(loop, listening(where), EPOLLIN, watcher);
}

RpcListener::~RpcListener() { stop(); }

void RpcListener::stop()
{
    m_watch.reset();
    m_resume.cancel();
    m_newcomers.clear();
    m_served.clear();
}

void RpcListener::onReady(std::uint32_t)
{
    try {
        for (int i = 0; i < kAcceptsInATurn; ++i) {
            int error = 0;
            if (Descriptor socket = take(error)) {
                admit(std::move(socket));
            } else if (error == EAGAIN) {
                return;
            } else if (error != EINTR && error != ECONNABORTED) {
                m_log.error(kNotTaken, std::generic_category().message(error));
                return pause();
            }
        }
    } catch (const std::exception& error) {
        m_log.error(kNotTaken, error.what());
        pause();
    }
}

// The next connection; error says why there is none.
Descriptor RpcListener::take(int& error)
{
    Descriptor socket = accepted(m_watch->descriptor());
    error = errno;
    if (socket || (error != EMFILE && error != ENFILE) || !m_reserve) return socket;
    // Also when none is waiting; the reserve tells. One that finds no room is closed: better
    // a clear end at once than a call that waits for its time-out.
    const std::string reason = std::generic_category().message(error);
    m_reserve.reset();
    socket = accepted(m_watch->descriptor());
    error = errno;
    if (socket && !makeRoom()) {
        m_log.error(kNotTaken, reason);
        socket.reset();
        error = ECONNABORTED;
    }
    m_reserve = reserve();
    return socket;
}

// What failed would fail again at once, for as long as nothing changes.
void RpcListener::pause()
{
    m_watch->setEvents(0);
    m_resume.start(kAcceptPauseMs);
}

void RpcListener::resume()
{
    if (!m_reserve) m_reserve = reserve();
    m_watch->setEvents(EPOLLIN);
}

void RpcListener::admit(Descriptor socket)
{
    if (clientCount() >= m_maxClients && !makeRoom()) {
        m_log.warn("a connection is refused: all clients are at work");
        return;
    }
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    m_newcomers.emplace_back(std::move(socket), *this);
    m_newcomers.back().list = &m_newcomers;
    m_newcomers.back().place = std::prev(m_newcomers.end());
}

bool RpcListener::makeRoom()
{
    const std::int64_t nowMs = m_loop.nowMs();
    const auto idleFor = [nowMs](Clients& clients, std::int64_t ms) -> Client* {
        for (Client& each : clients) {
            if (nowMs - each.sinceMs() < ms) break;
            if (!each.isAsking()) return &each;
        }
        return nullptr;
    };
    Client* client = idleFor(m_newcomers, kFirstCallMs);
    if (client == nullptr) client = idleFor(m_served, kAtWorkMs);
    if (client == nullptr) client = idleFor(m_newcomers, 0);
    if (client == nullptr) return false;
    m_log.warn("a connection is closed: another one takes its place");
    remove(*client);
    return true;
}

void RpcListener::moveToServed(Client& client)
{
    m_served.splice(m_served.end(), *client.list, client.place);
    client.list = &m_served;
}

void RpcListener::remove(Client& client) { client.list->erase(client.place); }

std::unique_ptr<QZ::RPC::ServerSession> RpcListener::lendSession()
{
    if (m_spareSession) return std::move(m_spareSession);
    return std::make_unique<QZ::RPC::ServerSession>(m_dispatcher);
}

void RpcListener::giveBack(std::unique_ptr<QZ::RPC::ServerSession> session)
{
    m_spareSession = std::move(session);
}

}  // namespace vpnd
