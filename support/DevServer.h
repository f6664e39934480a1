#pragma once

#include "host/OrvaData.h"
#include "platform/Arrays.h"
#include "platform/CString.h"

#include <cstdint>

// What SvrGetParaType answers for a name that has no type.
constexpr int kNoParamType = -2;
// What a failed character-set conversion returns.
constexpr int kConvertFailed = INT32_MIN;
// Type code of a device value that is decimal text.
constexpr int kTypeText = 100;

// Parameter access through the callbacks of ORVA_DATA, and conversions between
// the forms in which device values travel. Static operations only; they keep
// nothing, log nothing and are re-entrant. Only an allocation failure leaves as
// an exception. Results are 1 for done and 0 for not done unless said otherwise.
class CDevServer
{
public:
    virtual ~CDevServer() = default;

    // --- Host variables. Each callback of data may be null. ---

    // The variable's DATATYPE, or kNoParamType when the host does not know it.
    [[nodiscard]] static int SvrGetParaType(ORVA_DATA& data, CString name);
    // The numeric variable of that name; a name of no known type is a literal:
    // blanks around it are trimmed and strtod has the say. 0 only for a string
    // variable, with value 0.0.
    [[nodiscard]] static int SvrGetParaValue(ORVA_DATA& data, CString name, double& value);
    // The string variable of that name; a name of no known type is its own
    // value, unchanged. 0 only for a numeric variable, with value empty.
    [[nodiscard]] static int SvrGetParaValue(ORVA_DATA& data, CString name, CString& value);
    // Writes a variable: a numeric one (an integer gets Double2Int of value), a
    // string one. 0 when the type does not fit; what the host answers to the
    // write itself is not looked at.
    static int SvrSetParaValue(ORVA_DATA& data, CString name, double& value);
    static int SvrSetParaValue(ORVA_DATA& data, CString name, CString& value);

    // --- Numbers and text. ---

    // d > 0: d + 0.5 truncated to unsigned 32 bits, taken as signed; else d - 0.5
    // truncated to signed 32 bits; saturating, NaN gives 0.
    [[nodiscard]] static int Double2Int(double& d);
    // Splits src at the first sep into trimmed parts; 0, with nothing touched,
    // without one. On purpose exactly one character is skipped for sep, also for a
    // longer or an empty one, which is found at the begin. The arguments may be the
    // same object.
    static int SvrGetCmdStr(CString& src, CString& sep, CString& left, CString& right);

    // Parses a device value. type: 0..15 bit of a hexadecimal number; 80..88
    // integers of 1, 2, 4 bytes, each unsigned, signed, BCD; 89 single precision;
    // 100 decimal text; any other gives 0. unit > 0 reverses the order of the
    // pieces of that many characters first. length: characters for 100, bytes
    // for 0..15. 0 when text is shorter than the type needs.
    [[nodiscard]] static double SvrStr2Double(CString text, int type, int unit, int length);
    // The inverse: upper-case hexadecimal or BCD digits; lower-case for 89. With
    // 100, unit is the number of decimals and length the width. Only the last
    // characters of that width are kept; widths and units count as 4096 at most.
    [[nodiscard]] static CString SvrDouble2Str(double value, int type, int unit, int length);
    // Sets bit number bit (0 is the lowest of byte 0) when value, truncated, is
    // not 0, else clears it. 0 when the array has no such bit; a negative bit
    // touches nothing and gives 1.
    static int SvrSetByteBit(CByteArray& bytes, double value, int bit);

    // --- Text and bytes. ---

    // The text's bytes; returns out's size.
    static int SvrStr2Byte(CString& s, CByteArray& out);
    // Appends a zero byte to in, on purpose, and gives the text up to the first
    // zero byte; returns in's new size.
    static int SvrByte2Str(CByteArray& in, CString& out);
    // Hexadecimal digits, two a byte; 0, with out left alone, for an empty text
    // or an odd length.
    static int SvrHStr2HByte(CString& hex, CByteArray& out);
    // Two upper-case digits a byte.
    static int SvrHByte2HStr(CByteArray& in, CString& out);
    // flag 0: swaps the bytes of each 16-bit unit, after a zero byte has made an
    // odd array even. Any other flag: nothing.
    static int SvrChangeStrIncode(CByteArray& bytes, int flag);

    // --- Character sets. 0 when the conversion fails. An array then keeps its full
    // size, zeros behind what was converted; a text what was converted before its
    // first zero byte. Where more than INT32_MAX bytes were needed, either is empty. ---

    // UTF-8 to GB18030; returns out's size.
    static int SvrStr2ASCII(CString& s, CByteArray& out);
    // GB18030 to UTF-8. Appends a zero byte to in; returns in's new size.
    static int SvrASCII2Str(CByteArray& in, CString& out);
    // UTF-8 to UTF-16LE with a zero unit at the end; returns out's size.
    static int SvrStr2Unicode(CString& s, CByteArray& out);
    // UTF-16LE to UTF-8. Cuts in to an even size and ends it with a zero unit
    // where it needs one; returns out's length.
    static int SvrUnicode2Str(CByteArray& in, CString& out);

    // One conversion of inLen bytes into the outLen bytes at out, which are
    // zeroed first; outLen comes back as the bytes left unused. 0, or
    // kConvertFailed: with nothing touched for an unknown character set, a
    // negative count or a null pointer; else for too little room or bytes that
    // are not valid in the source, also where "//IGNORE" has skipped them.
    static int ConvertCode(const char* from, const char* to, char* in, int inLen, char* out,
                           int& outLen);
    // The same with fixed character sets: Gbk is GB18030, Unicode is UTF-16LE.
    static int Utf8ToGbk(char* in, int inLen, char* out, int& outLen);
    static int GbkToUtf8(char* in, int inLen, char* out, int& outLen);
    static int Utf8ToUnicode(char* in, int inLen, char* out, int& outLen);
    static int UnicodeToUtf8(char* in, int inLen, char* out, int& outLen);
    static int GbkToUnicode(char* in, int inLen, char* out, int& outLen);
    static int UnicodeToGbk(char* in, int inLen, char* out, int& outLen);
};
