#include "common/Utf8.h"
#include "panel/view/Columns.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>

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

TEST(ColumnsTest, ALineIsWrappedAtBlanksAndLosesNothingElse)
{
    EXPECT_EQ(wrapToColumns("  cause: one two", 16, 4), "  cause: one two");
    EXPECT_EQ(wrapToColumns("  cause: one two", 15, 4), "  cause: one\n    two");
    EXPECT_EQ(wrapToColumns("  cause: one two", 12, 4), "  cause: one\n    two");
    EXPECT_EQ(wrapToColumns("  cause: one two", 9, 4), "  cause:\n    one\n    two");
    // Without a blank where it fits, so also in the indentation of the line itself.
    EXPECT_EQ(wrapToColumns("  abcdefgh", 6, 4), "  abcd\n    ef\n    gh");
    EXPECT_EQ(wrapToColumns("服务器地址", 5, 1), "服务\n 器地\n 址");
    EXPECT_EQ(wrapToColumns("abcdef", 5, 4), "ab...");
    EXPECT_EQ(wrapToColumns("", 0, 4), "");
    const std::string line = "  cause: nobody listens at 127.0.0.1:9009; is 服务器地址 there?";
    for (std::size_t columns = 6; columns < 70; ++columns) {
        std::istringstream pieces(wrapToColumns(line, columns, 4));
        std::string letters;
        for (std::string piece; std::getline(pieces, piece);) {
            EXPECT_LE(columnsOf(piece), columns) << piece;
            for (const char c : piece) letters += c == ' ' ? "" : std::string(1, c);
        }
        std::string all;
        for (const char c : line) all += c == ' ' ? "" : std::string(1, c);
        EXPECT_EQ(letters, all) << columns;
    }
}

TEST(ColumnsTest, ATextIsPaddedToItsColumns)
{
    EXPECT_EQ(padToColumns("服务", 6), "服务  ");
    EXPECT_EQ(padToColumns("服务", 3), "服务");
}

}  // namespace
}  // namespace panel
