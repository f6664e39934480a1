#include "support/DevServer.h"

#include <iconv.h>

#include <algorithm>
#include <cstring>
#include <utility>

namespace
{

constexpr char kUtf8[] = "UTF-8";
constexpr char kGbk[] = "GB18030";
constexpr char kUnicode[] = "UTF-16LE";
constexpr char kToUtf8[] = "UTF-8//IGNORE";
constexpr char kToGbk[] = "GB18030//IGNORE";
constexpr char kToUnicode[] = "UTF-16LE//IGNORE";

char* chars(CByteArray& bytes) { return reinterpret_cast<char*>(bytes.GetData()); }

// Converts the first inLen bytes of text, which may be one more than its length,
// into out, made outLen bytes long. Returns out's new size, 0 on a failure.
int textToBytes(const char* to, CString& text, int inLen, std::int64_t outLen, CByteArray& out)
{
    out.RemoveAll();
    if (outLen > INT32_MAX) return 0;
    out.SetSize(static_cast<int>(outLen), -1);
    auto unused = static_cast<int>(outLen);
    const int length = text.GetLength();
    const int result =
        CDevServer::ConvertCode(kUtf8, to, text.GetBuffer(length), inLen, chars(out), unused);
    text.ReleaseBuffer(length);
    if (result != 0) return 0;
    out.SetSize(out.GetSize() - unused, -1);
    return out.GetSize();
}

// Converts all of in into out, which is cut at its first zero byte whatever the outcome.
bool bytesToText(const char* from, CByteArray& in, CString& out)
{
    out.Empty();
    const std::int64_t capacity = std::int64_t{2} * in.GetSize();
    if (capacity > INT32_MAX) return false;
    auto unused = static_cast<int>(capacity);
    const int result = CDevServer::ConvertCode(from, kToUtf8, chars(in), in.GetSize(),
                                               out.GetBuffer(unused), unused);
    out.ReleaseBuffer();
    return result == 0;
}

}  // namespace

int CDevServer::SvrStr2Byte(CString& s, CByteArray& out)
{
    out.SetSize(s.GetLength(), -1);
    const char* bytes = s;
    std::copy_n(bytes, out.GetSize(), chars(out));
    return out.GetSize();
}

int CDevServer::SvrByte2Str(CByteArray& in, CString& out)
{
    // On purpose in grows: its bytes become a terminated text in place.
    in.SetAtGrow(in.GetSize(), 0);
    out = chars(in);
    return in.GetSize();
}

int CDevServer::SvrChangeStrIncode(CByteArray& bytes, int flag)
{
    if (flag != 0) return 1;
    if (bytes.GetSize() % 2 != 0) bytes.SetAtGrow(bytes.GetSize(), 0);
    for (int i = 0; i < bytes.GetSize(); i += 2) std::swap(bytes[i], bytes[i + 1]);
    return 1;
}

int CDevServer::SvrStr2ASCII(CString& s, CByteArray& out)
{
    const std::int64_t length = s.GetLength();
    return textToBytes(kToGbk, s, s.GetLength(), length % 2 != 0 ? length + 1 : length + 2, out);
}

int CDevServer::SvrASCII2Str(CByteArray& in, CString& out)
{
    in.SetAtGrow(in.GetSize(), 0);
    return bytesToText(kGbk, in, out) ? in.GetSize() : 0;
}

int CDevServer::SvrStr2Unicode(CString& s, CByteArray& out)
{
    const std::int64_t withTerminator = std::int64_t{s.GetLength()} + 1;
    if (4 * withTerminator > INT32_MAX) {
        out.RemoveAll();
        return 0;
    }
    return textToBytes(kToUnicode, s, static_cast<int>(withTerminator), 4 * withTerminator, out);
}

int CDevServer::SvrUnicode2Str(CByteArray& in, CString& out)
{
    const int size = in.GetSize();
    const int evenSize = size - size % 2;
    // Without a byte behind the even length there is no terminator to be seen.
    const bool terminated = size != evenSize && in[evenSize] == 0;
    in.SetSize(evenSize, -1);
    if (!terminated) in.InsertAt(evenSize, 0, 2);
    return bytesToText(kUnicode, in, out) ? out.GetLength() : 0;
}

int CDevServer::ConvertCode(const char* from, const char* to, char* in, int inLen, char* out,
                            int& outLen)
{
    if (inLen < 0 || outLen < 0) return kConvertFailed;
    const int needed = std::max(inLen, outLen);
    if ((in == nullptr && inLen > 0) || (out == nullptr && needed > 0)) return kConvertFailed;
    const iconv_t descriptor = iconv_open(to, from);
    // The cast is iconv's own way to say "none".
    if (descriptor == reinterpret_cast<iconv_t>(-1)) return kConvertFailed;
    std::fill_n(out, outLen, '\0');
    auto inLeft = static_cast<std::size_t>(inLen);
    auto outLeft = static_cast<std::size_t>(outLen);
    // Without input there is nothing to convert, and a null pointer would mean a reset.
    const std::size_t result = inLen == 0 ? 0 : iconv(descriptor, &in, &inLeft, &out, &outLeft);
    iconv_close(descriptor);
    outLen = static_cast<int>(outLeft);
    // Also for "//IGNORE": libc skips bad bytes and still answers -1 then.
    return result == static_cast<std::size_t>(-1) ? kConvertFailed : 0;
}

int CDevServer::Utf8ToGbk(char* in, int inLen, char* out, int& outLen)
{
    return ConvertCode(kUtf8, kToGbk, in, inLen, out, outLen);
}

int CDevServer::GbkToUtf8(char* in, int inLen, char* out, int& outLen)
{
    return ConvertCode(kGbk, kToUtf8, in, inLen, out, outLen);
}

int CDevServer::Utf8ToUnicode(char* in, int inLen, char* out, int& outLen)
{
    return ConvertCode(kUtf8, kToUnicode, in, inLen, out, outLen);
}

int CDevServer::UnicodeToUtf8(char* in, int inLen, char* out, int& outLen)
{
    return ConvertCode(kUnicode, kToUtf8, in, inLen, out, outLen);
}

int CDevServer::GbkToUnicode(char* in, int inLen, char* out, int& outLen)
{
    return ConvertCode(kGbk, kToUnicode, in, inLen, out, outLen);
}

int CDevServer::UnicodeToGbk(char* in, int inLen, char* out, int& outLen)
{
    return ConvertCode(kUnicode, kToGbk, in, inLen, out, outLen);
}
