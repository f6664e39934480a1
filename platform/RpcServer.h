#pragma once

#include "platform/RpcWire.h"

#include <cstddef>
#include <functional>
#include <string_view>

// The service's side of a connection, without any socket or thread.
namespace QZ::RPC
{

// What dispatch() returns, this very address, when the answer comes later.
inline constexpr char kAnswersLater[] = "no answer";

// Writes the result block of a call; returns as IDispatcher::dispatch().
using ResultWriter = std::function<const char*(utils::IBuffer& result)>;

// What a service does when a call arrives.
class IDispatcher
{
public:
    // Carries out method with the argument block args and writes the result
    // block into result. Returns null when done, else a text with static
    // lifetime that says why the call was refused; it goes into the error
    // reply, so it holds no argument values. Or kAnswersLater: what it wrote is
    // dropped, and the session waits for finish(). All three are valid until it
    // returns. Must not raise.
    virtual const char* dispatch(std::string_view method, utils::IBuffer& args,
                                 utils::IBuffer& result) = 0;

protected:
    ~IDispatcher() = default;
};

// One client's stream: bytes in, calls to the dispatcher, bytes out.
class ServerSession
{
public:
    // Borrows the dispatcher, which must outlive the session.
    explicit ServerSession(IDispatcher& dispatcher) : m_dispatcher(dispatcher) {}

    // Where the next received bytes go; then received() with how many came. Both
    // raise std::bad_alloc when there is no memory; close the connection then.
    unsigned char* prepare(std::size_t count) { return m_reader.prepare(count); }
    // Answers complete requests in their order until one reply is waiting, one is answered
    // later, or no request is left. False, for good, when the stream is malformed and must be
    // closed. A result that outgrows a frame is answered with an error. Call it again with 0 after
    // sent(), before reading on: while a reply or an answer is waited for, more bytes only pile
    // up, and behind as many as a longest frame has the stream counts as malformed.
    [[nodiscard]] bool received(std::size_t count);

    // Whether the last request is answered later. Until then no other one is looked at.
    bool isWaiting() const { return m_isWaiting; }
    // Answers that request: the reply is output() then, and the rest of the stream waits for
    // sent() and received(0). False when none waits: write is not called, nothing changes.
    // Raises what write raises; close the connection then.
    bool finish(const ResultWriter& write);

    // The reply that waits to be sent; empty when there is none.
    const std::vector<unsigned char>& output() const { return m_reply.bytes(); }
    // The whole output has gone out.
    void sent() { m_reply.reset(); }

    // Whether it holds nothing of its client, neither bytes received nor a reply, and owes it
    // none: such a session may go on with any other connection, whose storage is the same then.
    bool isIdle() const
    {
        return !m_malformed && !m_isWaiting && m_reader.pending() == 0 && m_reply.bytes().empty();
    }

    // Bytes of the client that it keeps meanwhile.
    std::size_t heldBytes() const { return m_reader.pending() + m_reply.bytes().size(); }

private:
    void complete(const char* refusal);

    IDispatcher& m_dispatcher;
    FrameReader m_reader;
    ByteBuffer m_reply;
    RequestHead m_head;
    bool m_isWaiting = false;
    bool m_malformed = false;
};

}  // namespace QZ::RPC
