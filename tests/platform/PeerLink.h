#pragma once

#include "platform/QZRPC.h"
#include "platform/RpcWire.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

// A client over a real socket whose service is the test. What the service has
// to say is mostly sent before the call: the client takes it only after sending.
namespace peer_link
{

using Bytes = std::vector<unsigned char>;

// Time-out of a call that is not meant to reach it.
constexpr unsigned int kAmpleMs = 5000;

inline Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

// Writes without a cast that is needed on some processors only.
inline void append(QZ::utils::IBuffer& buffer, const std::string& block)
{
    const std::uint64_t count = block.size();
    buffer.write(block.data(), static_cast<unsigned int>(count), 0);
}

inline Bytes reply(std::uint32_t callId, const std::string& block,
                   QZ::RPC::ReplyStatus status = QZ::RPC::ReplyStatus::kResult)
{
    QZ::RPC::ByteBuffer frame;
    QZ::RPC::beginReply(frame, callId, status);
    append(frame, block);
    EXPECT_TRUE(QZ::RPC::endFrame(frame));
    return frame.bytes();
}

// Hands out one connected socket; tells when it is deleted.
class OneSocketFactory final : public QZ::Net::IClientFactory
{
public:
    explicit OneSocketFactory(int fd, int* deleted = nullptr) : m_fd(fd), m_deleted(deleted) {}
    ~OneSocketFactory() override
    {
        if (m_deleted != nullptr) ++*m_deleted;
    }
    int connect(const QZ::Net::Address&, unsigned int) override { return m_fd; }

private:
    int m_fd;
    int* m_deleted;
};

// How one call went.
struct Outcome {
    bool raised = false;
    std::string func;
    std::string info;
    bool hasResult = false;
    std::string block;
    std::int64_t ms = 0;
};

inline Outcome call(QZ::RPC::DispatchClient& client, unsigned int timeOutMs,
                    const std::string& argument = "")
{
    Outcome outcome;
    const auto begin = std::chrono::steady_clock::now();
    QZ::RPC::SyncProxy proxy(&client);
    try {
        proxy.setTimeOut(timeOutMs);
        if (QZ::utils::IBuffer* args = proxy.argsBuffer("method")) {
            append(*args, argument);
        }
        proxy.sync();
    } catch (const QZ::Net::Exception& exception) {
        outcome.raised = true;
        outcome.func = exception.func();
        outcome.info = exception.info();
    }
    outcome.ms = std::chrono::duration_cast<std::chrono::milliseconds>(
                     std::chrono::steady_clock::now() - begin)
                     .count();
    if (QZ::utils::IBuffer* result = proxy.resultBuffer()) {
        outcome.hasResult = true;
        outcome.block.resize(result->size());
        EXPECT_NE(result->read(outcome.block.data(), result->size(), 0), 0);
    }
    return outcome;
}

class PeerLink
{
public:
    explicit PeerLink(int* deleted = nullptr)
        : m_fds(makePair()),
          client(QZ::Net::Address("127.0.0.1:1"), new OneSocketFactory(m_fds.client, deleted))
    {
    }
    ~PeerLink() { hangUp(); }
    PeerLink(const PeerLink&) = delete;
    PeerLink& operator=(const PeerLink&) = delete;

    int peer() const { return m_fds.peer; }
    int clientSocket() const { return m_fds.client; }

    // All bytes to the client; false when it went away or takes nothing for ten seconds.
    bool send(const Bytes& bytes) const
    {
        std::size_t sent = 0;
        while (sent < bytes.size()) {
            const ssize_t count =
                ::send(peer(), bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
            if (count <= 0) return false;
            sent += static_cast<std::size_t>(count);
        }
        return true;
    }
    void hangUp()
    {
        if (m_fds.peer >= 0) close(m_fds.peer);
        m_fds.peer = -1;
    }
    // The next request as a whole frame; empty when it does not come.
    Bytes takeRequest() const
    {
        Bytes frame(4);
        if (!take(frame, 0)) return {};
        const std::size_t length =
            frame[0] + std::size_t{frame[1]} * 256 + std::size_t{frame[2]} * 65536;
        frame.resize(4 + length);
        return take(frame, 4) ? frame : Bytes();
    }
    // Whether the client has sent nothing that was not taken.
    bool isQuiet() const
    {
        char byte = 0;
        return recv(peer(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0;
    }

private:
    struct Pair {
        int client = -1;
        int peer = -1;
    };
    static Pair makePair()
    {
        int fds[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
        const timeval time = {10, 0};  // no test hangs on its own side
        setsockopt(fds[1], SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time);
        setsockopt(fds[1], SOL_SOCKET, SO_SNDTIMEO, &time, sizeof time);
        return {fds[0], fds[1]};
    }
    bool take(Bytes& bytes, std::size_t from) const
    {
        while (from < bytes.size()) {
            const ssize_t count = recv(peer(), bytes.data() + from, bytes.size() - from, 0);
            if (count <= 0) return false;
            from += static_cast<std::size_t>(count);
        }
        return true;
    }

    Pair m_fds;

public:
    QZ::RPC::DispatchClient client;
};

}  // namespace peer_link
