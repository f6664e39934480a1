#include "platform/QZUtils.h"

#include "platform/RpcWire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <string>
#include <vector>

namespace
{

using QZ::RPC::ByteBuffer;
using QZ::RPC::ByteView;
using QZ::utils::String;
using Bytes = std::vector<unsigned char>;

ByteView view(const Bytes& bytes) { return ByteView(bytes.data(), bytes.size()); }

// A buffer whose n-th operation answers 0.
class FailingBuffer final : public QZ::utils::IBuffer
{
public:
    explicit FailingBuffer(int failAt) : m_left(failAt) {}
    unsigned int size() const override { return 1000; }
    void clear() override {}
    int write(const void*, unsigned int, int) override { return --m_left != 0 ? 1 : 0; }
    int read(void* data, unsigned int count, int) override
    {
        if (--m_left == 0) return 0;
        std::memset(data, 0, count);
        static_cast<unsigned char*>(data)[0] = 3;
        return 1;
    }

private:
    int m_left;
};

TEST(StringTest, TrimTakesWhiteSpaceOffBothEnds)
{
    EXPECT_EQ(String(" \t\r\n\v\fa b\n ").trim(), "a b");
    EXPECT_EQ(String(" \n ").trim(), "");
    EXPECT_EQ(String("").trim(), "");
    EXPECT_EQ(String("\xA0x\x85").trim(), "\xA0x\x85");
}

TEST(StringTest, SerializeWritesLengthAndBytes)
{
    ByteBuffer buffer;
    EXPECT_NE(String("abc").serialize(&buffer), 0);
    EXPECT_NE(String("").serialize(&buffer), 0);
    EXPECT_NE(String(std::string("\0\xFF", 2)).serialize(&buffer), 0);
    EXPECT_EQ(buffer.bytes(), (Bytes{3, 0, 0, 0, 'a', 'b', 'c', 0, 0, 0, 0, 2, 0, 0, 0, 0, 0xFF}));
}

TEST(StringTest, LengthsAreLittleEndian)
{
    ByteBuffer buffer;
    ASSERT_NE(String(std::string(0x030201, 'x')).serialize(&buffer), 0);
    EXPECT_EQ(Bytes(buffer.bytes().begin(), buffer.bytes().begin() + 4), (Bytes{1, 2, 3, 0}));
    String back;
    ASSERT_NE(back.deserialize(&buffer), 0);
    EXPECT_EQ(back.size(), 0x030201u);
}

// Takes anything and keeps the first bytes of it.
class FirstBytes final : public QZ::utils::IBuffer
{
public:
    unsigned int size() const override { return 0; }
    void clear() override {}
    int write(const void* data, unsigned int count, int) override
    {
        const auto* bytes = static_cast<const unsigned char*>(data);
        first.insert(first.end(), bytes, bytes + std::min(count, 4U));
        all += count;
        return 1;
    }
    int read(void*, unsigned int, int) override { return 0; }

    Bytes first;
    std::uint64_t all = 0;
};

TEST(StringTest, ALengthHasFourBytesOnTheWire)
{
    for (const std::uint32_t length : {0xFFFFU, 0x10000U, 0x10203U, 0x1020304U}) {
        FirstBytes buffer;
        ASSERT_NE(String(std::string(length, 'x')).serialize(&buffer), 0);
        const auto byte = [&](int i) { return static_cast<unsigned char>(length >> 8 * i & 0xFF); };
        EXPECT_EQ(buffer.first, (Bytes{byte(0), byte(1), byte(2), byte(3), 'x', 'x', 'x', 'x'}));
        EXPECT_EQ(buffer.all, 4U + length);

        Bytes wire = {byte(0), byte(1), byte(2), byte(3)};
        wire.resize(4 + std::size_t{length}, 'y');
        ByteView view(wire.data(), wire.size());
        String back;
        ASSERT_NE(back.deserialize(&view), 0);
        EXPECT_EQ(back.size(), length);
        EXPECT_EQ(view.size(), 0U);
    }
}

TEST(StringTest, ZeroBytesComeBack)
{
    ByteBuffer buffer;
    const String text(std::string("a\0b\0", 4));
    ASSERT_NE(text.serialize(&buffer), 0);
    String back("old");
    EXPECT_NE(back.deserialize(&buffer), 0);
    EXPECT_EQ(back, text);
    EXPECT_EQ(buffer.size(), 0u);
}

TEST(StringTest, SerializeTellsOfABufferThatTakesNoMore)
{
    FailingBuffer atLength(1);
    FailingBuffer atBytes(2);
    EXPECT_EQ(String("abc").serialize(&atLength), 0);
    EXPECT_EQ(String("abc").serialize(&atBytes), 0);
    EXPECT_EQ(String("abc").serialize(nullptr), 0);
    ByteBuffer full;
    EXPECT_EQ(String(std::string(QZ::RPC::kMaxFrameBytes + 1, 'x')).serialize(&full), 0);
    EXPECT_TRUE(full.overflowed());
}

TEST(StringTest, ALengthBeyondWhatIsLeftLeavesTheStringAlone)
{
    for (const std::uint32_t length : {4u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFCu, 0xFFFFFFFFu}) {
        Bytes bytes = {0, 0, 0, 0, 'a', 'b', 'c'};
        for (int i = 0; i < 4; ++i) bytes[static_cast<std::size_t>(i)] = length >> 8 * i & 0xFF;
        ByteView buffer = view(bytes);
        String text("old");
        EXPECT_EQ(text.deserialize(&buffer), 0) << length;
        EXPECT_EQ(text, "old");
        ByteView again = view(bytes);
        std::string plain("old");
        EXPECT_EQ(QZ::utils::Deserialize(&again, plain), 0) << length;
        EXPECT_EQ(plain, "old");
    }
}

TEST(StringTest, ALengthOfJustWhatIsLeftIsRead)
{
    const Bytes bytes = {3, 0, 0, 0, 'a', 'b', 'c'};
    ByteView buffer = view(bytes);
    std::string text;
    EXPECT_NE(QZ::utils::Deserialize(&buffer, text), 0);
    EXPECT_EQ(text, "abc");
}

TEST(StringTest, AShortLengthIsRefused)
{
    for (std::size_t count = 0; count < 4; ++count) {
        const Bytes bytes(count, 0);
        ByteView buffer = view(bytes);
        String text("old");
        EXPECT_EQ(text.deserialize(&buffer), 0);
        EXPECT_EQ(text, "old");
    }
}

TEST(StringTest, ARefusedReadLeavesTheStringAlone)
{
    FailingBuffer atBytes(2);
    String text("old");
    EXPECT_EQ(text.deserialize(&atBytes), 0);
    EXPECT_EQ(text, "old");
    EXPECT_EQ(text.deserialize(nullptr), 0);
    EXPECT_EQ(text, "old");
}

TEST(StringTest, ARefusedBlockIsALogicError)
{
    const QZ::utils::deserialize_block_error error("why");
    const std::logic_error& base = error;
    EXPECT_STREQ(base.what(), "why");
}

}  // namespace
