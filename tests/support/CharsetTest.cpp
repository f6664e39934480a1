#include "support/DevServer.h"

#include "tests/support/Bytes.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

// Two Chinese characters (U+4E2D U+6587) in three encodings.
const std::string kUtf8("\xE4\xB8\xAD\xE6\x96\x87");
const std::string kGbk("\xD6\xD0\xCE\xC4");
const std::string kUnicode("\x2D\x4E\x87\x65");

struct Converted {
    int result;
    Bytes bytes;  // the whole output buffer
    int unused;
    bool operator==(const Converted& other) const
    {
        return result == other.result && bytes == other.bytes && unused == other.unused;
    }
};

using Operation = int (*)(char*, int, char*, int&);

Converted convert(Operation operation, std::string input, int capacity)
{
    std::string output(static_cast<std::size_t>(capacity), '?');
    int unused = capacity;
    const int result =
        operation(input.data(), static_cast<int>(input.size()), output.data(), unused);
    return {result, bytesOf(output), unused};
}

Bytes padded(const std::string& text, std::size_t size)
{
    return bytesOf(text + std::string(size - text.size(), '\0'));
}

TEST(ConvertCodeTest, FixedPairsConvertAndZeroTheRest)
{
    EXPECT_EQ(convert(CDevServer::Utf8ToGbk, kUtf8, 8), (Converted{0, padded(kGbk, 8), 4}));
    EXPECT_EQ(convert(CDevServer::GbkToUtf8, kGbk, 8), (Converted{0, padded(kUtf8, 8), 2}));
    EXPECT_EQ(convert(CDevServer::Utf8ToUnicode, kUtf8, 8), (Converted{0, padded(kUnicode, 8), 4}));
    EXPECT_EQ(convert(CDevServer::UnicodeToUtf8, kUnicode, 8), (Converted{0, padded(kUtf8, 8), 2}));
    EXPECT_EQ(convert(CDevServer::GbkToUnicode, kGbk, 8), (Converted{0, padded(kUnicode, 8), 4}));
    EXPECT_EQ(convert(CDevServer::UnicodeToGbk, kUnicode, 8), (Converted{0, padded(kGbk, 8), 4}));
}

TEST(ConvertCodeTest, FailureIsTheSmallestInt) { EXPECT_EQ(kConvertFailed, INT32_MIN); }

TEST(ConvertCodeTest, TooLittleRoomIsAFailure)
{
    EXPECT_EQ(convert(CDevServer::Utf8ToGbk, kUtf8, 3),
              (Converted{kConvertFailed, padded("\xD6\xD0", 3), 1}));
    EXPECT_EQ(convert(CDevServer::Utf8ToGbk, "a", 0), (Converted{kConvertFailed, {}, 0}));
}

TEST(ConvertCodeTest, SkippedBytesAreAFailure)
{
    EXPECT_EQ(convert(CDevServer::Utf8ToGbk, "a\xFF", 8).result, kConvertFailed);
    EXPECT_EQ(convert(CDevServer::Utf8ToUnicode, "a\xFF", 8).result, kConvertFailed);
    EXPECT_EQ(convert(CDevServer::GbkToUtf8, "\xFF\xFF", 8).result, kConvertFailed);
    EXPECT_EQ(convert(CDevServer::UnicodeToUtf8, std::string("\x00\xDC", 2), 8).result,
              kConvertFailed);
}

TEST(ConvertCodeTest, HalfACharacterIsAFailure)
{
    EXPECT_EQ(convert(CDevServer::Utf8ToGbk, "\xE4\xB8", 8).result, kConvertFailed);
    EXPECT_EQ(convert(CDevServer::UnicodeToUtf8, "a", 8).result, kConvertFailed);
}

TEST(ConvertCodeTest, UnknownCharacterSetTouchesNothing)
{
    char in[] = "abc";
    char out[] = "old";
    int unused = 3;
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "NO-SUCH-SET", in, 3, out, unused), kConvertFailed);
    EXPECT_EQ(CDevServer::ConvertCode("NO-SUCH-SET", "UTF-8", in, 3, out, unused), kConvertFailed);
    EXPECT_STREQ(out, "old");
    EXPECT_EQ(unused, 3);
}

TEST(ConvertCodeTest, NegativeCountTouchesNothing)
{
    char in[] = "abc";
    char out[] = "old";
    int unused = 3;
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "GB18030", in, -1, out, unused), kConvertFailed);
    EXPECT_STREQ(out, "old");
    unused = -1;
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "GB18030", in, 3, out, unused), kConvertFailed);
    EXPECT_STREQ(out, "old");
    EXPECT_EQ(unused, -1);
}

TEST(ConvertCodeTest, NullPointersMeanNoBytes)
{
    char in[] = "abc";
    char out[] = "old";
    int unused = 3;
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "GB18030", nullptr, 0, out, unused), 0);
    EXPECT_EQ(std::string(out, 3), std::string(3, '\0'));
    EXPECT_EQ(unused, 3);
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "GB18030", nullptr, 1, out, unused), kConvertFailed);
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "GB18030", in, 3, nullptr, unused), kConvertFailed);
    unused = 0;
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "GB18030", in, 3, nullptr, unused), kConvertFailed);
    EXPECT_EQ(CDevServer::ConvertCode("UTF-8", "GB18030", nullptr, 0, nullptr, unused), 0);
}

TEST(CharsetTest, TextToGbkIsCutToTheBytesProduced)
{
    CString text(kUtf8.c_str());
    ByteArray out{9, 9};
    EXPECT_EQ(CDevServer::SvrStr2ASCII(text, out), 4);
    EXPECT_EQ(bytesOf(out), bytesOf(kGbk));
    EXPECT_EQ(text, kUtf8.c_str());
    CString empty;
    EXPECT_EQ(CDevServer::SvrStr2ASCII(empty, out), 0);
    EXPECT_EQ(out.GetSize(), 0);
}

