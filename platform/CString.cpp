#include "platform/CString.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace
{

const char* orEmpty(const char* text) { return text != nullptr ? text : ""; }

// A position or count that came in as int, put into 0..size.
std::size_t clampTo(int value, std::size_t size)
{
    return value < 0 ? 0 : std::min(static_cast<std::size_t>(value), size);
}

// A negative plain char must not reach isspace.
bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

int toPosition(std::size_t found)
{
    return found == std::string::npos ? -1 : static_cast<int>(found);
}

}  // namespace

CString::CString(const char* text) : m_text(orEmpty(text)) {}

CString::CString(const char* text, int length)
{
    if (text != nullptr && length > 0) m_text.assign(text, static_cast<std::size_t>(length));
}

CString& CString::operator=(const char* text)
{
    m_text = orEmpty(text);
    return *this;
}

char CString::GetAt(int index) const
{
    return index >= 0 && index < GetLength() ? m_text[static_cast<std::size_t>(index)] : '\0';
}

CString& CString::operator+=(const char* text)
{
    m_text += orEmpty(text);
    return *this;
}

CString& CString::operator+=(const CString& text)
{
    m_text += text.m_text;
    return *this;
}

CString& CString::operator+=(char c)
{
    m_text += c;
    return *this;
}

int CString::Find(const char* text, int start) const
{
    // The empty text, too, is found no further than at the end.
    if (text == nullptr || start > GetLength()) return -1;
    return toPosition(m_text.find(text, clampTo(start, m_text.size())));
}

int CString::Find(char c, int start) const
{
    return toPosition(m_text.find(c, clampTo(start, m_text.size())));
}

CString CString::Left(int count) const { return Mid(0, count); }

CString CString::Right(int count) const
{
    const std::size_t taken = clampTo(count, m_text.size());
    CString result;
    result.m_text.assign(m_text, m_text.size() - taken, taken);
    return result;
}

CString CString::Mid(int first) const { return Mid(first, GetLength()); }

CString CString::Mid(int first, int count) const
{
    const std::size_t begin = clampTo(first, m_text.size());
    CString result;
    result.m_text.assign(m_text, begin, clampTo(count, m_text.size() - begin));
    return result;
}

CString& CString::TrimLeft()
{
    m_text.erase(m_text.begin(), std::find_if_not(m_text.begin(), m_text.end(), isSpace));
    return *this;
}

CString& CString::TrimRight()
{
    m_text.erase(std::find_if_not(m_text.rbegin(), m_text.rend(), isSpace).base(), m_text.end());
    return *this;
}

// Letters of ASCII alone: toupper under the host's locale could take a byte of a
// multi-byte character for a letter.
CString& CString::MakeUpper()
{
    for (char& c : m_text) {
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    }
    return *this;
}

int CString::Compare(const char* text) const { return std::strcmp(m_text.c_str(), orEmpty(text)); }

int CString::CompareNoCase(const char* text) const
{
    return strcasecmp(m_text.c_str(), orEmpty(text));
}

void CString::Format(const char* format, ...)
{
    // Built beside the old text, which may be one of the arguments.
    std::string result;
    char shortText[128];
    va_list args;
    va_start(args, format);
    const int length = std::vsnprintf(shortText, sizeof shortText, format, args);
    va_end(args);
    if (length > 0 && static_cast<std::size_t>(length) < sizeof shortText) {
        result.assign(shortText, static_cast<std::size_t>(length));
    } else if (length > 0) {
        result.resize(static_cast<std::size_t>(length));
        va_start(args, format);
        std::vsnprintf(result.data(), result.size() + 1, format, args);
        va_end(args);
    }
    m_text = std::move(result);
}

char* CString::GetBuffer(int length)
{
    if (length > GetLength()) m_text.resize(static_cast<std::size_t>(length));
    return m_text.data();
}

char* CString::GetBufferSetLength(int length)
{
    m_text.resize(length < 0 ? 0 : static_cast<std::size_t>(length));
    return m_text.data();
}

void CString::ReleaseBuffer(int length)
{
    m_text.resize(length < 0 ? std::strlen(m_text.c_str()) : clampTo(length, m_text.size()));
}
