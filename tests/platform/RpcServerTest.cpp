#include "platform/RpcServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace
{

using namespace QZ::RPC;
using Bytes = std::vector<unsigned char>;

// Writes without a cast that is needed on some processors only.
void append(QZ::utils::IBuffer& buffer, const std::string& block)
{
    const std::uint64_t count = block.size();
    buffer.write(block.data(), static_cast<unsigned int>(count), 0);
}

Bytes request(std::uint32_t callId, const std::string& method, const std::string& block = "")
{
    ByteBuffer buffer;
    beginRequest(buffer, callId, method);
    append(buffer, block);
    EXPECT_TRUE(endFrame(buffer));
    return buffer.bytes();
}

Bytes reply(std::uint32_t callId, const std::string& block)
{
    ByteBuffer buffer;
    beginReply(buffer, callId, ReplyStatus::kResult);
    append(buffer, block);
    EXPECT_TRUE(endFrame(buffer));
    return buffer.bytes();
}

Bytes errorReply(std::uint32_t callId, const std::string& text)
{
    ByteBuffer buffer;
    beginReply(buffer, callId, ReplyStatus::kError);
    EXPECT_NE(QZ::utils::String(text).serialize(&buffer), 0);
    EXPECT_TRUE(endFrame(buffer));
    return buffer.bytes();
}

// Knows a few methods and keeps what it was called with.
class Echo final : public IDispatcher
{
public:
    const char* dispatch(std::string_view method, QZ::utils::IBuffer& args,
                         QZ::utils::IBuffer& result) override
    {
        calls.emplace_back(method);
        if (method == "echo") {
            std::string block(args.size(), '\0');
            args.read(block.data(), args.size(), 0);
            append(result, block);
            return nullptr;
        }
        if (method == "startOver") {
            result.write("half", 4, 0);
            result.clear();
            result.write("whole", 5, 0);
            return nullptr;
        }
        if (method == "tooLong") {
            const std::string megabyte(kMaxFrameBytes, 'x');
            result.write(megabyte.data(), kMaxFrameBytes, 0);
            return nullptr;
        }
        result.write("half a result", 13, 0);
        return "unknown method";
    }

    std::vector<std::string> calls;
};

class ServerSessionTest : public testing::Test
{
protected:
    bool receive(const Bytes& bytes)
    {
        std::copy(bytes.begin(), bytes.end(), session.prepare(bytes.size()));
        return session.received(bytes.size());
    }
    Bytes takeOutput()
    {
        const Bytes output = session.output();
        session.sent();
        return output;
    }

    Echo echo;
    ServerSession session{echo};
};

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST_F(ServerSessionTest, AnswersARequestWithItsCallId)
{
    EXPECT_TRUE(receive(request(77, "echo", "abc")));
    EXPECT_EQ(takeOutput(), reply(77, "abc"));
    EXPECT_TRUE(session.output().empty());
}

TEST_F(ServerSessionTest, AnswersARequestThatComesByteByByte)
{
    for (const unsigned char byte : request(1, "echo", "x")) {
        EXPECT_TRUE(session.output().empty());
        EXPECT_TRUE(receive({byte}));
    }
    EXPECT_EQ(takeOutput(), reply(1, "x"));
}

TEST_F(ServerSessionTest, MakesTheNextReplyOnlyWhenTheLastOneIsGone)
{
    EXPECT_TRUE(receive(request(1, "echo", "a") + request(2, "echo", "b") + request(3, "echo")));
    EXPECT_EQ(echo.calls.size(), 1u);
    EXPECT_TRUE(session.received(0));
    EXPECT_EQ(echo.calls.size(), 1u);
    EXPECT_EQ(takeOutput(), reply(1, "a"));
    EXPECT_TRUE(session.received(0));
    EXPECT_EQ(takeOutput(), reply(2, "b"));
    EXPECT_TRUE(session.received(0));
    EXPECT_EQ(takeOutput(), reply(3, ""));
    EXPECT_TRUE(session.received(0));
    EXPECT_TRUE(session.output().empty());
    EXPECT_EQ(echo.calls.size(), 3u);
}

TEST_F(ServerSessionTest, ARefusedCallGetsAnErrorAndNoHalfResult)
{
    EXPECT_TRUE(receive(request(4, "getVPNStatus")));
    EXPECT_EQ(takeOutput(), errorReply(4, "unknown method"));
    EXPECT_TRUE(receive(request(5, "echo", "still there")));
    EXPECT_EQ(takeOutput(), reply(5, "still there"));
}

TEST_F(ServerSessionTest, AHandlerMayStartItsResultOver)
{
    EXPECT_TRUE(receive(request(4, "startOver")));
    EXPECT_EQ(takeOutput(), reply(4, "whole"));
}

TEST_F(ServerSessionTest, AResultThatOutgrowsAFrameBecomesAnError)
{
    EXPECT_TRUE(receive(request(6, "tooLong")));
    EXPECT_EQ(takeOutput(), errorReply(6, "result too long"));
    EXPECT_TRUE(receive(request(7, "echo", "x")));
    EXPECT_EQ(takeOutput(), reply(7, "x"));
}

TEST_F(ServerSessionTest, ItIsIdleWhileNothingIsUnderWay)
{
    EXPECT_TRUE(session.isIdle());
    const Bytes one = request(1, "echo", "a");
    EXPECT_TRUE(receive({one[0]}));
    EXPECT_FALSE(session.isIdle()) << "half a request";
    EXPECT_TRUE(receive(Bytes(one.begin() + 1, one.end())));
    EXPECT_FALSE(session.isIdle()) << "a reply";
    session.sent();
    EXPECT_TRUE(session.isIdle());
    EXPECT_FALSE(receive({0, 0, 0, 0}));
    EXPECT_FALSE(session.isIdle()) << "given up";
}

TEST_F(ServerSessionTest, AMalformedStreamIsGivenUpForGood)
{
    EXPECT_FALSE(receive({0, 0, 0, 0}));
    EXPECT_FALSE(receive(request(1, "echo")));
    EXPECT_TRUE(session.output().empty());
    EXPECT_TRUE(echo.calls.empty());
}

TEST_F(ServerSessionTest, AMalformedHeadIsGivenUpForGood)
{
    EXPECT_FALSE(receive({3, 0, 0, 0, 1, 0, 0}));
    EXPECT_FALSE(receive(request(1, "echo")));
    EXPECT_TRUE(echo.calls.empty());
}

TEST_F(ServerSessionTest, AMalformedFrameBehindAGoodOneIsFoundOnceTheReplyIsGone)
{
    EXPECT_TRUE(receive(request(1, "echo", "a") + Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(takeOutput(), reply(1, "a"));
    EXPECT_FALSE(session.received(0));
}

TEST_F(ServerSessionTest, ACallerThatReadsOnWhileAReplyWaitsEndsWithALongestFrame)
{
    ASSERT_TRUE(receive(request(1, "echo", "a")));
    const Bytes longest(kMaxFrameBytes + kLengthBytes, 0);
    EXPECT_TRUE(receive(request(2, "echo", "b") + longest));
    EXPECT_TRUE(session.received(0));
    EXPECT_FALSE(receive({0}));
    session.sent();
    EXPECT_FALSE(session.received(0));
    EXPECT_EQ(echo.calls.size(), 1u);
}

TEST_F(ServerSessionTest, ALongestFrameBehindAReplyThatWaitsIsNoFault)
{
    const std::string block(kMaxFrameBytes - 12, 'x');  // behind call id and method
    const Bytes longest = request(2, "echo", block);
    ASSERT_EQ(longest.size(), kMaxFrameBytes + kLengthBytes);
    EXPECT_TRUE(receive(request(1, "echo", "a")));
    EXPECT_TRUE(receive(Bytes(longest.begin(), longest.end() - 1)));
    EXPECT_TRUE(receive({'x'}));
    EXPECT_EQ(takeOutput(), reply(1, "a"));
    EXPECT_TRUE(session.received(0));
    EXPECT_TRUE(takeOutput() == reply(2, block));
}

TEST_F(ServerSessionTest, DamagedStreamsDoNoMoreThanEndTheSession)
{
    std::mt19937 random(20003);
    const Bytes good = request(1, "echo", "abc") + request(2, "other") + request(3, "tooLong");
    std::size_t given = 0;
    for (int round = 0; round < 2000; ++round) {
        ServerSession damaged(echo);
        Bytes bytes = good;
        for (int i = 0; i < 3; ++i) {
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random() & 0xFF);
        }
        std::copy(bytes.begin(), bytes.end(), damaged.prepare(bytes.size()));
        bool usable = damaged.received(bytes.size());
        while (usable && !damaged.output().empty()) {
            damaged.sent();
            usable = damaged.received(0);
        }
        if (!usable) ++given;
    }
    EXPECT_GT(given, 0u);
    EXPECT_LT(given, 2000u);
}

}  // namespace
