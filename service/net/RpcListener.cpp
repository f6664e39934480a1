#include "service/net/RpcListener.h"

#include "service/net/RpcListenerClient.h"

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <iterator>
#include <map>
#include <system_error>
#include <utility>

namespace vpnd
{
namespace
{

constexpr int kAcceptsInATurn = 16;
constexpr std::int64_t kAcceptPauseMs = 100;

constexpr const char* kNotTaken = "a connection could not be taken";

Descriptor accepted(int listener)
{
    return Descriptor(::accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
}

Descriptor reserve() { return Descriptor(::eventfd(0, EFD_CLOEXEC)); }

}  // namespace

RpcListener::RpcListener(EventLoop& loop, Descriptor listening, IRpcHandler& handler,
                         CountedLog& log, std::size_t maxClients, PeerOf peerOf)
    : m_loop(loop),
      m_handler(handler),
      m_log(log),
      m_maxClients(maxClients),
      m_peers(log),
      m_peerOf(peerOf ? std::move(peerOf) : [this](int socket) { return m_peers.of(socket); }),
      m_resume(loop, [this] { resume(); }),
      m_reserve(reserve())
{
    IWatcher& watcher = *this;
    m_watch.emplace(loop, std::move(listening), EPOLLIN, watcher);
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

const char* RpcListener::dispatch(std::string_view method, QZ::utils::IBuffer& args,
                                  QZ::utils::IBuffer& result)
{
    return m_asking->handle(method, args, result);
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
    if (socket && !makeRoom(m_peerOf(socket.get()))) {
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
    const Peer peer = m_peerOf(socket.get());
    if (clientCount() >= m_maxClients && !makeRoom(peer)) {
        m_log.warn("a connection is refused: all clients are at work");
        return;
    }
    const int on = 1;
    ::setsockopt(socket.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    m_newcomers.emplace_back(std::move(socket), peer, *this);
    m_newcomers.back().list = &m_newcomers;
    m_newcomers.back().place = std::prev(m_newcomers.end());
}

bool RpcListener::makeRoom(const Peer& newcomer)
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
    if (client == nullptr) client = ofUserWithMost(newcomer);
    if (client == nullptr) return false;
    m_log.warn("a connection is closed: another one takes its place");
    remove(*client);
    return true;
}

// Counts anew: this is rare, and a count that is kept could go wrong.
RpcListener::Client* RpcListener::ofUserWithMost(const Peer& newcomer)
{
    Clients* const inOrder[] = {&m_newcomers, &m_served};
    std::map<std::optional<uid_t>, std::size_t> counts;
    for (const Clients* clients : inOrder) {
        for (const Client& each : *clients) ++counts[each.peer().uid];
    }
    const std::size_t own = ++counts[newcomer.uid];
    const auto most = std::max_element(counts.begin(), counts.end(), [](auto& one, auto& other) {
        return one.second < other.second;
    });
    if (most->second < own + kUnevenBy) return nullptr;
    Client* waiting = nullptr;
    for (Clients* clients : inOrder) {
        for (Client& each : *clients) {
            if (each.peer().uid != most->first) continue;
            if (!each.isWaiting()) return &each;
            if (waiting == nullptr) waiting = &each;
        }
    }
    return waiting;
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
    QZ::RPC::IDispatcher& dispatcher = *this;
    return std::make_unique<QZ::RPC::ServerSession>(dispatcher);
}

void RpcListener::giveBack(std::unique_ptr<QZ::RPC::ServerSession> session)
{
    m_spareSession = std::move(session);
}

}  // namespace vpnd
