#include "platform/CString.h"

#include <strings.h>

#include <algorithm>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

namespace
{
std::size_t bytes(int count) { return static_cast<std::size_t>(count); }
bool isSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }
}  // namespace

CString::Block* CString::allocate(int capacity)
{
    void* memory = std::calloc(1, sizeof(Block) + bytes(capacity) + 1);
    if (memory == nullptr) throw std::bad_alloc();
    return new (memory) Block{{1}, 0, capacity};
}

// The old text goes last: the new one may be a part of it.
void CString::take(const char* text, int length)
{
    Block* block = nullptr;
    if (text != nullptr && length > 0) {
        block = allocate(length);
        std::memcpy(block->text(), text, bytes(length));
        block->length = length;
    }
    drop();
    m_block = block;
}

void CString::drop()
{
    if (m_block != nullptr && --m_block->owners == 0) std::free(m_block);
    m_block = nullptr;
}

// Bytes of this text alone, at least capacity of them, old content kept.
char* CString::ownBytes(int capacity)
{
    const int needed = std::max(capacity, GetLength());
    if (m_block == nullptr || m_block->owners != 1 || m_block->capacity < needed) {
        Block* block = allocate(needed);
        std::memcpy(block->text(), static_cast<const char*>(*this), bytes(GetLength()));
        block->length = GetLength();
        drop();
        m_block = block;
    }
    return m_block->text();
}

void CString::setLength(int length)
{
    ownBytes(length)[length] = '\0';
    m_block->length = length;
}

CString::CString(const char* text)
    : CString(text, text == nullptr ? 0 : static_cast<int>(std::strlen(text)))
{
}

CString::CString(const char* text, int length) { take(text, length); }

CString::CString(const CString& other) : m_block(other.m_block)
{
    if (m_block != nullptr) ++m_block->owners;
}

CString::~CString() { drop(); }

CString& CString::operator=(const CString& other)
{
    if (other.m_block != nullptr) ++other.m_block->owners;
    Block* const block = other.m_block;
    drop();
    m_block = block;
    return *this;
}

CString& CString::operator=(const char* text)
{
    take(text, text == nullptr ? 0 : static_cast<int>(std::strlen(text)));
    return *this;
}

CString::operator const char*() const { return m_block == nullptr ? "" : m_block->text(); }

int CString::GetLength() const { return m_block == nullptr ? 0 : m_block->length; }

void CString::Empty() { drop(); }

char CString::GetAt(int index) const
{
    return index < 0 || index >= GetLength() ? '\0' : m_block->text()[index];
}

const CString& CString::operator+=(const CString& text)
{
    const CString added(text);  // may be this one
    const int length = GetLength();
    std::memcpy(ownBytes(length + added.GetLength()) + length, static_cast<const char*>(added),
                bytes(added.GetLength()));
    setLength(length + added.GetLength());
    return *this;
}

int CString::Find(const char* text) const
{
    if (text == nullptr || *text == '\0') return -1;
    const char* const begin = *this;
    const char* const found = std::strstr(begin, text);
    return found == nullptr ? -1 : static_cast<int>(found - begin);
}

int CString::Find(char c) const
{
    const char text[] = {c, '\0'};
    return Find(text);
}

CString CString::Left(int count) const { return Mid(0, count); }

CString CString::Right(int count) const
{
    return Mid(GetLength() - std::clamp(count, 0, GetLength()));
}

CString CString::Mid(int first) const { return Mid(first, GetLength()); }

CString CString::Mid(int first, int count) const
{
    const int begin = std::clamp(first, 0, GetLength());
    return CString(static_cast<const char*>(*this) + begin,
                   std::clamp(count, 0, GetLength() - begin));
}

void CString::TrimLeft()
{
    int spaces = 0;
    while (spaces < GetLength() && isSpace(GetAt(spaces))) ++spaces;
    *this = Mid(spaces);
}

void CString::TrimRight()
{
    int length = GetLength();
    while (length > 0 && isSpace(GetAt(length - 1))) --length;
    *this = Left(length);
}

int CString::CompareNoCase(const char* text) const { return strcasecmp(*this, text); }

void CString::Format(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    char* text = nullptr;
    const int length = vasprintf(&text, format, arguments);
    va_end(arguments);
    if (length < 0) throw std::bad_alloc();
    take(text, length);
    std::free(text);
}

char* CString::GetBuffer(int length) { return ownBytes(std::max(length, 0)); }

void CString::ReleaseBuffer(int length)
{
    setLength(length >= 0 ? length : static_cast<int>(std::strlen(*this)));
}