TEST(CharsetTest, TextToGbkHasRoomForTheSmallestLargerEvenNumber)
{
    // U+00E4 takes two bytes in UTF-8 and four in GB18030.
    CString fits("\xC3\xA4");
    ByteArray out{};
    EXPECT_EQ(CDevServer::SvrStr2ASCII(fits, out), 4);
    EXPECT_EQ(bytesOf(out), (Bytes{0x81, 0x30, 0x8A, 0x31}));
    CString tooLong("\xC3\xA4\xC3\xA4");
    EXPECT_EQ(CDevServer::SvrStr2ASCII(tooLong, out), 0);
    EXPECT_EQ(out.GetSize(), 6);
    CString odd("\xC3\xA4x");
    EXPECT_EQ(CDevServer::SvrStr2ASCII(odd, out), 0);
    EXPECT_EQ(out.GetSize(), 4);
}

TEST(CharsetTest, FailedConversionToBytesStaysUntrimmed)
{
    CString text("ab\xFF\xFF");
    ByteArray out{};
    EXPECT_EQ(CDevServer::SvrStr2ASCII(text, out), 0);
    EXPECT_EQ(bytesOf(out), (Bytes{'a', 'b', 0, 0, 0, 0}));
    EXPECT_EQ(CDevServer::SvrStr2Unicode(text, out), 0);
    EXPECT_EQ(out.GetSize(), 4 * 5);
    EXPECT_EQ(text, "ab\xFF\xFF");
}

TEST(CharsetTest, GbkToTextGrowsItsInputByAZero)
{
    ByteArray in{0xD6, 0xD0, 0xCE, 0xC4};
    CString out("old");
    EXPECT_EQ(CDevServer::SvrASCII2Str(in, out), 5);
    EXPECT_EQ(textOf(out), kUtf8);
    EXPECT_EQ(bytesOf(in), (Bytes{0xD6, 0xD0, 0xCE, 0xC4, 0}));
    ByteArray none{};
    EXPECT_EQ(CDevServer::SvrASCII2Str(none, out), 1);
    EXPECT_EQ(out, "");
}

TEST(CharsetTest, FailedConversionToTextLeavesAValidText)
{
    ByteArray in{'a', 'b', 0xFF, 0xFF};
    CString out("old");
    EXPECT_EQ(CDevServer::SvrASCII2Str(in, out), 0);
    EXPECT_EQ(in.GetSize(), 5);
    EXPECT_EQ(textOf(out).substr(0, 2), "ab");
    EXPECT_EQ(textOf(out).find('\0'), std::string::npos);
    ByteArray loneSurrogate{'a', 0, 0x00, 0xDC};
    EXPECT_EQ(CDevServer::SvrUnicode2Str(loneSurrogate, out), 0);
    EXPECT_EQ(textOf(out), "a");
}

TEST(CharsetTest, TextToUnicodeEndsInAZeroUnit)
{
    CString text(kUtf8.c_str());
    ByteArray out{9};
    EXPECT_EQ(CDevServer::SvrStr2Unicode(text, out), 6);
    EXPECT_EQ(bytesOf(out), bytesOf(kUnicode + std::string(2, '\0')));
    CString empty;
    EXPECT_EQ(CDevServer::SvrStr2Unicode(empty, out), 2);
    EXPECT_EQ(bytesOf(out), (Bytes{0, 0}));
}

TEST(CharsetTest, UnicodeToTextAddsTheTerminatorToAnEvenSize)
{
    ByteArray in{0x2D, 0x4E, 0x87, 0x65};
    CString out("old");
    EXPECT_EQ(CDevServer::SvrUnicode2Str(in, out), 6);
    EXPECT_EQ(textOf(out), kUtf8);
    EXPECT_EQ(bytesOf(in), (Bytes{0x2D, 0x4E, 0x87, 0x65, 0, 0}));
    ByteArray none{};
    EXPECT_EQ(CDevServer::SvrUnicode2Str(none, out), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(bytesOf(none), (Bytes{0, 0}));
}

TEST(CharsetTest, UnicodeToTextLooksAtTheByteBehindAnEvenLength)
{
    CString out;
    ByteArray zeroBehind{'a', 0, 0};
    EXPECT_EQ(CDevServer::SvrUnicode2Str(zeroBehind, out), 1);
    EXPECT_EQ(out, "a");
    EXPECT_EQ(bytesOf(zeroBehind), (Bytes{'a', 0}));
    ByteArray otherBehind{'a', 0, 7};
    EXPECT_EQ(CDevServer::SvrUnicode2Str(otherBehind, out), 1);
    EXPECT_EQ(out, "a");
    EXPECT_EQ(bytesOf(otherBehind), (Bytes{'a', 0, 0, 0}));
    ByteArray onlyZero{0};
    EXPECT_EQ(CDevServer::SvrUnicode2Str(onlyZero, out), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(onlyZero.GetSize(), 0);
}

TEST(CharsetTest, TextIsCutAtTheFirstZeroThatTheConversionGives)
{
    CString out;
    ByteArray unicode{'a', 0, 0, 0, 'b', 0};
    EXPECT_EQ(CDevServer::SvrUnicode2Str(unicode, out), 1);
    EXPECT_EQ(textOf(out), "a");
    ByteArray gbk{'a', 0, 'b'};
    EXPECT_EQ(CDevServer::SvrASCII2Str(gbk, out), 4);
    EXPECT_EQ(textOf(out), "a");
}

}  // namespace
