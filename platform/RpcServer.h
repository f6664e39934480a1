#pragma once

#include "platform/RpcWire.h"

#include <cstddef>
#include <string_view>

// The service's side of a connection, without any socket or thread.
namespace QZ::RPC
{

// What a service does when a call arrives.
class IDispatcher
{
public:
    // Carries out method with the argument block args and writes the result
    // block into result. Returns null when done, else a text with static
    // lifetime that says why the call was refused; it goes into the error
    // reply, so it holds no argument values. Must not raise.
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
    // Answers complete requests in their order until one reply is waiting or no
    // request is left. False, for good, when the stream is malformed and must be
    // closed. A result that outgrows a frame is answered with an error. Call it again with 0 after
    // sent(), before reading on: while a reply waits, more bytes only pile up, and behind
    // as many as a longest frame has the stream counts as malformed.
    [[nodiscard]] bool received(std::size_t count);

    // The reply that waits to be sent; empty when there is none.
    const std::vector<unsigned char>& output() const { return m_reply.bytes(); }
    // The whole output has gone out.
    void sent() { m_reply.reset(); }

    // Whether it holds nothing of its client, neither bytes received nor a reply: such a
    // session may go on with any other connection, whose storage is the same then.
    bool isIdle() const
    {
        return !m_malformed && m_reader.pending() == 0 && m_reply.bytes().empty();
    }

    // Bytes of the client that it keeps meanwhile.
    std::size_t heldBytes() const { return m_reader.pending() + m_reply.bytes().size(); }

private:
    IDispatcher& m_dispatcher;
    FrameReader m_reader;
    ByteBuffer m_reply;
    RequestHead m_head;
    bool m_malformed = false;
};

}  // namespace QZ::RPC
