#include "platform/Deadline.h"
#include "platform/FileDescriptor.h"
#include "platform/QZRPC.h"
#include "platform/RpcWire.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <string>
#include <utility>

namespace QZ::RPC
{

using Net::Deadline;

namespace
{

constexpr unsigned int kConnectTimeoutMs = 3000;
// A reply up to this size is taken with one look at the socket.
constexpr std::size_t kReceiveBytes = 4096;
// More is taken at once while a long reply is under way, up to this.
constexpr std::size_t kMaxReceiveBytes = 65536;

// How long the kernel may wait inside the first receive. Its timer for that counts in ticks of
// up to 10 ms and ends up to an eighth late; from there on poll() waits, which is exact.
unsigned int firstWaitMs(unsigned int timeOutMs)
{
    constexpr unsigned int kTwoTicksMs = 20;
    return timeOutMs <= kTwoTicksMs ? 0 : (timeOutMs - kTwoTicksMs) / 8 * 7;
}

// The texts hold numbers, never what was sent or received.
[[noreturn]] void fail(const std::string& info) { throw Net::Exception("sync", info.c_str()); }

}  // namespace

struct DispatchClient::Impl {
    // Sends the started request and waits for its reply, as SyncProxy::sync() says.
    void exchange(unsigned int timeOutMs);

    std::unique_ptr<Net::IClientFactory> factory;
    Net::FileDescriptor socket;  // closed, what was received stays readable
    bool started = false;        // request holds a call that was not tried yet
    bool hasResult = false;      // result is the block of the last reply
    ByteBuffer request;
    ByteView result;

private:
    // True when the whole request left with the first attempt.
    bool sendRequest(const Deadline& deadline, unsigned int timeOutMs);
    void awaitReply(const Deadline& deadline, unsigned int timeOutMs, bool mayBlock);
    bool receive(int flags);
    bool takeFrames(bool awaiting);
    short waitFor(short events, const Deadline& deadline);
    bool setReceiveTimeout(unsigned int waitMs);
    [[noreturn]] void breakOff(const std::string& info);

