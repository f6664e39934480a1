#pragma once

#include "platform/QZUtils.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The bytes between client and service, without any socket: docs/rpc-protocol.md.
namespace QZ::RPC {

// Largest frame body in either direction; a longer one breaks the connection.
constexpr std::uint32_t kMaxFrameBytes = 1024 * 1024;
// Longest method name, in bytes.
constexpr std::uint32_t kMaxMethodBytes = 64;

enum class ReplyStatus : unsigned char {
    kResult = 0,  // a result block follows, empty for a method without result
    kError = 1,   // a text follows that says why the call was refused
};

// A buffer in memory that refuses to grow past kMaxFrameBytes plus the length field.
class ByteBuffer final : public utils::IBuffer
{
public:
    unsigned int size() const override;
    void clear() override;
    int write(const void* data, unsigned int count, int flags) override;
    int read(void* data, unsigned int count, int flags) override;

    // The bytes written so far, read or not.
    const std::vector<unsigned char>& bytes() const { return m_bytes; }
    std::vector<unsigned char>& bytes() { return m_bytes; }
    // True once a write was refused; such a buffer must not be sent.
    bool overflowed() const { return m_overflowed; }

private:
    std::vector<unsigned char> m_bytes;
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

    // Where the next bytes of the stream go, at least count of them; then commit() what came.
    unsigned char* prepare(std::size_t count);
    void commit(std::size_t count);
    // Takes the next body off the stream; it stays valid until prepare() is called again.
    // kMalformed, for good, when a length of 0 or above kMaxFrameBytes is announced.
    Next next(ByteView& body);

private:
    std::vector<unsigned char> m_bytes;
    std::size_t m_begin = 0;
    std::size_t m_end = 0;
    bool m_malformed = false;
};

// Frames. begin… starts a frame in an empty buffer, the block is then written
// behind it, endFrame fills in the length; false when the frame grew too long.
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

}  // namespace QZ::RPC
