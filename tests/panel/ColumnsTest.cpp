#include "common/Utf8.h"
#include "panel/view/Columns.h"

#include <gtest/gtest.h>

namespace panel
{
namespace
{

TEST(ColumnsTest, AChineseCharacterTakesTwoAndAnAccentNone)
{
    EXPECT_EQ(columnsOf(U'a'), 1U);
    EXPECT_EQ(columnsOf(U'ä'), 1U);
    EXPECT_EQ(columnsOf(U'服'), 2U);
    EXPECT_EQ(columnsOf(U'，'), 2U);
    EXPECT_EQ(columnsOf(U'\U00020000'), 2U);
    EXPECT_EQ(columnsOf(U'\u0308'), 0U);
    EXPECT_EQ(columnsOf(std::string_view("VPN用户名")), 9U);
    EXPECT_EQ(columnsOf(std::string_view("a\u0308")), 1U);
    EXPECT_EQ(columnsOf(std::string_view("\xFF"
                                         "a")),
              2U);
}

TEST(ColumnsTest, OurOwnTableSaysTheSameOfTheCharactersOfNamesHere)
{
    const std::string_view texts[] = {"服务器地址VPN用户名自定义设备名称",
                                      "가나다 ひらがな カタカナ，。", "Gerät éa\u0301 № Ω Ж א",
                                      "\U00020000\U0001F600"};
    for (std::string_view text : texts) {
        std::size_t columns = 0;
        for (std::string_view rest = text; !rest.empty();) {
            const common::Utf8Character first = common::firstCharacter(rest);
            EXPECT_EQ(columnsByTable(first.value), columnsOf(first.value)) << first.value;
            columns += columnsByTable(first.value);
            rest.remove_prefix(first.bytes);
        }
        EXPECT_EQ(columns, columnsOf(text));
    }
    EXPECT_EQ(columnsByTable(U'服'), 2U);
    EXPECT_EQ(columnsByTable(U'\u0308'), 0U);
}

TEST(ColumnsTest, ALineIsCutBetweenCharactersAndCarriesAMark)
{
    EXPECT_EQ(cutToColumns("abcdef", 6), "abcdef");
    EXPECT_EQ(cutToColumns("abcdef", 5), "ab...");
    EXPECT_EQ(cutToColumns("服务器地址", 10), "服务器地址");
    EXPECT_EQ(cutToColumns("服务器地址", 9), "服务器...");
    EXPECT_EQ(cutToColumns("服务器地址", 8), "服务...");
    EXPECT_EQ(cutToColumns("服务器地址", 2), "..");
    EXPECT_EQ(cutToColumns("服务器地址", 0), "");
    EXPECT_EQ(cutToColumns("", 0), "");
    for (std::size_t columns = 0; columns < 12; ++columns) {
        EXPECT_LE(columnsOf(cutToColumns("a服务器地址b", columns)), columns);
    }
}

TEST(ColumnsTest, ATextIsPaddedToItsColumns)
{
    EXPECT_EQ(padToColumns("服务", 6), "服务  ");
    EXPECT_EQ(padToColumns("服务", 3), "服务");
}

}  // namespace
}  // namespace panel
