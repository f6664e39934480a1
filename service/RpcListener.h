#pragma once

#include "platform/RpcServer.h"
#include "service/CountedLog.h"
#include "service/Endpoint.h"
#include "service/EventLoop.h"

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>

namespace vpnd
{

// Takes connections and passes their calls to a dispatcher, one reply at a time and a
// few for each client in turn, so that no client waits for another: one that does not
// read is not read from either, and a malformed stream closes its own connection only.
// A client that has nothing under way costs a few hundred bytes.
//
// Runs on the loop's one thread.
class RpcListener final : private IWatcher
{
public:
    // Connections at the same time. Beyond it a new one takes the place of
    //   1. the oldest that has waited for kFirstCallMs without an answer to any call, else
    //   2. the one whose last answer is longest ago, at least kAtWorkMs, else
    //   3. the oldest without an answer to any call, else
    //   4. none: it is closed itself. A panel that polls keeps its place.
    // One whose request has arrived and is not read yet is passed over.
    static constexpr std::size_t kMaxClients = 1024;
    static constexpr std::int64_t kFirstCallMs = 1000;
    static constexpr std::int64_t kAtWorkMs = 60 * 1000;
    // Of requests that are not whole and replies that are not taken. While all clients
    // together hold more than the first, one whose share is above the second is closed as
    // soon as anything happens on its connection.
    static constexpr std::size_t kMaxHeldBytes = 16 * 1024 * 1024;
    static constexpr std::size_t kFairShareBytes = 96 * 1024;

    // Listens from here on; raises std::system_error when that is not possible.
    // Borrows loop, dispatcher and log.
    RpcListener(EventLoop& loop, const Endpoint& where, QZ::RPC::IDispatcher& dispatcher,
                CountedLog& log, std::size_t maxClients = kMaxClients);
    ~RpcListener();
    RpcListener(const RpcListener&) = delete;
    RpcListener& operator=(const RpcListener&) = delete;

    // With the real port when it was asked to listen at port 0.
    Endpoint localEndpoint() const { return Endpoint::ofSocket(m_watch->descriptor()); }
    std::size_t clientCount() const { return m_newcomers.size() + m_served.size(); }

    // Closes everything; nothing is taken or answered any more. Not from within a call.
    void stop();

private:
    class Client;
    using Clients = std::list<Client>;

    void onReady(std::uint32_t events) override;
    Descriptor take(int& error);
    void pause();
    void resume();
    void admit(Descriptor socket);
    bool makeRoom();
    void moveToServed(Client& client);
    void remove(Client& client);
    std::unique_ptr<QZ::RPC::ServerSession> lendSession();
    void giveBack(std::unique_ptr<QZ::RPC::ServerSession> session);

    EventLoop& m_loop;
    QZ::RPC::IDispatcher& m_dispatcher;
    CountedLog& m_log;
    const std::size_t m_maxClients;
    std::optional<Watch> m_watch;
    Timer m_resume;
    Descriptor m_reserve;  // given up for a moment to look at a connection when no other is left
    Clients m_newcomers;   // without an answer so far, oldest first
    Clients m_served;      // the one whose last answer is longest ago first
    std::size_t m_heldBytes = 0;  // by all clients
    std::unique_ptr<QZ::RPC::ServerSession> m_spareSession;
};

}  // namespace vpnd
