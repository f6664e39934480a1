#include "platform/RpcWire.h"

#include <algorithm>
#include <cstring>

namespace QZ::RPC
{

namespace
{

constexpr std::size_t kMaxBufferBytes = kMaxFrameBytes + kLengthBytes;

// Sizes here are below the cap of a frame; size_t has another width on each processor.
std::uint32_t narrow(std::uint64_t size) { return static_cast<std::uint32_t>(size); }

void storeU32(unsigned char* to, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i) to[i] = static_cast<unsigned char>(value >> 8 * i & 0xFF);
}

std::uint32_t loadU32(const unsigned char* from)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) value |= std::uint32_t{from[i]} << 8 * i;
    return value;
}

void writeU32(ByteBuffer& buffer, std::uint32_t value)
{
    unsigned char bytes[4];
    storeU32(bytes, value);
    buffer.write(bytes, sizeof bytes, 0);
}

bool readU32(ByteView& buffer, std::uint32_t& value)
{
    unsigned char bytes[4] = {};
    if (buffer.read(bytes, sizeof bytes, 0) == 0) return false;
    value = loadU32(bytes);
    return true;
}

void limitKept(std::vector<unsigned char>& unused)
{
    if (unused.capacity() > kMaxKeptBytes) std::vector<unsigned char>().swap(unused);
}

// The length is filled in by endFrame.
void beginFrame(ByteBuffer& frame, std::uint32_t callId)
{
    frame.reset();
    writeU32(frame, 0);
    writeU32(frame, callId);
}

}  // namespace

unsigned int ByteBuffer::size() const { return narrow(m_bytes.size() - m_cursor); }

void ByteBuffer::clear()
{
    m_bytes.resize(m_head);
    m_cursor = m_head;
    m_overflowed = false;
}

void ByteBuffer::reset()
{
    m_head = 0;
    clear();
    limitKept(m_bytes);
}

int ByteBuffer::write(const void* data, unsigned int count, int)
{
    if (m_overflowed || count > kMaxBufferBytes - m_bytes.size()) {
        m_overflowed = true;
        return 0;
    }
    const std::size_t end = m_bytes.size();
    m_bytes.resize(end + count);
    if (count != 0) std::memcpy(m_bytes.data() + end, data, count);
    return 1;
}

int ByteBuffer::read(void* data, unsigned int count, int)
{
    if (count > m_bytes.size() - m_cursor) return 0;
    if (count != 0) std::memcpy(data, m_bytes.data() + m_cursor, count);
    m_cursor += count;
    return 1;
}

unsigned int ByteView::size() const { return narrow(m_left); }

void ByteView::clear() { m_left = 0; }

int ByteView::write(const void*, unsigned int, int) { return 0; }

int ByteView::read(void* data, unsigned int count, int)
{
    if (count > m_left) return 0;
    if (count != 0) std::memcpy(data, m_data, count);
    m_data += count;
    m_left -= count;
    return 1;
}

unsigned char* FrameReader::prepare(std::size_t count)
{
    if (m_begin == m_end) {
        m_begin = m_end = 0;
        limitKept(m_bytes);
    }
    // What is pending is moved down at most once for each frame that was taken ...
    if (m_begin != 0 && m_bytes.size() - m_end < count) {
        std::copy(m_bytes.data() + m_begin, m_bytes.data() + m_end, m_bytes.data());
        m_end -= m_begin;
        m_begin = 0;
    }
    // ... and grows by doubling up to a longest frame, so that one that comes byte by
    // byte costs no more than a few times its size.
    const std::size_t needed = m_end + count;
    if (needed > m_bytes.capacity()) {
        const std::size_t longest = kMaxBufferBytes + count;
        m_bytes.reserve(std::max(needed, std::min(2 * m_bytes.capacity(), longest)));
    }
    if (needed > m_bytes.size()) m_bytes.resize(needed);
    return m_bytes.data() + m_end;
}

void FrameReader::commit(std::size_t count) { m_end += std::min(count, m_bytes.size() - m_end); }

FrameReader::Next FrameReader::next(ByteView& body)
{
    if (pending() < kLengthBytes) return Next::kIncomplete;
    const std::uint32_t length = loadU32(m_bytes.data() + m_begin);
    // Such a length stays at the front, so the stream is malformed for good.
    if (length == 0 || length > kMaxFrameBytes) return Next::kMalformed;
    if (pending() - kLengthBytes < length) return Next::kIncomplete;
    body = ByteView(m_bytes.data() + m_begin + kLengthBytes, length);
    m_begin += kLengthBytes + length;
    return Next::kFrame;
}

void beginRequest(ByteBuffer& frame, std::uint32_t callId, std::string_view method)
{
    beginFrame(frame, callId);
    writeU32(frame, narrow(method.size()));
    frame.write(method.data(), narrow(method.size()), 0);
    frame.markHead();
}

void beginReply(ByteBuffer& frame, std::uint32_t callId, ReplyStatus status)
{
    beginFrame(frame, callId);
    frame.write(&status, 1, 0);
    frame.markHead();
}

bool endFrame(ByteBuffer& frame)
{
    if (frame.overflowed() || frame.bytes().size() <= kLengthBytes) return false;
    storeU32(frame.bytes().data(), narrow(frame.bytes().size() - kLengthBytes));
    return true;
}

bool readHead(ByteView& body, RequestHead& head)
{
    std::uint32_t length = 0;
    if (!readU32(body, head.callId) || !readU32(body, length)) return false;
    if (length == 0 || length > kMaxMethodBytes || length > body.size()) return false;
    head.method.resize(length);
    return body.read(head.method.data(), length, 0) != 0;
}

bool readHead(ByteView& body, ReplyHead& head)
{
    unsigned char status = 0;
    if (!readU32(body, head.callId) || body.read(&status, 1, 0) == 0) return false;
    head.status = static_cast<ReplyStatus>(status);
    return head.status == ReplyStatus::kResult || head.status == ReplyStatus::kError;
}

void CallCounter::issued()
{
    ++m_last;
    // Half of the numbers count as earlier; older ones cannot be told from later ones.
    if (m_issued < UINT32_MAX / 2) ++m_issued;
}

CallCounter::Reply CallCounter::classify(std::uint32_t callId) const
{
    const std::uint32_t age = m_last - callId;
    if (age >= m_issued) return Reply::kForeign;
    return age == 0 ? Reply::kAwaited : Reply::kLate;
}

}  // namespace QZ::RPC
