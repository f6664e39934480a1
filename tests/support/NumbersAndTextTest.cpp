#include "support/DevServer.h"

#include "tests/support/Bytes.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <utility>

namespace
{

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

TEST(Double2IntTest, RoundsHalfAwayFromZero)
{
    const std::pair<double, int> cases[] = {
        {2.5, 3}, {-2.5, -3}, {0.49, 0}, {-0.49, 0}, {0.5, 1}, {-0.5, -1}, {0.0, 0}, {-0.0, 0},
    };
    for (auto [input, expected] : cases)
        EXPECT_EQ(CDevServer::Double2Int(input), expected) << input;
}

TEST(Double2IntTest, FollowsTheFormulaWhereRoundWouldDiffer)
{
    double belowHalf = 0.49999999999999994;
    EXPECT_EQ(CDevServer::Double2Int(belowHalf), 1);
    double minusBelowHalf = -belowHalf;
    EXPECT_EQ(CDevServer::Double2Int(minusBelowHalf), -1);
}

TEST(Double2IntTest, PositiveNumbersBeyondTheIntRangeComeBackNegative)
{
    const std::pair<double, int> cases[] = {
        {2147483647.0, INT32_MAX}, {2147483648.0, INT32_MIN}, {4294967294.0, -2},
        {4294967295.0, -1},        {4294967296.0, -1},        {1e300, -1},
        {kInfinity, -1},
    };
    for (auto [input, expected] : cases)
        EXPECT_EQ(CDevServer::Double2Int(input), expected) << input;
}

TEST(Double2IntTest, SaturatesBelowAndTakesNaNAsZero)
{
    const std::pair<double, int> cases[] = {
        {-2147483648.0, INT32_MIN},
        {-2147483647.4, -2147483647},
        {-1e300, INT32_MIN},
        {-kInfinity, INT32_MIN},
        {kNaN, 0},
    };
    for (auto [input, expected] : cases)
        EXPECT_EQ(CDevServer::Double2Int(input), expected) << input;
}

struct Split {
    int result;
    std::string left;
    std::string right;
    bool operator==(const Split& other) const
    {
        return result == other.result && left == other.left && right == other.right;
    }
};

Split split(CString src, CString sep)
{
    CString left("oldLeft");
    CString right("oldRight");
    const int result = CDevServer::SvrGetCmdStr(src, sep, left, right);
    return {result, textOf(left), textOf(right)};
}

TEST(GetCmdStrTest, SplitsAtTheSeparatorAndTrims)
{
    EXPECT_EQ(split("3 = 1.5", "="), (Split{1, "3", "1.5"}));
    EXPECT_EQ(split(" \t3=1.5\r\n", "="), (Split{1, "3", "1.5"}));
    EXPECT_EQ(split("=", "="), (Split{1, "", ""}));
}

TEST(GetCmdStrTest, SplitsAtTheFirstOccurrence)
{
    EXPECT_EQ(split("a=b=c", "="), (Split{1, "a", "b=c"}));
}

TEST(GetCmdStrTest, SkipsOneCharacterOfALongerSeparator)
{
    EXPECT_EQ(split("a=>b", "=>"), (Split{1, "a", ">b"}));
}

TEST(GetCmdStrTest, TouchesNothingWithoutASeparator)
{
    EXPECT_EQ(split("abc", "="), (Split{0, "oldLeft", "oldRight"}));
    EXPECT_EQ(split("", "="), (Split{0, "oldLeft", "oldRight"}));
}

TEST(GetCmdStrTest, AnEmptySeparatorIsFoundAtTheBeginAndTakesOneCharacter)
{
    EXPECT_EQ(split("abc", ""), (Split{1, "", "bc"}));
    EXPECT_EQ(split("", ""), (Split{1, "", ""}));
}

TEST(GetCmdStrTest, ArgumentsMayBeTheSameText)
{
    CString text("k = v");
    CString sep("=");
    CString right;
    EXPECT_EQ(CDevServer::SvrGetCmdStr(text, sep, text, right), 1);
    EXPECT_EQ(text, "k");
    EXPECT_EQ(right, "v");
    CString again("k = v");
    CString left;
    EXPECT_EQ(CDevServer::SvrGetCmdStr(again, sep, left, again), 1);
    EXPECT_EQ(left, "k");
    EXPECT_EQ(again, "v");
    CString other("k = v");
    EXPECT_EQ(CDevServer::SvrGetCmdStr(other, sep, sep, other), 1);
    EXPECT_EQ(sep, "k");
    EXPECT_EQ(other, "v");
}

TEST(SetByteBitTest, SetsAndClearsOneBit)
{
    ByteArray bytes{0, 0};
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 1.0, 9), 1);
    EXPECT_EQ(bytesOf(bytes), (Bytes{0, 2}));
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, -3.0, 0), 1);
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 1.0, 7), 1);
    EXPECT_EQ(bytesOf(bytes), (Bytes{0x81, 2}));
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 0.0, 9), 1);
    EXPECT_EQ(bytesOf(bytes), (Bytes{0x81, 0}));
}

