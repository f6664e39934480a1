#include "platform/RpcServer.h"

#include "tests/platform/Costs.h"
#include "tests/platform/PeerLink.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <new>
#include <string>
#include <string_view>

// What bytes from outside can make a reader or a session allocate, move and hold.
namespace
{

using namespace peer_link;

TEST(StorageCostTest, AnAnnouncedLengthAloneAllocatesNothing)
{
    QZ::RPC::FrameReader reader;
    const unsigned char announced[] = {0, 0, 0x10, 0};
    std::copy(std::begin(announced), std::end(announced), reader.prepare(4096));
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    reader.commit(sizeof announced);
    QZ::RPC::ByteView body;
    const auto next = reader.next(body);
    reader.prepare(4000);
    const std::size_t allocated = costs.allocatedBytes;
    EXPECT_EQ(next, QZ::RPC::FrameReader::Next::kIncomplete);
    EXPECT_EQ(allocated, 0u);
}

// Takes the stream off byte by byte; how many frames were in it.
int takeByteByByte(QZ::RPC::FrameReader& reader, const Bytes& stream)
{
    int frames = 0;
    QZ::RPC::ByteView body;
    for (const unsigned char byte : stream) {
        *reader.prepare(4096) = byte;
        reader.commit(1);
        if (reader.next(body) == QZ::RPC::FrameReader::Next::kFrame) ++frames;
    }
    return frames;
}

TEST(StorageCostTest, AFrameThatComesByteByByteIsMovedNoMoreThanAFewTimes)
{
    const Bytes stream = reply(1, "first") + reply(2, std::string(100000, 'x'));
    QZ::RPC::FrameReader reader;
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    const int frames = takeByteByByte(reader, stream);
    const Costs cost = costs;
    EXPECT_EQ(frames, 2);
    EXPECT_GT(cost.movedBytes, 0u);
    EXPECT_LT(cost.movedBytes, 5 * stream.size());
    EXPECT_LT(cost.allocatedBytes, 5 * stream.size());
}

// Room for what the heap adds to each block.
constexpr std::ptrdiff_t kMostKept = QZ::RPC::kMaxKeptBytes + 1024;

TEST(StorageCostTest, AReaderGivesTheStorageOfALongFrameBack)
{
    const Bytes stream = reply(1, std::string(1000000, 'x'));
    QZ::RPC::FrameReader reader;
    QZ::RPC::ByteView body;
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    std::copy(stream.begin(), stream.end(), reader.prepare(stream.size()));
    reader.commit(stream.size());
    const auto next = reader.next(body);
    const std::ptrdiff_t heldWithFrame = costs.heldBytes;
    reader.prepare(16384);
    const std::ptrdiff_t heldAfterwards = costs.heldBytes;
    EXPECT_EQ(next, QZ::RPC::FrameReader::Next::kFrame);
    EXPECT_GE(heldWithFrame, 1000000);
    EXPECT_LE(heldAfterwards, kMostKept);
}

// Answers any method with a megabyte.
class Talker final : public QZ::RPC::IDispatcher
{
public:
    const char* dispatch(std::string_view, QZ::utils::IBuffer&, QZ::utils::IBuffer& result) override
    {
        result.write(m_megabyte.data(), 1000000, 0);
        return nullptr;
    }

private:
    const std::string m_megabyte = std::string(1000000, 'x');
};

TEST(StorageCostTest, AnIdleSessionHoldsNoStorageOfALongReply)
{
    Talker talker;
    QZ::RPC::ByteBuffer request;
    QZ::RPC::beginRequest(request, 1, "method");
    ASSERT_TRUE(QZ::RPC::endFrame(request));
    const Bytes& bytes = request.bytes();
    QZ::RPC::ServerSession session(talker);
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    std::copy(bytes.begin(), bytes.end(), session.prepare(16384));
    const bool isUsable = session.received(bytes.size());
    const std::ptrdiff_t heldWithReply = costs.heldBytes;
    session.sent();
    session.prepare(16384);
    const std::ptrdiff_t heldAfterwards = costs.heldBytes;
    EXPECT_TRUE(isUsable);
    EXPECT_GE(heldWithReply, 1000000);
    EXPECT_LE(heldAfterwards, kMostKept);
}

TEST(StorageCostTest, ShortFramesUseTheSameStorageAgain)
{
    const Bytes stream = reply(1, std::string(60000, 'x'));
    QZ::RPC::FrameReader reader;
    Costs& costs = Costs::ofThisThread();
    int allocations = 0;
    for (int i = 0; i < 3; ++i) {
        costs.reset();
        std::copy(stream.begin(), stream.end(), reader.prepare(stream.size()));
        reader.commit(stream.size());
        QZ::RPC::ByteView body;
        while (reader.next(body) == QZ::RPC::FrameReader::Next::kFrame)
            allocations = costs.allocations;
    }
    EXPECT_EQ(allocations, 0);
    EXPECT_EQ(reader.pending(), 0u);
}

TEST(StorageCostTest, AReaderWithoutMemoryRaisesAndLosesNothing)
{
    const Bytes stream = reply(1, "answer");
    QZ::RPC::FrameReader reader;
    std::copy_n(stream.begin(), 6, reader.prepare(6));
    reader.commit(6);
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    costs.allocationLimit = 1000;
    bool isRaised = false;
    try {
        reader.prepare(16384);
    } catch (const std::bad_alloc&) {
        isRaised = true;
    }
    costs.reset();
    EXPECT_TRUE(isRaised);
    std::copy(stream.begin() + 6, stream.end(), reader.prepare(stream.size()));
    reader.commit(stream.size() - 6);
    QZ::RPC::ByteView body;
    ASSERT_EQ(reader.next(body), QZ::RPC::FrameReader::Next::kFrame);
    QZ::RPC::ReplyHead head;
    EXPECT_TRUE(readHead(body, head));
    EXPECT_EQ(body.size(), 6u);
}

TEST(StorageCostTest, ReceivingAMegabyteTakesNoMoreThanAFewTimesItsMemory)
{
    PeerLink link;
    const std::string megabyte(1000000, 'x');
    const Bytes answer = reply(1, megabyte);
    QZ::RPC::FrameReader reader;
    Costs& costs = Costs::ofThisThread();
    costs.reset();
    QZ::RPC::ByteView body;
    bool complete = false;
    for (std::size_t at = 0; at < answer.size(); at += 4096) {
        const std::size_t count = std::min<std::size_t>(4096, answer.size() - at);
        std::copy_n(answer.data() + at, count, reader.prepare(4096));
        reader.commit(count);
        complete = reader.next(body) == QZ::RPC::FrameReader::Next::kFrame;
    }
    const std::size_t allocated = costs.allocatedBytes;
    EXPECT_TRUE(complete);
    EXPECT_LT(allocated, 5 * answer.size());
}

}  // namespace
