#include "platform/CString.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>

namespace
{

CString formatted(const CString& text)
{
    CString result;
    result.Format("[%s]", static_cast<const char*>(text));
    return result;
}

TEST(CStringTest, NullTextsAreEmpty)
{
    const char* const null = nullptr;
    CString text(null);
    EXPECT_TRUE(text.IsEmpty());
    text = "abc";
    text += null;
    EXPECT_STREQ(text, "abc");
    text = null;
    EXPECT_STREQ(text, "");
    EXPECT_EQ(CString(null, 5).GetLength(), 0);
    EXPECT_EQ(text.Compare(null), 0);
    EXPECT_EQ(text.CompareNoCase(null), 0);
    EXPECT_GT(CString("a").Compare(null), 0);
    EXPECT_EQ(CString("a").Find(null), -1);
}

TEST(CStringTest, TheLengthConstructorKeepsZeroBytes)
{
    const CString text("a\0b", 3);
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_EQ(text.GetAt(1), '\0');
    EXPECT_EQ(text.GetAt(2), 'b');
    EXPECT_EQ(std::strlen(text), 1u);
    EXPECT_TRUE(CString("abc", 0).IsEmpty());
    EXPECT_TRUE(CString("abc", -1).IsEmpty());
}

TEST(CStringTest, ZeroBytesSurviveCopiesAndPieces)
{
    const CString text("a\0b", 3);
    CString copy(text);
    copy += text;
    EXPECT_EQ(copy.GetLength(), 6);
    EXPECT_EQ(copy.GetAt(5), 'b');
    EXPECT_EQ(copy.Right(2).GetLength(), 2);
    EXPECT_EQ(copy.Mid(1, 2).GetAt(1), 'b');
    EXPECT_EQ((text + text).GetLength(), 6);
    EXPECT_TRUE(text != CString("a"));
    EXPECT_EQ(text.Find('b'), 2);
}

TEST(CStringTest, GetAtOutsideIsZero)
{
    const CString text("ab");
    EXPECT_EQ(text.GetAt(0), 'a');
    EXPECT_EQ(text.GetAt(2), '\0');
    EXPECT_EQ(text.GetAt(-1), '\0');
    EXPECT_EQ(text.GetAt(INT_MAX), '\0');
}

TEST(CStringTest, ItsOwnTextMayBeAssignedAndAppended)
{
    CString text("0123456789");
    text = static_cast<const char*>(text) + 5;
    EXPECT_STREQ(text, "56789");
    text += static_cast<const char*>(text);
    text += text;
    EXPECT_STREQ(text, "56789567895678956789");
}

TEST(CStringTest, FindBeginsAtTheStart)
{
    const CString text("abcabc");
    EXPECT_EQ(text.Find("bc"), 1);
    EXPECT_EQ(text.Find("bc", 1), 1);
    EXPECT_EQ(text.Find("bc", 2), 4);
    EXPECT_EQ(text.Find('c', 3), 5);
    EXPECT_EQ(text.Find("x"), -1);
}

TEST(CStringTest, TheEmptyTextIsFoundAtTheStart)
{
    const CString text("abc");
    EXPECT_EQ(text.Find(""), 0);
    EXPECT_EQ(text.Find("", 2), 2);
    EXPECT_EQ(text.Find("", 3), 3);
    EXPECT_EQ(text.Find("", 4), -1);
    EXPECT_EQ(text.Find("", INT_MAX), -1);
    EXPECT_EQ(text.Find("", -5), 0);
    EXPECT_EQ(CString().Find(""), 0);
    EXPECT_EQ(CString().Find("", 1), -1);
}

TEST(CStringTest, FindClampsTheStart)
{
    const CString text("abc");
    EXPECT_EQ(text.Find("a", -5), 0);
    EXPECT_EQ(text.Find('a', INT_MIN), 0);
    EXPECT_EQ(text.Find("c", 3), -1);
    EXPECT_EQ(text.Find("c", INT_MAX), -1);
    EXPECT_EQ(text.Find('c', INT_MAX), -1);
}

TEST(CStringTest, LeftAndRightClampTheCount)
{
    const CString text("abc");
    EXPECT_STREQ(text.Left(2), "ab");
    EXPECT_STREQ(text.Left(0), "");
    EXPECT_STREQ(text.Left(-1), "");
    EXPECT_STREQ(text.Left(INT_MAX), "abc");
    EXPECT_STREQ(text.Right(2), "bc");
    EXPECT_STREQ(text.Right(0), "");
    EXPECT_STREQ(text.Right(INT_MIN), "");
    EXPECT_STREQ(text.Right(INT_MAX), "abc");
}

TEST(CStringTest, MidClampsAtBothEnds)
{
    const CString text("abcd");
    EXPECT_STREQ(text.Mid(1), "bcd");
    EXPECT_STREQ(text.Mid(1, 2), "bc");
    EXPECT_STREQ(text.Mid(1, INT_MAX), "bcd");
    EXPECT_STREQ(text.Mid(4), "");
    EXPECT_STREQ(text.Mid(INT_MAX, INT_MAX), "");
    EXPECT_STREQ(text.Mid(1, -1), "");
}

TEST(CStringTest, AFirstBelowZeroDoesNotShortenThePiece)
{
    EXPECT_STREQ(CString("abcd").Mid(-1, 2), "ab");
    EXPECT_STREQ(CString("abcd").Mid(INT_MIN), "abcd");
}

TEST(CStringTest, TrimTakesWhiteSpaceOffItsEnd)
{
    CString text(" \t\r\n\v\fa b \n");
    EXPECT_STREQ(text.TrimLeft(), "a b \n");
    EXPECT_STREQ(text.TrimRight(), "a b");
    CString blanks("  \t");
    EXPECT_STREQ(blanks.TrimRight(), "");
    EXPECT_STREQ(blanks.TrimLeft(), "");
}

TEST(CStringTest, TrimLeavesBytesAboveSevenBits)
{
    CString text("\x85\xA0\xE4\xB8\xAD\xA0");
    text.TrimLeft().TrimRight();
    EXPECT_STREQ(text, "\x85\xA0\xE4\xB8\xAD\xA0");
}

TEST(CStringTest, MakeUpperTouchesAsciiLettersOnly)
{
    CString text("aZz09_{`\xE4\xB8\xAD\xFF");
    EXPECT_STREQ(text.MakeUpper(), "AZZ09_{`\xE4\xB8\xAD\xFF");
}

TEST(CStringTest, CompareKnowsCaseAndCompareNoCaseDoesNot)
{
    EXPECT_EQ(CString("abc").Compare("abc"), 0);
    EXPECT_LT(CString("ABC").Compare("abc"), 0);
    EXPECT_EQ(CString("AbC").CompareNoCase("aBc"), 0);
    EXPECT_TRUE(CString("abc") == "abc");
    EXPECT_TRUE(CString("abc") != "abd");
    EXPECT_TRUE(CString("abc") == CString("abc"));
}

TEST(CStringTest, FormatWritesAMegabyte)
{
    const std::string megabyte(1024 * 1024, 'x');
    const CString text = formatted(megabyte.c_str());
    EXPECT_EQ(text.GetLength(), 1024 * 1024 + 2);
    EXPECT_EQ(text.GetAt(0), '[');
    EXPECT_EQ(text.GetAt(1024 * 1024), 'x');
    EXPECT_EQ(text.GetAt(1024 * 1024 + 1), ']');
}

TEST(CStringTest, FormatWritesTheLargestDoublesInFull)
{
    CString text;
    text.Format("%lf", 1e308);
    EXPECT_EQ(text.GetLength(), 316);
    EXPECT_STREQ(text.Right(7), ".000000");
    text.Format("ORVA_WRITE(%d=%lf)", 10, -1.5);
    EXPECT_STREQ(text, "ORVA_WRITE(10=-1.500000)");
}

TEST(CStringTest, FormatIsExactAroundEveryLength)
{
    for (int length = 0; length < 300; ++length) {
        CString text;
        text.Format("%s", std::string(static_cast<std::size_t>(length), 'y').c_str());
        ASSERT_EQ(text.GetLength(), length);
        ASSERT_EQ(std::strlen(text), static_cast<std::size_t>(length));
    }
}

TEST(CStringTest, FormatMayUseTheTextItself)
{
    CString text("abc");
    text.Format("%s-%s", static_cast<const char*>(text), static_cast<const char*>(text));
    EXPECT_STREQ(text, "abc-abc");
}

TEST(CStringTest, AFormatThatGivesNothingEmptiesTheText)
{
    CString text("abc");
    text.Format("%s", "");
    EXPECT_TRUE(text.IsEmpty());
}

TEST(CStringTest, GetBufferKeepsTheTextAndMakesRoom)
{
    CString text("abc");
    char* buffer = text.GetBuffer(1000);
    EXPECT_STREQ(buffer, "abc");
    std::memset(buffer, 'z', 1000);
    buffer[1000] = '\0';
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 1000);
}

