#pragma once

#include <string>

namespace QZ::utils
{

// Raised for a block that cannot be read. No base: the driver needs its name only.
class deserialize_block_error
{
};

// The first four slots are what the driver calls.
class IBuffer
{
public:
    virtual unsigned int size() const = 0;
    virtual void clear() = 0;
    virtual int write(const void* data, unsigned int count, int flags) = 0;
    virtual int read(void* data, unsigned int count, int flags) = 0;
    // This platform's own.
    virtual const char* kind() const = 0;
    virtual ~IBuffer() = default;
};

// Has a standard string instead of being one.
class String
{
public:
    String() = default;
    String(const char* text) : m_text(text) {}
    String(const std::string& text) : m_text(text) {}
    virtual ~String() = default;
    String(const String&) = default;
    String& operator=(const String&) = default;
    operator const std::string&() const { return m_text; }

    const char* c_str() const { return m_text.c_str(); }
    unsigned int size() const { return m_text.size(); }
    bool empty() const { return m_text.empty(); }
    void clear() { m_text.clear(); }
    String& operator+=(char c)
    {
        m_text += c;
        return *this;
    }
    String& trim();

    virtual int serialize(IBuffer* buffer) const;
    virtual int deserialize(IBuffer* buffer);

    friend bool operator!=(const String& a, const char* b) { return a.m_text != b; }

private:
    std::string m_text;
};

int Deserialize(IBuffer* buffer, std::string& text);

}  // namespace QZ::utils
