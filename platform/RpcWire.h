#pragma once

#include "platform/QZUtils.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The bytes between client and service, without any socket: docs/rpc-protocol.md.
namespace QZ::RPC
{

// Bytes of the length in front of a frame's body.
constexpr std::uint32_t kLengthBytes = 4;
// Largest frame body in either direction; a longer one breaks the connection.
constexpr std::uint32_t kMaxFrameBytes = 1024 * 1024;
// Storage up to this size is kept from one frame to the next, more is given back.
constexpr std::size_t kMaxKeptBytes = 64 * 1024;
// Longest method name, in bytes.
constexpr std::uint32_t kMaxMethodBytes = 64;

enum class ReplyStatus : unsigned char {
    kResult = 0,  // a result block follows, empty for a method without result
    kError = 1,   // a text follows that says why the call was refused
};

// A buffer in memory that refuses to grow past kMaxFrameBytes plus the length
// field. It may start with a head, which belongs to the frame: clear() keeps it
// and reading starts behind it.
class ByteBuffer final : public utils::IBuffer
{
public:
    unsigned int size() const override;
    void clear() override;
    int write(const void* data, unsigned int count, int flags) override;
    int read(void* data, unsigned int count, int flags) override;

    // Empties the buffer, head included. Up to kMaxKeptBytes of storage stay for the next use.
    void reset();
    // Makes all that was written so far the head.
    void markHead() { m_cursor = m_head = m_bytes.size(); }

    // The bytes written so far, head included, read or not.
    const std::vector<unsigned char>& bytes() const { return m_bytes; }
    std::vector<unsigned char>& bytes() { return m_bytes; }
    // True once a write was refused; such a buffer must not be sent.
    bool overflowed() const { return m_overflowed; }

private:
    std::vector<unsigned char> m_bytes;
    std::size_t m_head = 0;
    std::size_t m_cursor = 0;
    bool m_overflowed = false;
};

// Reads a stretch of foreign memory; writing is refused.
class ByteView final : public utils::IBuffer
{
public:
    ByteView() = default;
    ByteView(const unsigned char* data, std::size_t count) : m_data(data), m_left(count) {}

    unsigned int size() const override;
    void clear() override;
    int write(const void* data, unsigned int count, int flags) override;
    int read(void* data, unsigned int count, int flags) override;

private:
    const unsigned char* m_data = nullptr;
    std::size_t m_left = 0;
};

// Cuts a byte stream into frame bodies.
class FrameReader
{
public:
    enum class Next { kFrame, kIncomplete, kMalformed };

    // Where the next bytes of the stream go, at least count of them; then commit() what
    // came. Storage grows with what was received and asked for here, never with what a
    // frame announces; when nothing is pending, no more than kMaxKeptBytes are kept.
    // Raises std::bad_alloc, with nothing lost, when there is no memory for it.
    unsigned char* prepare(std::size_t count);
    void commit(std::size_t count);
    // Bytes that were committed and not yet taken as frames.
    std::size_t pending() const { return m_end - m_begin; }
    // Takes the next body off the stream; it stays valid until prepare() is called again.
    // kMalformed, for good, when a length of 0 or above kMaxFrameBytes is announced.
    Next next(ByteView& body);

private:
    std::vector<unsigned char> m_bytes;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
};

// Frames. begin… empties the buffer and starts a frame in it, the block is then
// written behind that head, endFrame fills in the length; false when the frame
// grew too long. Names and texts are not checked here.
void beginRequest(ByteBuffer& frame, std::uint32_t callId, std::string_view method);
void beginReply(ByteBuffer& frame, std::uint32_t callId, ReplyStatus status);
[[nodiscard]] bool endFrame(ByteBuffer& frame);

struct RequestHead {
    std::uint32_t callId = 0;
    utils::String method;
};
struct ReplyHead {
    std::uint32_t callId = 0;
    ReplyStatus status = ReplyStatus::kError;
};
// Read a body's head; the block is what is left of it. False when it is malformed.
[[nodiscard]] bool readHead(ByteView& body, RequestHead& head);
[[nodiscard]] bool readHead(ByteView& body, ReplyHead& head);

// Numbers the calls of one connection, modulo 2^32, and tells what a reply belongs to.
class CallCounter
{
public:
    enum class Reply {
        kAwaited,  // to the last issued call
        kLate,     // to an earlier one
        kForeign,  // to none that was issued
    };

    // Goes on behind number last, the latest of issued calls.
    explicit CallCounter(std::uint32_t last = 0, std::uint32_t issued = 0)
        : m_last(last), m_issued(issued)
    {
    }

    // The number for the next call; issued() once that call is on its way.
    std::uint32_t next() const { return m_last + 1; }
    void issued();
    [[nodiscard]] Reply classify(std::uint32_t callId) const;

private:
    std::uint32_t m_last;
    std::uint32_t m_issued;
};

}  // namespace QZ::RPC
