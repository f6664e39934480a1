#include "platform/RpcWire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using namespace QZ::RPC;
using Bytes = std::vector<unsigned char>;

// A frame with the given announced length in front of the body.
Bytes frame(std::uint32_t length, const Bytes& body)
{
    Bytes bytes;
    for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<unsigned char>(length >> 8 * i & 0xFF));
    bytes.insert(bytes.end(), body.begin(), body.end());
    return bytes;
}

void feed(FrameReader& reader, const Bytes& bytes)
{
    std::copy(bytes.begin(), bytes.end(), reader.prepare(bytes.size()));
    reader.commit(bytes.size());
}

Bytes rest(ByteView& view)
{
    Bytes bytes(view.size());
    EXPECT_NE(view.read(bytes.data(), view.size(), 0), 0);
    return bytes;
}

TEST(ByteBufferTest, ReadsWhatWasWritten)
{
    ByteBuffer buffer;
    EXPECT_NE(buffer.write("abcd", 4, 0), 0);
    EXPECT_EQ(buffer.size(), 4u);
    char piece[2];
    EXPECT_NE(buffer.read(piece, 2, 0), 0);
    EXPECT_EQ(std::string(piece, 2), "ab");
    EXPECT_EQ(buffer.size(), 2u);
    EXPECT_EQ(buffer.bytes().size(), 4u);
}

TEST(ByteBufferTest, AReadBeyondTheEndTakesNothing)
{
    ByteBuffer buffer;
    buffer.write("ab", 2, 0);
    char piece[3] = "--";
    EXPECT_EQ(buffer.read(piece, 3, 0), 0);
    EXPECT_EQ(buffer.read(piece, 0xFFFFFFFFu, 0), 0);
    EXPECT_STREQ(piece, "--");
    EXPECT_EQ(buffer.size(), 2u);
    EXPECT_NE(buffer.read(piece, 0, 0), 0);
}

TEST(ByteBufferTest, TakesALongestFrameAndNotOneByteMore)
{
    ByteBuffer buffer;
    const Bytes longest(kMaxFrameBytes + 4, 'x');
    EXPECT_NE(buffer.write(longest.data(), kMaxFrameBytes + 4, 0), 0);
    EXPECT_FALSE(buffer.overflowed());
    EXPECT_EQ(buffer.write("x", 1, 0), 0);
    EXPECT_TRUE(buffer.overflowed());
    EXPECT_EQ(buffer.bytes().size(), longest.size());
}

TEST(ByteBufferTest, AfterARefusedWriteEveryWriteIsRefusedUntilClear)
{
    ByteBuffer buffer;
    EXPECT_EQ(buffer.write("x", 0xFFFFFFFFu, 0), 0);
    EXPECT_EQ(buffer.write("x", 1, 0), 0);
    EXPECT_TRUE(buffer.overflowed());
    buffer.clear();
    EXPECT_FALSE(buffer.overflowed());
    EXPECT_NE(buffer.write("x", 1, 0), 0);
}

TEST(ByteBufferTest, ClearKeepsTheHead)
{
    ByteBuffer buffer;
    buffer.write("head", 4, 0);
    buffer.markHead();
    EXPECT_EQ(buffer.size(), 0u);
    buffer.write("ab", 2, 0);
    buffer.clear();
    EXPECT_EQ(buffer.bytes().size(), 4u);
    EXPECT_EQ(buffer.size(), 0u);
    buffer.write("c", 1, 0);
    char c = 0;
    EXPECT_NE(buffer.read(&c, 1, 0), 0);
    EXPECT_EQ(c, 'c');
    buffer.reset();
    EXPECT_TRUE(buffer.bytes().empty());
}

TEST(ByteViewTest, ReadsAndRefusesToBeWritten)
{
    const Bytes bytes = {1, 2, 3};
    ByteView view(bytes.data(), bytes.size());
    unsigned char piece[4] = {};
    EXPECT_EQ(view.read(piece, 4, 0), 0);
    EXPECT_NE(view.read(piece, 1, 0), 0);
    EXPECT_EQ(piece[0], 1);
    EXPECT_EQ(view.size(), 2u);
    EXPECT_EQ(view.write("x", 1, 0), 0);
    view.clear();
    EXPECT_EQ(view.size(), 0u);
    EXPECT_EQ(ByteView().read(piece, 1, 0), 0);
}

