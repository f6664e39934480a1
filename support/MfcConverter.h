#pragma once

#include "platform/CString.h"
#include "platform/QZUtils.h"

#include <string>
#include <vector>

class MfcConverter;

// One row of the conversion table.
struct stConvertInfo {
    std::string format;  // the format word that selects the row
    bool (MfcConverter::*converter)(CString text, void* target, bool positive) const;
    std::string description;
};

// Turns text into numbers. Read-only once it is made, so any thread may use it.
// On purpose no result of a table parser says whether the text was a number:
// they all return false, and what cannot be parsed gives 0.
class MfcConverter
{
public:
    // The one instance, made by the first call, freed at process exit.
    static MfcConverter& GetInstance();

    virtual ~MfcConverter() = default;
    MfcConverter(const MfcConverter&) = delete;
    MfcConverter& operator=(const MfcConverter&) = delete;

    // Parses text as format says, ignoring its letter case: "%d" "%u" "%ld" "%x"
    // "%o" "%f" store exactly 4 bytes at target, "%lf" exactly 8, at any
    // alignment. A '-' as the very first character negates; libc sees the rest.
    // Always false; another format leaves target untouched.
    bool cstringToNumeric(CString text, CString format, void* target) const;

    // The whole text as a decimal integer, limited to 32 bits. False, with value
    // untouched, for an empty text and for anything left over behind the
    // number, trailing white space and zero bytes included.
    [[nodiscard]] bool ConvertToInt(const QZ::utils::String& text, int& value) const;

    // The parsers of the table. A null target is left alone.
    // Decimal, the low 32 bits of what strtoull gives.
    bool cstringToInt(CString text, void* target, bool positive) const;
    bool cstringToUInt(CString text, void* target, bool positive) const;
    bool cstringToLong(CString text, void* target, bool positive) const;
    bool cstringToULong(CString text, void* target, bool positive) const;
    // Base 16 and 8; on purpose they ignore positive.
    bool cstringToHex(CString text, void* target, bool positive) const;
    bool cstringToOct(CString text, void* target, bool positive) const;
    // As strtof and strtod.
    bool cstringToFloat(CString text, void* target, bool positive) const;
    bool cstringToDouble(CString text, void* target, bool positive) const;

private:
    MfcConverter();

    std::vector<stConvertInfo> m_table;
};
