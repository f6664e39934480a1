#include "support/MfcConverter.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace
{

// Targets may lie at any address, which ARM does not allow for a plain store.
template <class T>
void store(void* target, T value)
{
    std::memcpy(target, &value, sizeof value);
}

// On purpose the low 32 bits of a 64-bit parse, not a limited value.
std::uint32_t low32Bits(const char* text, int base)
{
    return static_cast<std::uint32_t>(std::strtoull(text, nullptr, base));
}

}  // namespace

MfcConverter::MfcConverter()
{
    m_table = {
        {"%d", &MfcConverter::cstringToInt, "c string to int number"},
        {"%u", &MfcConverter::cstringToUInt, "c string to unsigned int number"},
        {"%ld", &MfcConverter::cstringToLong, "c string to long number"},
        {"%x", &MfcConverter::cstringToHex, "c string to hex number"},
        {"%o", &MfcConverter::cstringToOct, "c string to oct number"},
        {"%f", &MfcConverter::cstringToFloat, "c string to float number"},
        {"%lf", &MfcConverter::cstringToDouble, "c string to double number"},
    };
}

MfcConverter& MfcConverter::GetInstance()
{
    static MfcConverter instance;
    return instance;
}

bool MfcConverter::cstringToNumeric(CString text, CString format, void* target) const
{
    const bool positive = text.GetAt(0) != '-';
    if (!positive) text = text.Mid(1);
    const auto row = std::find_if(m_table.begin(), m_table.end(), [&](const stConvertInfo& info) {
        return format.CompareNoCase(info.format.c_str()) == 0;
    });
    if (row == m_table.end()) return false;
    return (this->*row->converter)(text, target, positive);
}

bool MfcConverter::ConvertToInt(const QZ::utils::String& text, int& value) const
{
    if (text.empty()) return false;
    char* end = nullptr;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    // The end is that of the bytes, so a zero byte among them is left over. A
    // text without digits is refused as well: its parse ends at its beginning.
    if (end != text.c_str() + text.size()) return false;
    value = static_cast<int>(std::clamp<long>(parsed, INT32_MIN, INT32_MAX));
    return true;
}

bool MfcConverter::cstringToInt(CString text, void* target, bool positive) const
{
    if (target == nullptr) return false;
    const std::uint32_t value = low32Bits(text, 10);
    store(target, positive ? value : 0U - value);
    return false;
}

bool MfcConverter::cstringToUInt(CString text, void* target, bool positive) const
{
    return cstringToInt(text, target, positive);
}

bool MfcConverter::cstringToLong(CString text, void* target, bool positive) const
{
    return cstringToInt(text, target, positive);
}

bool MfcConverter::cstringToULong(CString text, void* target, bool positive) const
{
    return cstringToInt(text, target, positive);
}

// On purpose the sign that the dispatcher took off is lost here: -1A is 26.
bool MfcConverter::cstringToHex(CString text, void* target, bool) const
{
    if (target != nullptr) store(target, low32Bits(text, 16));
    return false;
}

bool MfcConverter::cstringToOct(CString text, void* target, bool) const
{
    if (target != nullptr) store(target, low32Bits(text, 8));
    return false;
}

bool MfcConverter::cstringToFloat(CString text, void* target, bool positive) const
{
    if (target == nullptr) return false;
    const float value = std::strtof(text, nullptr);
    store(target, positive ? value : -value);
    return false;
}

bool MfcConverter::cstringToDouble(CString text, void* target, bool positive) const
{
    if (target == nullptr) return false;
    const double value = std::strtod(text, nullptr);
    store(target, positive ? value : -value);
    return false;
}
