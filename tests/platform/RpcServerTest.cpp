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
        if (method == "later") return kAnswersLater;
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

class WaitingSessionTest : public ServerSessionTest
{
protected:
    void SetUp() override
    {
        ASSERT_TRUE(receive(request(8, "later", "abc")));
        ASSERT_TRUE(session.isWaiting());
    }
    bool finish(const std::string& block)
    {
        return session.finish([&](QZ::utils::IBuffer& result) {
            append(result, block);
            return nullptr;
        });
    }
    bool refuse(const char* text)
    {
        return session.finish([&](QZ::utils::IBuffer& result) {
            append(result, "half");
            return text;
        });
    }
};

TEST_F(WaitingSessionTest, AnAnswerMayComeLater)
{
    EXPECT_TRUE(session.output().empty()) << "not half a reply";
    EXPECT_TRUE(finish("done"));
    EXPECT_FALSE(session.isWaiting());
    EXPECT_EQ(takeOutput(), reply(8, "done"));
    EXPECT_TRUE(session.isIdle());
}

TEST_F(WaitingSessionTest, ItIsNotIdleThoughItHoldsNothing)
{
    EXPECT_EQ(session.heldBytes(), 0u);
    EXPECT_FALSE(session.isIdle());
    EXPECT_TRUE(finish(""));
    EXPECT_FALSE(session.isIdle());
    EXPECT_EQ(session.heldBytes(), reply(8, "").size());
}

TEST_F(WaitingSessionTest, NoOtherRequestIsLookedAtAndNothingIsLost)
{
    EXPECT_TRUE(receive(request(9, "echo", "b") + request(10, "later")));
    EXPECT_TRUE(receive(request(11, "echo", "d")));
    EXPECT_TRUE(session.received(0));
    EXPECT_EQ(echo.calls, (std::vector<std::string>{"later"}));
    EXPECT_TRUE(finish("a"));
    EXPECT_EQ(echo.calls.size(), 1u) << "nor before the reply has gone";
    EXPECT_EQ(takeOutput(), reply(8, "a"));
    EXPECT_TRUE(session.received(0));
    EXPECT_EQ(takeOutput(), reply(9, "b"));
    EXPECT_TRUE(session.received(0));
    EXPECT_TRUE(session.isWaiting());
    EXPECT_TRUE(session.received(0));
    EXPECT_EQ(echo.calls.size(), 3u);
    EXPECT_TRUE(finish("c"));
    EXPECT_EQ(takeOutput(), reply(10, "c"));
    EXPECT_TRUE(session.received(0));
    EXPECT_EQ(takeOutput(), reply(11, "d"));
    EXPECT_TRUE(session.isIdle());
}

TEST_F(WaitingSessionTest, ALateRefusalIsAnErrorAndNoHalfResult)
{
    EXPECT_TRUE(refuse("not today"));
    EXPECT_EQ(takeOutput(), errorReply(8, "not today"));
}

TEST_F(WaitingSessionTest, AnAnswerThatPutsOffAgainIsARefusal)
{
    EXPECT_TRUE(refuse(kAnswersLater));
    EXPECT_FALSE(session.isWaiting());
    EXPECT_EQ(takeOutput(), errorReply(8, "no answer"));
}

TEST_F(WaitingSessionTest, ALateResultThatOutgrowsAFrameBecomesAnError)
{
    EXPECT_TRUE(finish(std::string(kMaxFrameBytes, 'x')));
    EXPECT_EQ(takeOutput(), errorReply(8, "result too long"));
    EXPECT_TRUE(receive(request(9, "echo", "x")));
    EXPECT_EQ(takeOutput(), reply(9, "x"));
}

TEST_F(WaitingSessionTest, ASecondAnswerChangesNothing)
{
    EXPECT_TRUE(finish("first"));
    EXPECT_FALSE(session.finish([](auto&) -> const char* {
        ADD_FAILURE() << "nobody waits";
        return nullptr;
    }));
    EXPECT_EQ(takeOutput(), reply(8, "first"));
    EXPECT_FALSE(finish("second"));
    EXPECT_TRUE(session.isIdle());
}

TEST_F(ServerSessionTest, AnAnswerThatNobodyWaitsForChangesNothing)
{
    const auto neverCalled = [](auto&) -> const char* {
        ADD_FAILURE() << "nobody waits";
        return nullptr;
    };
    EXPECT_FALSE(session.finish(neverCalled));
    EXPECT_TRUE(session.isIdle());
    EXPECT_TRUE(receive(request(1, "echo", "a")));
    EXPECT_FALSE(session.finish(neverCalled));
    EXPECT_EQ(takeOutput(), reply(1, "a"));
}

TEST_F(WaitingSessionTest, AMalformedStreamBehindItIsFoundOnceTheReplyIsGone)
{
    EXPECT_TRUE(receive(Bytes{0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_TRUE(finish("a"));
    EXPECT_EQ(takeOutput(), reply(8, "a"));
    EXPECT_FALSE(session.received(0));
    EXPECT_FALSE(finish("b"));
}

TEST_F(WaitingSessionTest, MoreThanALongestFrameBehindItIsMalformedAndTheAnswerStillGoesOut)
{
    EXPECT_TRUE(receive(Bytes(kMaxFrameBytes + kLengthBytes, 0)));
    EXPECT_FALSE(receive({0}));
    EXPECT_TRUE(finish("a"));
    EXPECT_EQ(takeOutput(), reply(8, "a"));
    EXPECT_FALSE(session.received(0));
    EXPECT_EQ(echo.calls.size(), 1u);
}

TEST_F(ServerSessionTest, ARefusalOfTheSameWordsIsNoLaterAnswer)
{
    // Told by its address, not by its text.
    class Words final : public IDispatcher
    {
    public:
        const char* dispatch(std::string_view, QZ::utils::IBuffer&, QZ::utils::IBuffer&) override
        {
            return m_text.c_str();
        }

    private:
        const std::string m_text = kAnswersLater;
    } words;
    ServerSession other(words);
    const Bytes bytes = request(1, "any");
    std::copy(bytes.begin(), bytes.end(), other.prepare(bytes.size()));
    EXPECT_TRUE(other.received(bytes.size()));
    EXPECT_FALSE(other.isWaiting());
    EXPECT_EQ(other.output(), errorReply(1, "no answer"));
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
    const Bytes good = request(1, "echo", "abc") + request(2, "other") + request(3, "later") +
                       request(4, "tooLong");
    std::size_t given = 0;
    for (int round = 0; round < 2000; ++round) {
        ServerSession damaged(echo);
        Bytes bytes = good;
        for (int i = 0; i < 3; ++i) {
            bytes[random() % bytes.size()] = static_cast<unsigned char>(random() & 0xFF);
        }
        std::copy(bytes.begin(), bytes.end(), damaged.prepare(bytes.size()));
        bool usable = damaged.received(bytes.size());
        for (int step = 0; usable && !damaged.isIdle(); ++step) {
            ASSERT_LT(step, 10) << "more answers than requests";
            const bool isAnswered = damaged.finish([](auto&) { return nullptr; });
            if (!isAnswered && damaged.output().empty()) break;  // half a request
            damaged.sent();
            usable = damaged.received(0);
        }
        if (!usable) ++given;
    }
    EXPECT_GT(given, 0u);
    EXPECT_LT(given, 2000u);
}

}  // namespace
