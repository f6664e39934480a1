#include "panel/runtime/DisplayText.h"
#include "panel/runtime/PanelError.h"
#include "panel/runtime/Value.h"

#include <gtest/gtest.h>
#include <limits>

namespace panel
{
namespace
{

TEST(ValueTest, TypesAreTheHosts)
{
    EXPECT_EQ(typeOf(parseValue("int", "1")), DATATYPE_INT);
    EXPECT_EQ(typeOf(parseValue("double", "1")), DATATYPE_DOUBLE);
    EXPECT_EQ(typeOf(parseValue("string", "1")), DATATYPE_STRING);
}

TEST(ValueTest, IntegersReachToBothEndsOf32Bits)
{
    EXPECT_EQ(parseValue("int", "2147483647"), Value(std::numeric_limits<int>::max()));
    EXPECT_EQ(parseValue("int", "-2147483648"), Value(std::numeric_limits<int>::min()));
    EXPECT_THROW(parseValue("int", "-2147483649"), PanelError);
    EXPECT_THROW(parseValue("int", " 1"), PanelError);
    EXPECT_THROW(parseValue("int", "1 "), PanelError);
    EXPECT_THROW(parseValue("int", "0x10"), PanelError);
}

TEST(ValueTest, AVariableIsNameTypeAndAnythingElse)
{
    const NamedValue variable = parseVariable("url=string:http://x=y:z");
    EXPECT_EQ(variable.name, "url");
    EXPECT_EQ(variable.value, Value(std::string("http://x=y:z")));
    EXPECT_EQ(parseVariable("empty=string:").value, Value(std::string()));
    EXPECT_EQ(parseVariable("d=double:-1e3").value, Value(-1000.0));
}

TEST(ValueTest, AnErrorInAStringNeverQuotesItsText)
{
    try {
        parseVariable("p=string:@/does/not/exist");
        FAIL();
    } catch (const PanelError& error) {
        EXPECT_STREQ(error.what(),
                     "variable p: cannot read '/does/not/exist': No such file or directory");
    }
}

TEST(ValueTest, AWrongTypeQuotesNeitherTheValueNorTheWordForTheType)
{
    const auto errorOf = [](const char* type, const char* value) -> std::string {
        try {
            static_cast<void>(parseValue(type, value));
        } catch (const PanelError& error) {
            return error.what();
        }
        return {};
    };
    EXPECT_EQ(errorOf("int", "hunter22"),
              "the value is not a whole number from -2147483648 to 2147483647");
    EXPECT_EQ(errorOf("double", "hunter22"), "the value is not a number such as 2.5");
    EXPECT_EQ(errorOf("hunter22", "string"), "the type must be int, double or string");
}

TEST(ValueTest, TwoAtSignsStandForOne)
{
    EXPECT_EQ(parseValue("string", "@@home"), Value(std::string("@home")));
    EXPECT_EQ(parseValue("string", "a@home"), Value(std::string("a@home")));
}

TEST(ValueTest, ControlCharactersDoNotReachTheScreen)
{
    EXPECT_EQ(displayText(std::string_view("a\n\x1b[J\x7f\0b", 8)), "a\\x0A\\x1B[J\\x7F\\x00b");
    EXPECT_EQ(displayText(std::string_view("Gerät")), "Gerät");
}

TEST(ValueTest, CharactersThatRuleTheScreenOrTurnTheTextAroundAreWrittenAsBytes)
{
    EXPECT_EQ(displayText(std::string_view("\xC2\x9B"
                                           "2J")),
              "\\xC2\\x9B2J");
    EXPECT_EQ(displayText(std::string_view("a\u202Eb\u2069")), "a\\xE2\\x80\\xAEb\\xE2\\x81\\xA9");
    EXPECT_EQ(displayText(std::string_view("\u00A0\u202F\u2065\U0001F600")),
              "\u00A0\u202F\u2065\U0001F600");
}

TEST(ValueTest, EachEdgeOfTheControlCharactersIsKnown)
{
    const std::pair<std::uint32_t, std::uint32_t> controls[] = {
        {0x00, 0x1F},     {0x7F, 0x9F},     {0x061C, 0x061C}, {0x200E, 0x200F},
        {0x2028, 0x202E}, {0x2066, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}};
    for (const auto& [first, last] : controls) {
        for (std::uint32_t one = first; one <= last; ++one) EXPECT_TRUE(isControl(one)) << one;
        EXPECT_TRUE(first == 0 || !isControl(first - 1)) << first;
        EXPECT_FALSE(isControl(last + 1)) << last;
    }
    // A no-break blank, joiners, private and unassigned characters.
    for (const std::uint32_t text : {0xA0U, 0x200CU, 0x200DU, 0xE000U, 0x0378U, 0x10FFFDU}) {
        EXPECT_FALSE(isControl(text)) << text;
    }
}

TEST(ValueTest, BytesThatAreNoUtf8AreWrittenAsBytes)
{
    // A byte of Latin-1, a cut character, a long form, a surrogate, one beyond the last.
    EXPECT_EQ(displayText(std::string_view("\x9B"
                                           "a\xFC")),
              "\\x9Ba\\xFC");
    EXPECT_EQ(displayText(std::string_view("\xE2\x82")), "\\xE2\\x82");
    EXPECT_EQ(displayText(std::string_view("\xC0\x8A")), "\\xC0\\x8A");
    EXPECT_EQ(displayText(std::string_view("\xED\xA0\x80")), "\\xED\\xA0\\x80");
    EXPECT_EQ(displayText(std::string_view("\xF4\x90\x80\x80")), "\\xF4\\x90\\x80\\x80");
}

TEST(ValueTest, NumbersShowAsShortAsTheyCanBeReadBack)
{
    EXPECT_EQ(displayText(Value(0.1)), "0.1");
    EXPECT_EQ(displayText(Value(1.0)), "1");
    EXPECT_EQ(displayText(Value(-5)), "-5");
    EXPECT_EQ(displayText(Value(1e300)), "1e+300");
}

}  // namespace
}  // namespace panel
