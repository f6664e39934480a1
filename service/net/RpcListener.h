#pragma once

#include "platform/RpcServer.h"
#include "service/base/CountedLog.h"
#include "service/base/EventLoop.h"
#include "service/net/Endpoint.h"
#include "service/net/IRpcHandler.h"
#include "service/net/PeerIdentity.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string_view>

namespace vpnd
{

// Takes connections and passes their calls to a handler, one reply at a time and a
// few for each client in turn, so that no client waits for another: one that does not
// read is not read from either, and a malformed stream closes its own connection only.
// A client that has nothing under way costs a few hundred bytes. Who it is, is asked once,
// when it comes.
//
// While an answer of the handler is due, the client is not read from. One that has gone
// altogether is let go at once; one that only ended its sending still gets the answer.
//
// Runs on the loop's one thread.
class RpcListener final : private IWatcher, private QZ::RPC::IDispatcher
{
public:
    // Connections at the same time. Beyond it a new one takes the place of
    //   1. the oldest that has waited for kFirstCallMs without an answer to any call, else
    //   2. the one whose last answer is longest ago, at least kAtWorkMs, else
    //   3. the oldest without an answer to any call, else
    //   4. of the user with the most: the oldest without an answer to any call, else the one
    //      whose last answer is longest ago. Only if those are kUnevenBy more than the user of
    //      the new one has with it, so that two users never throw each other out by turns, else
    //   5. none: it is closed itself.
    // A panel that polls keeps its place unless its user has the most. 1 to 3 pass over one whose
    // request has arrived and is not read yet, or is answered later; 4 takes one that is answered
    // later if its user has no other. All of whom nothing is known are one user.
    static constexpr std::size_t kMaxClients = 1024;
    static constexpr std::size_t kUnevenBy = 2;
    static constexpr std::int64_t kFirstCallMs = 1000;
    static constexpr std::int64_t kAtWorkMs = 60 * 1000;
    // Of requests that are not whole and replies that are not taken. While all clients
    // together hold more than the first, one whose share is above the second is closed as
    // soon as anything happens on its connection.
    static constexpr std::size_t kMaxHeldBytes = 16 * 1024 * 1024;
    static constexpr std::size_t kFairShareBytes = 96 * 1024;

    // Who is at the other end of a connected socket. Raises nothing.
    using PeerOf = std::function<Peer(int socket)>;

    // Serves a socket that listens; raises std::system_error when that is not possible.
    // Borrows loop, handler and log. The last one is for tests: instead of asking the kernel.
    RpcListener(EventLoop& loop, Descriptor listening, IRpcHandler& handler, CountedLog& log,
                std::size_t maxClients = kMaxClients, PeerOf peerOf = {});
    ~RpcListener();
    RpcListener(const RpcListener&) = delete;
    RpcListener& operator=(const RpcListener&) = delete;

    // With the real port when it was asked to listen at port 0.
    Endpoint localEndpoint() const { return Endpoint::ofSocket(m_watch->descriptor()); }
    std::size_t clientCount() const { return m_newcomers.size() + m_served.size(); }

    // Closes everything; nothing is taken or answered any more, later neither. Not from
    // within a call.
    void stop();

private:
    class Client;
    using Clients = std::list<Client>;

    void onReady(std::uint32_t events) override;
    const char* dispatch(std::string_view method, QZ::utils::IBuffer& args,
                         QZ::utils::IBuffer& result) override;
    Descriptor take(int& error);
    void pause();
    void resume();
    void admit(Descriptor socket);
    bool makeRoom(const Peer& newcomer);
    Client* ofUserWithMost(const Peer& newcomer);
    void moveToServed(Client& client);
    void remove(Client& client);
    std::unique_ptr<QZ::RPC::ServerSession> lendSession();
    void giveBack(std::unique_ptr<QZ::RPC::ServerSession> session);

    EventLoop& m_loop;
    IRpcHandler& m_handler;
    CountedLog& m_log;
    const std::size_t m_maxClients;
    PeerIdentity m_peers;
    const PeerOf m_peerOf;
    std::optional<Watch> m_watch;
    Timer m_resume;
    Descriptor m_reserve;  // given up for a moment to look at a connection when no other is left
    Client* m_asking = nullptr;   // whose call is dispatched
    Clients m_newcomers;          // without an answer so far, oldest first
    Clients m_served;             // the one whose last answer is longest ago first
    std::size_t m_heldBytes = 0;  // by all clients
    std::unique_ptr<QZ::RPC::ServerSession> m_spareSession;
};

}  // namespace vpnd