TEST(CStringTest, ReleaseBufferCutsAtTheFirstZero)
{
    CString text("abcdef");
    text.GetBuffer()[2] = '\0';
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 2);
    EXPECT_STREQ(text, "ab");
}

TEST(CStringTest, UnusedRoomIsGoneAfterReleaseBuffer)
{
    CString text("ab");
    text.GetBuffer(100);
    text.ReleaseBuffer();
    EXPECT_EQ(text.GetLength(), 2);
}

TEST(CStringTest, ReleaseBufferWithALengthKeepsZeroBytes)
{
    CString text;
    std::memcpy(text.GetBuffer(5), "a\0b\0c", 5);
    text.ReleaseBuffer(3);
    EXPECT_EQ(text.GetLength(), 3);
    EXPECT_EQ(text.GetAt(2), 'b');
    text.ReleaseBuffer(INT_MAX);
    EXPECT_EQ(text.GetLength(), 3);
}

TEST(CStringTest, GetBufferSetLengthSetsTheLength)
{
    CString text("abc");
    text.GetBufferSetLength(2)[1] = 'x';
    EXPECT_STREQ(text, "ax");
    EXPECT_EQ(text.GetBufferSetLength(4)[3], '\0');
    EXPECT_EQ(text.GetLength(), 4);
    text.GetBufferSetLength(-1);
    EXPECT_TRUE(text.IsEmpty());
}

TEST(CStringTest, ACharacterIsAppended)
{
    CString text("a");
    text += 'b';
    text += '\0';
    EXPECT_EQ(text.GetLength(), 3);
    text.Empty();
    EXPECT_EQ(text.GetLength(), 0);
}

}  // namespace
