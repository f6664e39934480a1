#pragma once

#include <stdexcept>
#include <string>

namespace QZ::utils
{

// Raised by a platform library that refuses a block while it is being read.
// This platform's own readers answer a malformed block with a zero return instead.
class deserialize_block_error : public std::logic_error
{
public:
    using std::logic_error::logic_error;
};

// A byte buffer with a write end and a read cursor, owned by whoever hands it
// out. The slot order is part of the contract.
class IBuffer
{
public:
    // Bytes that are left to be read.
    virtual unsigned int size() const = 0;
    // Empties the buffer and rewinds the cursor.
    virtual void clear() = 0;
    // Appends count bytes. Non-zero on success; 0 when the buffer's cap would be passed.
    // The third argument is always 0.
    virtual int write(const void* data, unsigned int count, int flags) = 0;
    // Takes exactly count bytes. 0, with nothing taken, when fewer are left.
    virtual int read(void* data, unsigned int count, int flags) = 0;

protected:
    ~IBuffer() = default;
};

// A standard string with the library's extra operations.
// On the wire: 4 bytes length (little-endian), then the bytes; zero bytes are kept.
class String : public std::string
{
public:
    using std::string::string;
    String() = default;
    String(const std::string& text) : std::string(text) {}

    // Takes white space (as isspace sees it) off both ends, in place.
    String& trim();

    // Appends the string; non-zero on success.
    int serialize(IBuffer* buffer) const;
    // Reads a string; 0, with the string untouched, when the buffer is null, the
    // length exceeds what is left of it (nothing is allocated before that check)
    // or there is no memory for it.
    int deserialize(IBuffer* buffer);
};

// Same encoding and same checks as String, for a plain string.
int Deserialize(IBuffer* buffer, std::string& text);

}  // namespace QZ::utils