TEST(FrameReaderTest, CutsAStreamThatComesByteByByte)
{
    FrameReader reader;
    ByteView body;
    Bytes stream = frame(3, {1, 2, 3});
    const Bytes second = frame(1, {9});
    stream.insert(stream.end(), second.begin(), second.end());
    std::vector<Bytes> bodies;
    for (const unsigned char byte : stream) {
        feed(reader, {byte});
        while (reader.next(body) == FrameReader::Next::kFrame) bodies.push_back(rest(body));
    }
    EXPECT_EQ(bodies, (std::vector<Bytes>{{1, 2, 3}, {9}}));
    EXPECT_EQ(reader.pending(), 0u);
}

TEST(FrameReaderTest, CutsManyFramesThatComeAtOnce)
{
    FrameReader reader;
    ByteView body;
    Bytes stream;
    for (int i = 0; i < 1000; ++i) {
        const Bytes one = frame(1, {static_cast<unsigned char>(i & 0xFF)});
        stream.insert(stream.end(), one.begin(), one.end());
    }
    stream.push_back(1);  // the beginning of one more
    feed(reader, stream);
    for (int i = 0; i < 1000; ++i) {
        ASSERT_EQ(reader.next(body), FrameReader::Next::kFrame);
        ASSERT_EQ(rest(body), Bytes{static_cast<unsigned char>(i & 0xFF)});
    }
    EXPECT_EQ(reader.next(body), FrameReader::Next::kIncomplete);
    feed(reader, {0, 0, 0, 77});
    ASSERT_EQ(reader.next(body), FrameReader::Next::kFrame);
    EXPECT_EQ(rest(body), Bytes{77});
}

TEST(FrameReaderTest, TakesALongestFrame)
{
    FrameReader reader;
    ByteView body;
    feed(reader, frame(kMaxFrameBytes, Bytes(kMaxFrameBytes - 1, 'x')));
    EXPECT_EQ(reader.next(body), FrameReader::Next::kIncomplete);
    feed(reader, {'y'});
    ASSERT_EQ(reader.next(body), FrameReader::Next::kFrame);
    EXPECT_EQ(rest(body).back(), 'y');
}

TEST(FrameReaderTest, ALengthOfZeroOrAboveTheCapIsMalformedForGood)
{
    for (const std::uint32_t length : {0u, kMaxFrameBytes + 1, 0x80000000u, 0xFFFFFFFFu}) {
        FrameReader reader;
        ByteView body;
        feed(reader, frame(length, {}));
        EXPECT_EQ(reader.next(body), FrameReader::Next::kMalformed) << length;
        feed(reader, frame(1, {1}));
        EXPECT_EQ(reader.next(body), FrameReader::Next::kMalformed) << length;
    }
}

TEST(FrameReaderTest, CommitTakesNoMoreThanWasPrepared)
{
    FrameReader reader;
    reader.prepare(4);
    reader.commit(1000000);
    EXPECT_EQ(reader.pending(), 4u);
}

TEST(RequestTest, HeadAndBlockComeBack)
{
    ByteBuffer buffer;
    buffer.write("left over", 9, 0);
    beginRequest(buffer, 0xFFFFFFFE, "stopVPN");
    buffer.write("block", 5, 0);
    ASSERT_TRUE(endFrame(buffer));
    FrameReader reader;
    feed(reader, buffer.bytes());
    ByteView body;
    ASSERT_EQ(reader.next(body), FrameReader::Next::kFrame);
    RequestHead head;
    ASSERT_TRUE(readHead(body, head));
    EXPECT_EQ(head.callId, 0xFFFFFFFE);
    EXPECT_EQ(head.method, "stopVPN");
    EXPECT_EQ(rest(body), (Bytes{'b', 'l', 'o', 'c', 'k'}));
}

TEST(RequestTest, EveryBodyThatEndsInItsHeadIsMalformed)
{
    const Bytes whole = {1, 0, 0, 0, 3, 0, 0, 0, 'a', 'b', 'c'};
    RequestHead head;
    for (std::size_t count = 0; count < whole.size(); ++count) {
        ByteView body(whole.data(), count);
        EXPECT_FALSE(readHead(body, head)) << count;
    }
    ByteView body(whole.data(), whole.size());
    EXPECT_TRUE(readHead(body, head));
}

TEST(RequestTest, MethodsHaveOneToSixtyFourBytes)
{
    RequestHead head;
    for (const std::uint32_t length : {0u, 1u, 64u, 65u, 0xFFFFFFFFu}) {
        Bytes bytes = {1, 0, 0, 0};
        const Bytes method = frame(length, Bytes(100, 'm'));
        bytes.insert(bytes.end(), method.begin(), method.end());
        ByteView body(bytes.data(), bytes.size());
        EXPECT_EQ(readHead(body, head), length == 1 || length == 64) << length;
    }
}

