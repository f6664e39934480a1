#include "support/DevServer.h"

#include "tests/support/Bytes.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace
{

double parsed(const char* text, int type, int unit = 0, int length = 0)
{
    return CDevServer::SvrStr2Double(text, type, unit, length);
}

std::string formatted(double value, int type, int unit = 0, int length = 0)
{
    return textOf(CDevServer::SvrDouble2Str(value, type, unit, length));
}

TEST(Str2DoubleTest, BytesByTypeCode)
{
    EXPECT_EQ(parsed("80", 80), 128.0);
    EXPECT_EQ(parsed("80", 81), -128.0);
    EXPECT_EQ(parsed("7F", 81), 127.0);
    EXPECT_EQ(parsed("12", 82), 12.0);
    EXPECT_EQ(parsed("FFFE", 83), 65534.0);
    EXPECT_EQ(parsed("FFFE", 84), -2.0);
    EXPECT_EQ(parsed("1234", 85), 1234.0);
    EXPECT_EQ(parsed("FFFFFFFE", 86), 4294967294.0);
    EXPECT_EQ(parsed("FFFFFFFE", 87), -2.0);
    EXPECT_EQ(parsed("12345678", 88), 12345678.0);
}

TEST(Str2DoubleTest, BcdKeepsTheParsedDecimal)
{
    EXPECT_EQ(parsed("-5", 82), -5.0);
    EXPECT_EQ(parsed("1A", 82), 1.0);
    EXPECT_EQ(parsed("-999", 85), -999.0);
}

TEST(Str2DoubleTest, OnlyTheCharactersOfTheTypeAreTaken)
{
    EXPECT_EQ(parsed("80FF", 80), 128.0);
    EXPECT_EQ(parsed("3F80000099", 89), 1.0);
    EXPECT_EQ(parsed("12.55", 100, 0, 4), 12.5);
}

TEST(Str2DoubleTest, TooFewCharactersGiveZero)
{
    EXPECT_EQ(parsed("8", 80), 0.0);
    EXPECT_EQ(parsed("FFF", 83), 0.0);
    EXPECT_EQ(parsed("FFFFFFF", 86), 0.0);
    EXPECT_EQ(parsed("3F80000", 89), 0.0);
    EXPECT_EQ(parsed("12", 100, 0, 3), 0.0);
    EXPECT_EQ(parsed("FF", 0, 0, 2), 0.0);
    EXPECT_EQ(parsed("", 80), 0.0);
}

TEST(Str2DoubleTest, UnitReversesTheOrderOfThePieces)
{
    EXPECT_EQ(parsed("1A00", 83, 2), 26.0);
    EXPECT_EQ(parsed("78563412", 86, 2), 305419896.0);
    EXPECT_EQ(parsed("56781234", 86, 4), 305419896.0);
    EXPECT_EQ(parsed("0000803F", 89, 2), 1.0);
    EXPECT_EQ(parsed("1234", 100, 1, 4), 4321.0);
}

TEST(Str2DoubleTest, LastPieceOfAReorderStartsAtTheBeginningAndOverlaps)
{
    EXPECT_EQ(parsed("1234", 100, 3, 4), 234123.0);
    EXPECT_EQ(parsed("1234", 100, 5, 4), 1234.0);
    EXPECT_EQ(parsed("1234", 100, INT32_MAX, 4), 1234.0);
    EXPECT_EQ(parsed("1234", 100, -3, 4), 1234.0);
}

TEST(Str2DoubleTest, BitsOfANumber)
{
    EXPECT_EQ(parsed("05", 0, 0, 1), 1.0);
    EXPECT_EQ(parsed("05", 1, 0, 1), 0.0);
    EXPECT_EQ(parsed("05", 2, 0, 1), 1.0);
    EXPECT_EQ(parsed("8000", 15, 0, 2), 1.0);
    EXPECT_EQ(parsed("0080", 15, 2, 2), 1.0);
    EXPECT_EQ(parsed("", 0, 0, 0), 0.0);
}

TEST(Str2DoubleTest, SinglePrecisionFromItsBytes)
{
    EXPECT_EQ(parsed("3F800000", 89), 1.0);
    EXPECT_EQ(parsed("c0200000", 89), -2.5);
    EXPECT_TRUE(std::isinf(parsed("7F800000", 89)));
    EXPECT_TRUE(std::isnan(parsed("7FC00000", 89)));
    // Each byte stands for itself: a piece that is no number spoils no other.
    EXPECT_EQ(parsed("3Fzz0000", 89), 0.5);
}

TEST(Str2DoubleTest, DecimalText)
{
    EXPECT_EQ(parsed("-12.5e1", 100, 0, 7), -125.0);
    EXPECT_EQ(parsed("abc", 100, 0, 3), 0.0);
    EXPECT_EQ(parsed("", 100, 0, 0), 0.0);
}

TEST(Str2DoubleTest, OtherTypesGiveZero)
{
    for (int type : {-1, INT32_MIN, 16, 79, 90, 99, 101, INT32_MAX}) {
        EXPECT_EQ(parsed("FFFFFFFF", type, 0, 4), 0.0) << type;
    }
}

TEST(Str2DoubleTest, LengthsBeyondTheTextGiveZeroWhateverTheirSize)
{
    EXPECT_EQ(parsed("FF", 0, 0, INT32_MAX), 0.0);
    EXPECT_EQ(parsed("FF", 0, 0, 0x40000001), 0.0);
    EXPECT_EQ(parsed("FF", 0, 2, -1), 0.0);
    EXPECT_EQ(parsed("FF", 0, 0, INT32_MIN), 0.0);
    EXPECT_EQ(parsed("FF", 0, 0, INT32_MIN + 1), 0.0);
    EXPECT_EQ(parsed("12", 100, 1, INT32_MIN), 0.0);
    EXPECT_EQ(parsed("12", 100, 0, INT32_MAX), 0.0);
}

TEST(Double2StrTest, IntegersByTypeCode)
{
    EXPECT_EQ(formatted(128, 80), "80");
    EXPECT_EQ(formatted(300, 80), "2C");
    EXPECT_EQ(formatted(-128, 81), "80");
    EXPECT_EQ(formatted(5, 81), "05");
    EXPECT_EQ(formatted(300, 81), "2C");
    EXPECT_EQ(formatted(12, 82), "12");
    EXPECT_EQ(formatted(255, 82), "55");
    EXPECT_EQ(formatted(300, 82), "44");
    EXPECT_EQ(formatted(65534, 83), "FFFE");
    EXPECT_EQ(formatted(-2, 84), "FFFE");
    EXPECT_EQ(formatted(1234, 85), "1234");
    EXPECT_EQ(formatted(65535, 85), "5535");
    EXPECT_EQ(formatted(70000, 85), "4464");
    EXPECT_EQ(formatted(4294967294.0, 86), "FFFFFFFE");
    EXPECT_EQ(formatted(-2, 87), "FFFFFFFE");
    EXPECT_EQ(formatted(12345678, 88), "12345678");
    EXPECT_EQ(formatted(-12, 88), "00000012");
    EXPECT_EQ(formatted(7, 88), "00000007");
}

TEST(Double2StrTest, IntegersAreRoundedFirst)
{
    EXPECT_EQ(formatted(2.5, 80), "03");
    EXPECT_EQ(formatted(-2.5, 81), "FD");
    EXPECT_EQ(formatted(std::numeric_limits<double>::quiet_NaN(), 86), "00000000");
}

TEST(Double2StrTest, SinglePrecisionIsLowerCase)
{
    EXPECT_EQ(formatted(1.0, 89), "3f800000");
    EXPECT_EQ(formatted(-2.5, 89), "c0200000");
    EXPECT_EQ(formatted(1e300, 89), "7f800000");
}

TEST(Double2StrTest, DecimalTextHasWidthAndDecimals)
{
    EXPECT_EQ(formatted(1.5, 100, 2, 10), "      1.50");
    EXPECT_EQ(formatted(-1.25, 100, 1, 5), " -1.2");
    EXPECT_EQ(formatted(1.5, 100, 0, 1), "2");
}

TEST(Double2StrTest, OnlyTheLastCharactersOfTheWidthAreKept)
{
    EXPECT_EQ(formatted(123.456, 100, 2, 4), "3.46");
    EXPECT_EQ(formatted(1e308, 100, 0, 3), "336");
}

TEST(Double2StrTest, UnitReversesTheOrderOfThePieces)
{
    EXPECT_EQ(formatted(26, 83, 2), "1A00");
    EXPECT_EQ(formatted(305419896.0, 86, 2), "78563412");
    EXPECT_EQ(formatted(1.0, 89, 2), "0000803f");
    EXPECT_EQ(formatted(0x1234, 83, 3), "234123");
    EXPECT_EQ(formatted(0x1234, 83, INT32_MAX), "1234");
}

TEST(Double2StrTest, OtherTypesGiveNothing)
{
    for (int type : {INT32_MIN, -1, 0, 15, 16, 79, 90, 99, 101}) {
        EXPECT_EQ(formatted(1.0, type, 0, 4), "") << type;
        EXPECT_EQ(formatted(1.0, type, 2, 4), "") << type;
    }
}

TEST(Double2StrTest, NoWidthGivesNothing)
{
    for (int length : {0, -1, INT32_MIN}) {
        EXPECT_EQ(formatted(1.0, 100, 2, length), "") << length;
        EXPECT_EQ(formatted(1.0, 5, 2, length), "") << length;
    }
}

TEST(Double2StrTest, NegativeUnitMeansNoDecimals)
{
    EXPECT_EQ(formatted(1.5, 100, -3, 4), "   2");
    EXPECT_EQ(formatted(1.5, 100, INT32_MIN, 4), "   2");
    EXPECT_EQ(formatted(26, 83, -2), "001A");
}

TEST(Double2StrTest, WidthAndDecimalsAreCappedAt4096)
{
    const std::string wide = formatted(1.5, 100, 1, INT32_MAX);
    EXPECT_EQ(wide.size(), 4096U);
    EXPECT_EQ(wide.substr(4093), "1.5");
    const std::string precise = formatted(0.5, 100, INT32_MAX, 4096);
    EXPECT_EQ(precise.size(), 4096U);
    // 4096 decimals, so exactly "0." is cut off at the left.
    EXPECT_EQ(precise.substr(0, 3), "500");
}

}  // namespace
