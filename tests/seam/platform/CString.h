#pragma once

#include <atomic>

// A text as a pointer to a counted block that copies share until one of them is changed.
// Only what the driver uses of it. Written as runtimes' headers are, here and beside: old
// casts, signs mixed, parameters without use. The driver's own warnings must not meet them.
class CString
{
public:
    CString() = default;
    CString(const char* text);
    CString(const char* text, int length);
    CString(const CString& other);
    ~CString();

    CString& operator=(const CString& other);
    CString& operator=(const char* text);
    operator const char*() const;

    int GetLength() const;
    bool IsEmpty() const { return GetLength() == 0; }
    void Empty();
    char GetAt(int index) const;

    const CString& operator+=(const CString& text);

    int Find(const char* text) const;
    int Find(char c) const;

    CString Left(int count) const;
    CString Right(int count) const;
    CString Mid(int first) const;
    CString Mid(int first, int count) const;

    // Unlike the driver's usual platform these return nothing.
    void TrimLeft();
    void TrimRight();

    int CompareNoCase(const char* text) const;
    void Format(const char* format, ...) __attribute__((format(printf, 2, 3)));

    char* GetBuffer(int length);
    void ReleaseBuffer(int length = -1);

private:
    // Followed by capacity bytes and a terminator.
    struct Block {
        std::atomic<int> owners;
        int length;
        int capacity;

        char* text() { return (char*)(this + 1); }
    };

    static Block* allocate(int capacity);
    void take(const char* text, int length);
    void drop();
    char* ownBytes(int capacity);
    void setLength(int length);

    Block* m_block = nullptr;  // null is the empty text
};