TEST(ReplyTest, HeadAndBlockComeBack)
{
    for (const ReplyStatus status : {ReplyStatus::kResult, ReplyStatus::kError}) {
        ByteBuffer buffer;
        beginReply(buffer, 7, status);
        ASSERT_TRUE(endFrame(buffer));
        EXPECT_EQ(buffer.bytes(),
                  (Bytes{5, 0, 0, 0, 7, 0, 0, 0, static_cast<unsigned char>(status)}));
        ByteView body(buffer.bytes().data() + 4, 5);
        ReplyHead head;
        ASSERT_TRUE(readHead(body, head));
        EXPECT_EQ(head.callId, 7u);
        EXPECT_EQ(head.status, status);
        EXPECT_EQ(body.size(), 0u);
    }
}

TEST(ReplyTest, AnUnknownStatusOrAShortHeadIsMalformed)
{
    ReplyHead head;
    for (int status = 2; status < 256; ++status) {
        const Bytes bytes = {1, 0, 0, 0, static_cast<unsigned char>(status)};
        ByteView body(bytes.data(), bytes.size());
        EXPECT_FALSE(readHead(body, head)) << status;
    }
    const Bytes bytes = {1, 0, 0, 0, 0};
    for (std::size_t count = 0; count < bytes.size(); ++count) {
        ByteView body(bytes.data(), count);
        EXPECT_FALSE(readHead(body, head)) << count;
    }
}

TEST(FrameTest, AFrameThatGrewTooLongIsRefused)
{
    ByteBuffer buffer;
    beginReply(buffer, 1, ReplyStatus::kResult);
    const Bytes block(kMaxFrameBytes - 5, 'x');
    ASSERT_NE(buffer.write(block.data(), kMaxFrameBytes - 5, 0), 0);
    EXPECT_TRUE(endFrame(buffer));
    buffer.write("x", 1, 0);
    EXPECT_FALSE(endFrame(buffer));
    ByteBuffer empty;
    EXPECT_FALSE(endFrame(empty));
}

TEST(CallCounterTest, TellsAwaitedLateAndForeignReplies)
{
    CallCounter calls;
    EXPECT_EQ(calls.next(), 1u);
    EXPECT_EQ(calls.classify(0), CallCounter::Reply::kForeign);
    EXPECT_EQ(calls.classify(1), CallCounter::Reply::kForeign);
    calls.issued();
    EXPECT_EQ(calls.classify(1), CallCounter::Reply::kAwaited);
    EXPECT_EQ(calls.classify(0), CallCounter::Reply::kForeign);
    EXPECT_EQ(calls.classify(2), CallCounter::Reply::kForeign);
    calls.issued();
    EXPECT_EQ(calls.classify(1), CallCounter::Reply::kLate);
    EXPECT_EQ(calls.classify(2), CallCounter::Reply::kAwaited);
    EXPECT_EQ(calls.classify(0xFFFFFFFF), CallCounter::Reply::kForeign);
}

TEST(CallCounterTest, NumbersGoOnBehindTheLargest)
{
    CallCounter calls(0xFFFFFFFD);
    for (int i = 0; i < 4; ++i) calls.issued();  // FFFFFFFE, FFFFFFFF, 0, 1
    EXPECT_EQ(calls.next(), 2u);
    EXPECT_EQ(calls.classify(1), CallCounter::Reply::kAwaited);
    EXPECT_EQ(calls.classify(0), CallCounter::Reply::kLate);
    EXPECT_EQ(calls.classify(0xFFFFFFFE), CallCounter::Reply::kLate);
    EXPECT_EQ(calls.classify(0xFFFFFFFD), CallCounter::Reply::kForeign);
    EXPECT_EQ(calls.classify(2), CallCounter::Reply::kForeign);
}

TEST(CallCounterTest, HalfOfTheNumbersCountAsEarlier)
{
    CallCounter calls(0, UINT32_MAX / 2 - 1);
    EXPECT_EQ(calls.classify(0x80000003), CallCounter::Reply::kLate);
    EXPECT_EQ(calls.classify(0x80000002), CallCounter::Reply::kForeign);
    calls.issued();
    EXPECT_EQ(calls.classify(0x80000003), CallCounter::Reply::kLate);
    calls.issued();
    EXPECT_EQ(calls.classify(2), CallCounter::Reply::kAwaited);
    EXPECT_EQ(calls.classify(0x80000004), CallCounter::Reply::kLate);
    EXPECT_EQ(calls.classify(0x80000003), CallCounter::Reply::kForeign);
}

}  // namespace
