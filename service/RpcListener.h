#pragma once

#include "platform/RpcServer.h"

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/steady_timer.hpp>

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace vpnd
{

// The address in a text such as "127.0.0.1:9009" or "[::1]:9009"; port 0 lets
// the system choose. Nothing when it is neither; names are not resolved.
[[nodiscard]] std::optional<asio::ip::tcp::endpoint> parseEndpoint(const std::string& text);

// The endpoint as parseEndpoint() reads it.
std::string toText(const asio::ip::tcp::endpoint& endpoint);

// Takes connections and passes their calls to a dispatcher, one reply at a time
// and client by client, so that no client waits for another: one that does not
// read is not read from either, and a malformed stream closes its own connection only.
//
// Runs on the io_context's one thread. Must be destroyed or stopped before the
// dispatcher goes; handlers that are still queued then do nothing.
class RpcListener
{
public:
    // Connections at the same time. Beyond it each new one takes the place of
    // the one that is idle longest; those that never got an answer go first, so
    // that a flood of empty connections does not drive out a client at work.
    static constexpr std::size_t kMaxClients = 32;

    // Listens from here on; raises std::system_error when that is not possible.
    // Borrows io and dispatcher.
    RpcListener(asio::io_context& io, const asio::ip::tcp::endpoint& where,
                QZ::RPC::IDispatcher& dispatcher);
    ~RpcListener();
    RpcListener(const RpcListener&) = delete;
    RpcListener& operator=(const RpcListener&) = delete;

    // With the real port when it was asked to listen at port 0.
    asio::ip::tcp::endpoint localEndpoint() const { return m_acceptor.local_endpoint(); }
    std::size_t clientCount() const { return m_clients.size(); }

    // Closes everything, after which the io_context has nothing left to do for it.
    void stop();

private:
    class Client;

    void accept();
    void admit(asio::ip::tcp::socket socket);
    void acceptLater();
    void dropIdlest();
    void remove(Client& client);

    QZ::RPC::IDispatcher& m_dispatcher;
    asio::ip::tcp::acceptor m_acceptor;
    asio::steady_timer m_retry;
    // Shared with the client's own pending operations, which may end after its removal.
    std::list<std::shared_ptr<Client>> m_clients;
    std::uint64_t m_uses = 0;  // numbers the uses of all clients in their order
};

}  // namespace vpnd
