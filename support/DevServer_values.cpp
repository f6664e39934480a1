#include "support/DevServer.h"
#include "support/MfcConverter.h"
#include "support/Truncate.h"

#include <algorithm>
#include <cstring>

namespace
{

// Type codes of a device value's layout.
constexpr int kTypeBitsEnd = 16;  // below: one bit of a number
constexpr int kTypeUInt8 = 80;
constexpr int kTypeInt8 = 81;
constexpr int kTypeBcd8 = 82;
constexpr int kTypeUInt16 = 83;
constexpr int kTypeInt16 = 84;
constexpr int kTypeBcd16 = 85;
constexpr int kTypeUInt32 = 86;
constexpr int kTypeInt32 = 87;
constexpr int kTypeBcd32 = 88;
constexpr int kTypeFloat = 89;

constexpr int kFloatDigits = 8;
// Widest text, and most decimals, that formatting makes.
constexpr int kMaxWidth = 4096;

bool isInteger(int type) { return type >= kTypeUInt8 && type <= kTypeBcd32; }

bool isBcd(int type) { return type == kTypeBcd8 || type == kTypeBcd16 || type == kTypeBcd32; }

// 2, 4 or 8 for the three types each of 1, 2 and 4 bytes.
int integerDigits(int type) { return 2 << ((type - kTypeUInt8) / 3); }

std::uint32_t parse32(const CString& text, const char* format)
{
    std::uint32_t value = 0;
    MfcConverter::GetInstance().cstringToNumeric(text, format, &value);
    return value;
}

std::uint32_t parseByte(const CString& digits, int index)
{
    return parse32(digits.Mid(2 * index, 2), "%x") & 0xFFU;
}

// The pieces of unit characters from the end to the beginning of count
// characters. On purpose a last piece that does not fit is not shortened: it
// starts at 0 and overlaps the one before it.
CString reversedByUnits(const CString& text, int count, int unit)
{
    CString reversed;
    for (int end = count; end > 0; end -= unit) reversed += text.Mid(end - unit, unit);
    return reversed;
}

// Narrows to the type's width and signedness. BCD keeps all 32 bits.
double integerValue(std::uint32_t bits, int type)
{
    switch (type) {
        case kTypeUInt8:
            return static_cast<std::uint8_t>(bits);
        case kTypeInt8:
            return static_cast<std::int8_t>(bits);
        case kTypeUInt16:
            return static_cast<std::uint16_t>(bits);
        case kTypeInt16:
            return static_cast<std::int16_t>(bits);
        case kTypeUInt32:
            return bits;
        case kTypeInt32:
        default:
            return static_cast<std::int32_t>(bits);
    }
}

// What is printed of a number. The signed narrow types need no mask: only their
// last digits are kept.
std::uint32_t printedBits(std::uint32_t bits, int type)
{
    switch (type) {
        case kTypeUInt8:
        case kTypeBcd8:
            return bits & 0xFFU;
        case kTypeUInt16:
        case kTypeBcd16:
            return bits & 0xFFFFU;
        default:
            return bits;
    }
}

CString floatDigits(double value)
{
    const auto single = static_cast<float>(value);
    std::uint32_t bits = 0;
    std::memcpy(&bits, &single, sizeof bits);
    CString digits;
    // On purpose lower-case, unlike every other hexadecimal text here.
    digits.Format("%.8x", bits);
    return digits;
}

CString integerText(double value, int type, int digits)
{
    const auto bits = printedBits(static_cast<std::uint32_t>(CDevServer::Double2Int(value)), type);
    CString text;
    if (isBcd(type)) {
        text.Format("%.*d", digits, static_cast<std::int32_t>(bits));
    } else {
        text.Format("%.*X", digits, bits);
    }
    return text;
}

}  // namespace

int CDevServer::Double2Int(double& d)
{
    // On purpose positive numbers go through unsigned: beyond 2147483647 they come back negative.
    if (d > 0) return static_cast<int>(truncToUnsigned(d + 0.5));
    return truncToInt(d - 0.5);
}

int CDevServer::SvrGetCmdStr(CString& src, CString& sep, CString& left, CString& right)
{
    const int position = src.Find(sep);
    if (position < 0) return 0;
    CString before = src.Left(position);
    // On purpose the separator counts as one character, however long it is.
    CString behind = src.Right(std::max(0, src.GetLength() - position - 1));
    before.TrimLeft();
    before.TrimRight();
    behind.TrimLeft();
    behind.TrimRight();
    left = before;
    right = behind;
    return 1;
}

double CDevServer::SvrStr2Double(CString text, int type, int unit, int length)
{
    if (type < 0) return 0.0;
    std::int64_t count = 0;
    if (type < kTypeBitsEnd) {
        count = std::int64_t{2} * length;
    } else if (isInteger(type)) {
        count = integerDigits(type);
    } else if (type == kTypeFloat) {
        count = kFloatDigits;
    } else if (type == kTypeText) {
        count = length;
    }
    if (count > text.GetLength() || count <= 0) return 0.0;
    CString digits = text.Left(static_cast<int>(count));
    if (unit > 0) digits = reversedByUnits(digits, static_cast<int>(count), unit);

    if (type < kTypeBitsEnd) return (parse32(digits, "%x") >> type) & 1U;
    if (isInteger(type)) return integerValue(parse32(digits, isBcd(type) ? "%d" : "%X"), type);
    if (type == kTypeFloat) {
        std::uint32_t bits = 0;
        for (int i = 0; i < kFloatDigits / 2; ++i) bits = bits << 8 | parseByte(digits, i);
        float single = 0;
        std::memcpy(&single, &bits, sizeof single);
        return static_cast<double>(single);
    }
    double value = 0.0;
    MfcConverter::GetInstance().cstringToNumeric(digits, "%lf", &value);
    return value;
}

CString CDevServer::SvrDouble2Str(double value, int type, int unit, int length)
{
    CString text;
    int width = std::min(length, kMaxWidth);
    if (isInteger(type)) {
        width = integerDigits(type);
        text = integerText(value, type, width);
    } else if (type == kTypeFloat) {
        width = kFloatDigits;
        text = floatDigits(value);
    } else if (type == kTypeText && width > 0) {
        text.Format("%*.*lf", width, std::clamp(unit, 0, kMaxWidth), value);
    }
    text = text.Right(width);
    return type != kTypeText && unit > 0 ? reversedByUnits(text, text.GetLength(), unit) : text;
}

int CDevServer::SvrSetByteBit(CByteArray& bytes, double value, int bit)
{
    if (bit >= std::int64_t{8} * bytes.GetSize()) return 0;
    if (bit < 0) return 1;
    const auto mask = static_cast<unsigned char>(1U << (bit % 8));
    unsigned char& byte = bytes.ElementAt(bit / 8);
    byte = static_cast<unsigned char>(truncToInt(value) != 0 ? byte | mask : byte & ~mask);
    return 1;
}

int CDevServer::SvrHStr2HByte(CString& hex, CByteArray& out)
{
    const int length = hex.GetLength();
    if (length == 0 || length % 2 != 0) return 0;
    out.SetSize(length / 2, -1);
    for (int i = 0; i < length / 2; ++i) out[i] = static_cast<unsigned char>(parseByte(hex, i));
    return 1;
}

int CDevServer::SvrHByte2HStr(CByteArray& in, CString& out)
{
    out.Empty();
    CString digits;
    for (int i = 0; i < in.GetSize(); ++i) {
        digits.Format("%.2X", static_cast<unsigned int>(in[i]));
        out += digits;
    }
    return 1;
}
