#include "panel/PanelError.h"
#include "panel/Value.h"

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

TEST(ValueTest, NumbersShowAsShortAsTheyCanBeReadBack)
{
    EXPECT_EQ(displayText(Value(0.1)), "0.1");
    EXPECT_EQ(displayText(Value(1.0)), "1");
    EXPECT_EQ(displayText(Value(-5)), "-5");
    EXPECT_EQ(displayText(Value(1e300)), "1e+300");
}

}  // namespace
}  // namespace panel
