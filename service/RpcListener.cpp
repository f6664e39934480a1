#include "service/RpcListener.h"

#include <fcntl.h>
#include <spdlog/spdlog.h>
#include <asio/buffer.hpp>
#include <asio/write.hpp>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <new>
#include <string_view>
#include <utility>

namespace vpnd
{
namespace
{

using asio::ip::tcp;

constexpr std::size_t kReadBytes = 16 * 1024;
constexpr std::chrono::milliseconds kAcceptRetry{100};

// Programs that are started later must not inherit the connections.
void closeOnExec(int handle) { ::fcntl(handle, F_SETFD, FD_CLOEXEC); }

}  // namespace

std::optional<tcp::endpoint> parseEndpoint(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    std::string host = text.substr(0, colon);
    const bool bracketed = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    if (bracketed) host = host.substr(1, host.size() - 2);

    const char* portEnd = text.data() + text.size();
    std::uint16_t port = 0;
    const auto [end, portError] = std::from_chars(text.data() + colon + 1, portEnd, port);
    if (portError != std::errc() || end != portEnd) return std::nullopt;

    asio::error_code addressError;
    const asio::ip::address address = asio::ip::make_address(host, addressError);
    if (addressError || address.is_v6() != bracketed) return std::nullopt;
    return tcp::endpoint(address, port);
}

std::string toText(const tcp::endpoint& endpoint)
{
    const std::string address = endpoint.address().to_string();
    const std::string port = std::to_string(endpoint.port());
    return endpoint.address().is_v6() ? "[" + address + "]:" + port : address + ":" + port;
}

// One connection: reads, answers, and reads on only when the answer has gone out.
class RpcListener::Client : public std::enable_shared_from_this<Client>
{
public:
    Client(tcp::socket socket, RpcListener& owner)
        : m_socket(std::move(socket)), m_owner(owner), m_session(owner.m_dispatcher)
    {
        markUsed();
    }

    void read()
    {
        closeWithoutMemory([this] {
            unsigned char* where = m_session.prepare(kReadBytes);
            m_socket.async_read_some(
                asio::buffer(where, kReadBytes),
                [self = shared_from_this()](const asio::error_code& error, std::size_t count) {
                    self->onRead(error, count);
                });
        });
    }

    void close()
    {
        m_closed = true;
        asio::error_code ignored;
        m_socket.close(ignored);
    }

    // Whether a should lose its place before b does.
    static bool isIdler(const std::shared_ptr<Client>& a, const std::shared_ptr<Client>& b)
    {
        return std::pair(a->m_answered, a->m_lastUse) < std::pair(b->m_answered, b->m_lastUse);
    }

private:
    // Runs a step. One that finds no memory ends this connection and no other; the
    // owner's reference to it is gone then.
    template <class Step>
    void closeWithoutMemory(Step step)
    {
        try {
            step();
        } catch (const std::bad_alloc&) {
            spdlog::warn("a connection is closed: no memory for it");
            m_owner.remove(*this);
        }
    }

    void markUsed() { m_lastUse = ++m_owner.m_uses; }

    // The owner may be gone once the client is closed.
    void onRead(const asio::error_code& error, std::size_t count)
    {
        if (m_closed) return;
        if (error) {
            m_owner.remove(*this);
        } else {
            proceed(count);
        }
    }

    void proceed(std::size_t count)
    {
        closeWithoutMemory([this, count] {
            if (!m_session.received(count)) {
                spdlog::warn("a connection is closed: what it sent is no request");
                m_owner.remove(*this);
            } else if (m_session.output().empty()) {
                read();
            } else {
                write();
            }
        });
    }

    void write()
    {
        asio::async_write(m_socket, asio::buffer(m_session.output()),
                          [self = shared_from_this()](const asio::error_code& error, std::size_t) {
                              self->onWritten(error);
                          });
    }

    void onWritten(const asio::error_code& error)
    {
        if (m_closed) return;
        if (error) {
            m_owner.remove(*this);
            return;
        }
        m_answered = true;
        markUsed();
        m_session.sent();
        proceed(0);
    }

    tcp::socket m_socket;
    RpcListener& m_owner;
    QZ::RPC::ServerSession m_session;
    std::uint64_t m_lastUse = 0;
    bool m_answered = false;
    bool m_closed = false;
};

RpcListener::RpcListener(asio::io_context& io, const tcp::endpoint& where,
                         QZ::RPC::IDispatcher& dispatcher)
    : m_dispatcher(dispatcher), m_acceptor(io), m_retry(io)
{
    m_acceptor.open(where.protocol());
    closeOnExec(m_acceptor.native_handle());
    m_acceptor.set_option(tcp::acceptor::reuse_address(true));
    m_acceptor.bind(where);
    m_acceptor.listen();
    accept();
}

RpcListener::~RpcListener() { stop(); }

void RpcListener::stop()
{
    asio::error_code ignored;
    m_acceptor.close(ignored);
    m_retry.cancel();
    for (const std::shared_ptr<Client>& client : m_clients) client->close();
    m_clients.clear();
}

void RpcListener::accept()
{
    m_acceptor.async_accept([this](const asio::error_code& error, tcp::socket socket) {
        // Touches nothing of the listener then: it may be gone.
        if (error == asio::error::operation_aborted) return;
        if (error) {
            spdlog::error("a connection could not be taken: {}", error.message());
            acceptLater();
        } else {
            admit(std::move(socket));
            accept();
        }
    });
}

void RpcListener::admit(tcp::socket socket)
{
    if (m_clients.size() >= kMaxClients) dropIdlest();
    closeOnExec(socket.native_handle());
    asio::error_code ignored;
    socket.set_option(tcp::no_delay(true), ignored);
    m_clients.push_back(std::make_shared<Client>(std::move(socket), *this));
    m_clients.back()->read();
}

// Out of descriptors, most likely: make room, and do not spin meanwhile.
void RpcListener::acceptLater()
{
    dropIdlest();
    m_retry.expires_after(kAcceptRetry);
    m_retry.async_wait([this](const asio::error_code& error) {
        if (!error) accept();
    });
}

void RpcListener::dropIdlest()
{
    const auto idlest = std::min_element(m_clients.begin(), m_clients.end(), &Client::isIdler);
    if (idlest == m_clients.end()) return;
    spdlog::debug("too many connections: the one that is idle longest is closed");
    remove(**idlest);
}

void RpcListener::remove(Client& client)
{
    client.close();
    m_clients.remove_if([&](const std::shared_ptr<Client>& each) { return each.get() == &client; });
}

}  // namespace vpnd
