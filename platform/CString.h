#pragma once

#include <string>

// The runtime's 8-bit text. Holds bytes, knows no character set. A length is an
// int; positions and counts outside the text are clamped, never an error.
// May hold zero bytes when filled through GetBuffer or the length constructor;
// everything that takes a const char* stops at the first one.
class CString
{
public:
    CString() = default;
    // Null gives the empty text.
    CString(const char* text);
    // Exactly length bytes, zero bytes included. Null or length < 1 gives the empty text.
    CString(const char* text, int length);

    CString& operator=(const char* text);
    operator const char*() const { return m_text.c_str(); }

    int GetLength() const { return static_cast<int>(m_text.size()); }
    bool IsEmpty() const { return m_text.empty(); }
    void Empty() { m_text.clear(); }
    // The byte at index; 0 when index lies outside.
    char GetAt(int index) const;

    CString& operator+=(const char* text);
    CString& operator+=(const CString& text);
    CString& operator+=(char c);

    // Position of the first occurrence at or after start; -1 when there is none.
    // The empty text is found at start itself, a null one nowhere.
    int Find(const char* text, int start = 0) const;
    int Find(char c, int start = 0) const;

    // Pieces; a first below 0 counts as 0, a count is cut at the right end only.
    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;

    // White space as isspace sees it.
    CString& TrimLeft();
    CString& TrimRight();
    CString& MakeUpper();

    int Compare(const char* text) const;
    int CompareNoCase(const char* text) const;

    // printf formatting; the text is sized exactly, whatever its length. A
    // format that libc refuses gives the empty text.
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Writable storage of at least length bytes plus a terminator, old content
    // kept. Valid until the next operation that changes the text; followed by
    // ReleaseBuffer.
    char* GetBuffer(int length = 0);
    // The same, and the text has exactly this length from now on.
    char* GetBufferSetLength(int length);
    // Ends a GetBuffer: -1 cuts at the first zero byte, else the text gets this length.
    void ReleaseBuffer(int length = -1);

    friend bool operator==(const CString& a, const CString& b) { return a.m_text == b.m_text; }
    friend bool operator==(const CString& a, const char* b) { return a.Compare(b) == 0; }
    friend bool operator!=(const CString& a, const CString& b) { return !(a == b); }
    friend bool operator!=(const CString& a, const char* b) { return !(a == b); }
    friend CString operator+(CString a, const CString& b) { return a += b; }

private:
    std::string m_text;
};