    FrameReader m_reader;
    CallCounter m_calls;
    unsigned int m_receiveTimeoutMs = 0;  // in force on the socket; 0 is none
    friend class SyncProxy;
};

void DispatchClient::Impl::breakOff(const std::string& info)
{
    socket.reset();
    fail(info);
}

void DispatchClient::Impl::exchange(unsigned int timeOutMs)
{
    const Deadline deadline(timeOutMs);
    hasResult = false;
    const bool wasStarted = std::exchange(started, false);
    if (!socket.isOpen()) fail("not connected");
    if (!wasStarted) fail("no call was started");
    if (!endFrame(request))
        fail("request longer than " + std::to_string(kMaxFrameBytes) + " bytes");

    takeFrames(false);
    try {
        const bool atOnce = sendRequest(deadline, timeOutMs);
        m_calls.issued();
        awaitReply(deadline, timeOutMs, atOnce);
    } catch (const Net::Exception&) {
        throw;
    } catch (...) {
        // A cancelled thread leaves from within a system call: what that has sent or taken,
        // nobody knows.
        socket.reset();
        throw;
    }
}

bool DispatchClient::Impl::sendRequest(const Deadline& deadline, unsigned int timeOutMs)
{
    const std::vector<unsigned char>& bytes = request.bytes();
    std::size_t sent = 0;
    for (bool atOnce = true;; atOnce = false) {
        const ssize_t count = send(socket.get(), bytes.data() + sent, bytes.size() - sent,
                                   MSG_NOSIGNAL | MSG_DONTWAIT);
        if (count > 0) sent += static_cast<std::size_t>(count);
        if (sent == bytes.size()) return atOnce;
        if (count < 0 && errno != EINTR && errno != EAGAIN) {
            breakOff("socket error " + std::to_string(errno) + " while sending");
        }
        // Replies are taken meanwhile: a service that is stuck with a late one would
        // never come to read the rest of the request.
        const short ready = waitFor(POLLOUT | POLLIN, deadline);
        if (ready == 0) {
            if (sent != 0) socket.reset();
            fail("request not sent within " + std::to_string(timeOutMs) + " ms");
        }
        if ((ready & POLLIN) != 0 && receive(MSG_DONTWAIT)) takeFrames(false);
    }
}

void DispatchClient::Impl::awaitReply(const Deadline& deadline, unsigned int timeOutMs,
                                      bool mayBlock)
{
    // The common case: the kernel waits inside the one receive.
    const unsigned int firstMs = firstWaitMs(timeOutMs);
    if (mayBlock && firstMs != 0 && setReceiveTimeout(firstMs) && receive(0) && takeFrames(true)) {
        return;
    }
    do {
        if (waitFor(POLLIN, deadline) == 0) {
            fail("no reply within " + std::to_string(timeOutMs) + " ms");
        }
    } while (!receive(MSG_DONTWAIT) || !takeFrames(true));
}

// Takes what the socket holds; false when nothing came.
bool DispatchClient::Impl::receive(int flags)
{
    const std::size_t wanted = std::clamp(m_reader.pending(), kReceiveBytes, kMaxReceiveBytes);
    unsigned char* to = nullptr;
    try {
        to = m_reader.prepare(wanted);
    } catch (const std::bad_alloc&) {
        breakOff("out of memory");
    }
    const ssize_t count = recv(socket.get(), to, wanted, flags);
    if (count > 0) {
        m_reader.commit(static_cast<std::size_t>(count));
        return true;
    }
    if (count == 0) breakOff("connection closed by the service");
    if (errno != EINTR && errno != EAGAIN) {
        breakOff("socket error " + std::to_string(errno) + " while receiving");
    }
    return false;
}

// Goes through the frames that came: true once the awaited reply is among them,
// others are skipped. What follows the awaited reply is looked at before the next call.
bool DispatchClient::Impl::takeFrames(bool awaiting)
{
    ByteView body;
    for (;;) {
        const FrameReader::Next next = m_reader.next(body);
        if (next == FrameReader::Next::kIncomplete) return false;
        ReplyHead head;
        if (next == FrameReader::Next::kMalformed || !readHead(body, head)) {
            breakOff("malformed frame from the service");
        }
        const CallCounter::Reply reply = m_calls.classify(head.callId);
        if (reply == CallCounter::Reply::kForeign) {
            breakOff("reply to call " + std::to_string(head.callId) + ", which was not made");
        }
        if (!awaiting || reply == CallCounter::Reply::kLate) continue;
        result = body;
        hasResult = head.status == ReplyStatus::kResult;
        return true;
    }
}

// What the socket is ready for; 0 once the time is over.
short DispatchClient::Impl::waitFor(short events, const Deadline& deadline)
{
    while (!deadline.passed()) {
        pollfd entry = {socket.get(), events, 0};
        const int ready = poll(&entry, 1, deadline.pollTimeoutMs());
        if (ready > 0) return entry.revents;
        if (ready < 0 && errno != EINTR) {
            breakOff("poll error " + std::to_string(errno));
        }
    }
    return 0;
}

bool DispatchClient::Impl::setReceiveTimeout(unsigned int waitMs)
{
    if (waitMs == m_receiveTimeoutMs) return true;
    timeval time = {};
    time.tv_sec = static_cast<time_t>(waitMs / 1000);
    time.tv_usec = static_cast<suseconds_t>(waitMs % 1000 * 1000);
    if (setsockopt(socket.get(), SOL_SOCKET, SO_RCVTIMEO, &time, sizeof time) != 0) return false;
    m_receiveTimeoutMs = waitMs;
    return true;
}

DispatchClient::DispatchClient(Net::Address address, Net::IClientFactory* factory)
{
    std::unique_ptr<Net::IClientFactory> owned(factory);
    m_impl = std::make_unique<Impl>();
    m_impl->factory = std::move(owned);
    if (m_impl->factory != nullptr)
        m_impl->socket.reset(m_impl->factory->connect(address, kConnectTimeoutMs));
}

DispatchClient::~DispatchClient() = default;

bool DispatchClient::online() const
{
    if (!m_impl->socket.isOpen()) return false;
    char byte = 0;
    const ssize_t count = recv(m_impl->socket.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return count > 0 || (count < 0 && (errno == EAGAIN || errno == EINTR));
}

void DispatchClient::stop() { m_impl->socket.reset(); }

SyncProxy::SyncProxy(const utils::String&) {}

SyncProxy::SyncProxy(DispatchClient* connection) : m_connection(connection) {}

SyncProxy::~SyncProxy() = default;

void SyncProxy::setTimeOut(unsigned int timeOutMs) { m_timeOutMs = timeOutMs; }

utils::IBuffer* SyncProxy::argsBuffer(const utils::String& method)
{
    if (m_connection == nullptr) return nullptr;
    DispatchClient::Impl& impl = *m_connection->m_impl;
    impl.hasResult = false;
    impl.started = impl.socket.isOpen() && !method.empty() && method.size() <= kMaxMethodBytes;
    if (!impl.started) return nullptr;
    beginRequest(impl.request, impl.m_calls.next(), method);
    return &impl.request;
}

void SyncProxy::sync()
{
    if (m_connection == nullptr) fail("not connected");
    m_connection->m_impl->exchange(m_timeOutMs);
}

utils::IBuffer* SyncProxy::resultBuffer()
{
    if (m_connection == nullptr || !m_connection->m_impl->hasResult) return nullptr;
    return &m_connection->m_impl->result;
}

}  // namespace QZ::RPC
