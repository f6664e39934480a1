#include "support/MfcConverter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>
#include <thread>

namespace
{

// Parses into the middle of a guarded, unaligned piece of memory, so that a
// store of the wrong width shows.
template <class T>
T parsed(const char* text, const char* format)
{
    unsigned char memory[1 + sizeof(T) + 1];
    std::memset(memory, 0xA5, sizeof memory);
    EXPECT_FALSE(MfcConverter::GetInstance().cstringToNumeric(text, format, memory + 1));
    EXPECT_EQ(memory[0], 0xA5);
    EXPECT_EQ(memory[1 + sizeof(T)], 0xA5);
    T value{};
    std::memcpy(&value, memory + 1, sizeof value);
    return value;
}

std::int32_t parsedInt(const char* text, const char* format)
{
    return parsed<std::int32_t>(text, format);
}

TEST(MfcConverterTest, ThereIsOneInstance)
{
    const MfcConverter* other = nullptr;
    std::thread([&] { other = &MfcConverter::GetInstance(); }).join();
    EXPECT_EQ(&MfcConverter::GetInstance(), other);
}

TEST(MfcConverterTest, DecimalFormatsShareOneBehaviour)
{
    for (const char* format : {"%d", "%u", "%ld"}) {
        EXPECT_EQ(parsedInt("12", format), 12) << format;
        EXPECT_EQ(parsedInt("-12", format), -12) << format;
        EXPECT_EQ(parsedInt("  12", format), 12) << format;
        EXPECT_EQ(parsedInt("+12", format), 12) << format;
        EXPECT_EQ(parsedInt("1A", format), 1) << format;
        EXPECT_EQ(parsedInt("", format), 0) << format;
        EXPECT_EQ(parsedInt("-", format), 0) << format;
        EXPECT_EQ(parsedInt("x", format), 0) << format;
    }
}

TEST(MfcConverterTest, DecimalKeepsTheLow32Bits)
{
    EXPECT_EQ(parsedInt("4294967295", "%d"), -1);
    EXPECT_EQ(parsedInt("4294967297", "%d"), 1);
    EXPECT_EQ(parsedInt("-2147483648", "%d"), INT32_MIN);
    EXPECT_EQ(parsedInt("18446744073709551616", "%d"), -1);  // all ones
    EXPECT_EQ(parsedInt("-18446744073709551616", "%d"), 1);
}

TEST(MfcConverterTest, OnlyTheVeryFirstCharacterIsTheDispatchersSign)
{
    EXPECT_EQ(parsedInt("--9", "%d"), 9);
    EXPECT_EQ(parsedInt("- 9", "%d"), -9);
    EXPECT_EQ(parsedInt(" -9", "%d"), -9);
    EXPECT_EQ(parsedInt(" -9", "%x"), -9);
    EXPECT_EQ(parsedInt("-+9", "%d"), -9);
}

TEST(MfcConverterTest, HexAndOctalLoseALeadingSign)
{
    EXPECT_EQ(parsedInt("-12", "%x"), 18);
    EXPECT_EQ(parsedInt("-1A", "%x"), 26);
    EXPECT_EQ(parsedInt("-17", "%o"), 15);
    EXPECT_EQ(parsedInt("0x1A", "%x"), 26);
    EXPECT_EQ(parsedInt("FFFFFFFF", "%x"), -1);
    EXPECT_EQ(parsedInt("1FFFFFFFE", "%x"), -2);
    EXPECT_EQ(parsedInt("18", "%o"), 1);
    EXPECT_EQ(parsedInt("0x", "%x"), 0);
}

TEST(MfcConverterTest, FormatsAreFoundInAnyLetterCase)
{
    EXPECT_EQ(parsedInt("1A", "%X"), 26);
    EXPECT_EQ(parsedInt("-5", "%LD"), -5);
    EXPECT_EQ(parsed<double>("2.5", "%LF"), 2.5);
}

TEST(MfcConverterTest, UnknownFormatLeavesTheTarget)
{
    for (const char* format : {"%s", "", "%", "%lx", "%d "}) {
        std::int32_t value = 77;
        EXPECT_FALSE(MfcConverter::GetInstance().cstringToNumeric("12", format, &value));
        EXPECT_EQ(value, 77) << format;
    }
}

TEST(MfcConverterTest, FloatingPointFormats)
{
    EXPECT_EQ(parsed<double>("-2.5", "%lf"), -2.5);
    EXPECT_EQ(parsed<double>("1e308", "%lf"), 1e308);
    EXPECT_EQ(parsed<double>("1e999", "%lf"), HUGE_VAL);
    EXPECT_EQ(parsed<double>("--2.5", "%lf"), 2.5);
    EXPECT_EQ(parsed<double>("12abc", "%lf"), 12.0);
    EXPECT_EQ(parsed<double>("0x10", "%lf"), 16.0);
    EXPECT_TRUE(std::isnan(parsed<double>("nan", "%lf")));
    EXPECT_EQ(parsed<double>("-inf", "%lf"), -HUGE_VAL);
    EXPECT_EQ(parsed<float>("-2.5", "%f"), -2.5F);
    EXPECT_EQ(parsed<float>("1e39", "%f"), HUGE_VALF);
}

TEST(MfcConverterTest, NegatedNothingIsMinusZero)
{
    EXPECT_TRUE(std::signbit(parsed<double>("-x", "%lf")));
    EXPECT_TRUE(std::signbit(parsed<float>("-x", "%f")));
    EXPECT_FALSE(std::signbit(parsed<double>("x", "%lf")));
}

TEST(MfcConverterTest, ConvertersCanBeCalledDirectly)
{
    const MfcConverter& converter = MfcConverter::GetInstance();
    std::int32_t value = 77;
    EXPECT_FALSE(converter.cstringToULong("4294967295", &value, true));
    EXPECT_EQ(value, -1);
    EXPECT_FALSE(converter.cstringToULong("5", &value, false));
    EXPECT_EQ(value, -5);
    EXPECT_FALSE(converter.cstringToHex("-1", &value, true));
    EXPECT_EQ(value, -1);
}

TEST(MfcConverterTest, NullTargetIsLeftAlone)
{
    const MfcConverter& converter = MfcConverter::GetInstance();
    for (const char* format : {"%d", "%u", "%ld", "%x", "%o", "%f", "%lf"}) {
        EXPECT_FALSE(converter.cstringToNumeric("1", format, nullptr)) << format;
    }
    EXPECT_FALSE(converter.cstringToULong("1", nullptr, true));
}

struct StrictCase {
    std::string text;
    bool accepted;
    int value;
};

TEST(MfcConverterTest, ConvertToIntWantsTheWholeText)
{
    const StrictCase cases[] = {
        {"80", true, 80},
        {"-80", true, -80},
        {"+80", true, 80},
        {" \t80", true, 80},
        {"007", true, 7},
        {"80 ", false, 0},
        {"", false, 0},
        {" ", false, 0},
        {"-", false, 0},
        {"abc", false, 0},
        {"12.5", false, 0},
        {"0x10", false, 0},
        {"--9", false, 0},
        {std::string("80\0", 3), false, 0},
        {std::string("\0", 1), false, 0},
        {std::string("8\0000", 3), false, 0},
    };
    for (const StrictCase& expected : cases) {
        int value = 77;
        EXPECT_EQ(MfcConverter::GetInstance().ConvertToInt(expected.text, value), expected.accepted)
            << expected.text;
        EXPECT_EQ(value, expected.accepted ? expected.value : 77) << expected.text;
    }
}

TEST(MfcConverterTest, ConvertToIntGivesTheNearer32BitLimit)
{
    const StrictCase cases[] = {
        {"2147483647", true, INT32_MAX},
        {"2147483648", true, INT32_MAX},
        {"4294967297", true, INT32_MAX},
        {"99999999999999999999", true, INT32_MAX},
        {"-2147483648", true, INT32_MIN},
        {"-2147483649", true, INT32_MIN},
        {"-99999999999999999999", true, INT32_MIN},
    };
    for (const StrictCase& expected : cases) {
        int value = 77;
        EXPECT_TRUE(MfcConverter::GetInstance().ConvertToInt(expected.text, value));
        EXPECT_EQ(value, expected.value) << expected.text;
    }
}

}  // namespace