TEST(SetByteBitTest, TruncatesTheValue)
{
    ByteArray bytes{0xFF};
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 0.7, 0), 1);
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, kNaN, 1), 1);
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, -0.7, 2), 1);
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 4294967296.0, 3), 1);
    EXPECT_EQ(bytesOf(bytes), (Bytes{0xF8}));
}

TEST(SetByteBitTest, RefusesABitBehindTheArray)
{
    ByteArray bytes{0, 0};
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 1.0, 16), 0);
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 1.0, INT32_MAX), 0);
    ByteArray none{};
    EXPECT_EQ(CDevServer::SvrSetByteBit(none, 1.0, 0), 0);
    EXPECT_EQ(bytesOf(bytes), (Bytes{0, 0}));
}

TEST(SetByteBitTest, NegativeBitTouchesNothingAndIsNoFailure)
{
    ByteArray bytes{0, 0};
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 1.0, -1), 1);
    EXPECT_EQ(CDevServer::SvrSetByteBit(bytes, 1.0, INT32_MIN), 1);
    EXPECT_EQ(bytesOf(bytes), (Bytes{0, 0}));
}

TEST(RawBytesTest, TextToBytesKeepsExactlyItsLength)
{
    CString text("a\0\xFF", 3);
    ByteArray out{9, 9, 9, 9, 9};
    EXPECT_EQ(CDevServer::SvrStr2Byte(text, out), 3);
    EXPECT_EQ(bytesOf(out), (Bytes{'a', 0, 0xFF}));
    CString empty;
    EXPECT_EQ(CDevServer::SvrStr2Byte(empty, out), 0);
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(RawBytesTest, BytesToTextGrowsItsInputByAZero)
{
    ByteArray in{'a', 'b'};
    CString out("old");
    EXPECT_EQ(CDevServer::SvrByte2Str(in, out), 3);
    EXPECT_EQ(out, "ab");
    EXPECT_EQ(bytesOf(in), (Bytes{'a', 'b', 0}));
    ByteArray withZero{'a', 0, 'b'};
    EXPECT_EQ(CDevServer::SvrByte2Str(withZero, out), 4);
    EXPECT_EQ(textOf(out), "a");
    ByteArray none{};
    EXPECT_EQ(CDevServer::SvrByte2Str(none, out), 1);
    EXPECT_EQ(out, "");
}

TEST(HexTextTest, BytesToTextIsUpperCase)
{
    ByteArray in{0x0A, 0xFF, 0x80};
    CString out("old");
    EXPECT_EQ(CDevServer::SvrHByte2HStr(in, out), 1);
    EXPECT_EQ(out, "0AFF80");
    ByteArray none{};
    EXPECT_EQ(CDevServer::SvrHByte2HStr(none, out), 1);
    EXPECT_EQ(out, "");
}

TEST(HexTextTest, TextToBytes)
{
    CString hex("0aFF80");
    ByteArray out{};
    EXPECT_EQ(CDevServer::SvrHStr2HByte(hex, out), 1);
    EXPECT_EQ(bytesOf(out), (Bytes{0x0A, 0xFF, 0x80}));
}

TEST(HexTextTest, PiecesThatAreNoNumbersGiveWhatLibcMakesOfThem)
{
    CString hex("zz-F F0x1g");
    ByteArray out{};
    EXPECT_EQ(CDevServer::SvrHStr2HByte(hex, out), 1);
    EXPECT_EQ(bytesOf(out), (Bytes{0, 0x0F, 0x0F, 0, 1}));
}

TEST(HexTextTest, OddOrEmptyTextLeavesTheBytesAlone)
{
    for (const char* text : {"", "0", "0AF"}) {
        CString hex(text);
        ByteArray out{1, 2};
        EXPECT_EQ(CDevServer::SvrHStr2HByte(hex, out), 0);
        EXPECT_EQ(bytesOf(out), (Bytes{1, 2}));
    }
}

TEST(ChangeStrIncodeTest, SwapsTheBytesOfEachUnit)
{
    ByteArray even{1, 2, 3, 4};
    EXPECT_EQ(CDevServer::SvrChangeStrIncode(even, 0), 1);
    EXPECT_EQ(bytesOf(even), (Bytes{2, 1, 4, 3}));
    ByteArray odd{1, 2, 3};
    EXPECT_EQ(CDevServer::SvrChangeStrIncode(odd, 0), 1);
    EXPECT_EQ(bytesOf(odd), (Bytes{2, 1, 0, 3}));
    ByteArray none{};
    EXPECT_EQ(CDevServer::SvrChangeStrIncode(none, 0), 1);
}

TEST(ChangeStrIncodeTest, AnyOtherFlagDoesNothing)
{
    ByteArray odd{1, 2, 3};
    EXPECT_EQ(CDevServer::SvrChangeStrIncode(odd, 1), 1);
    EXPECT_EQ(CDevServer::SvrChangeStrIncode(odd, -1), 1);
    EXPECT_EQ(bytesOf(odd), (Bytes{1, 2, 3}));
}

}  // namespace
