#pragma once

#include "platform/Arrays.h"
#include "platform/CString.h"

#include <cstdint>
#include <optional>

// The mode of an archive. Any other value acts like storing when the buffer has
// to grow, but is neither reported as storing nor switched by raw transfers.
enum ARCHIVESTATUS : int {
    ARCHIVE_LOADING = 0,
    ARCHIVE_STORING = 1,
};

// The format version that a storing archive writes as its header.
constexpr std::uint16_t kArchiveFormatVersion = 20003;
// A first 16-bit value from here on is a header; a lower one is already data.
constexpr std::uint16_t kArchiveLowestVersion = 20000;

class COwnerArchive;

// Base of what can be written to and read from an archive.
class COwnerObject
{
public:
    virtual ~COwnerObject() = default;
    // Writes or reads the fields, as archive.IsStoring() says. The base has none.
    virtual void Serialize(COwnerArchive& archive);
};

// Serialisation archive in memory: a growable byte buffer, one cursor, a mode.
// The bytes are a file format shared with other drivers: values one after the
// other, little-endian, without tags or padding; a long is 4 bytes.
// One thread at a time. Only an allocation failure leaves as an exception.
//   1. Storing: write the values; SvrGetBufferSize() bytes of the buffer count.
//   2. SvrChangeMode(ARCHIVE_LOADING): trims to what was written, rewinds, skips a header.
//   3. Loading: read the values in the same order.
class COwnerArchive
{
public:
    // Empty, at position 0; writes no header.
    explicit COwnerArchive(ARCHIVESTATUS mode);
    virtual ~COwnerArchive() = default;

    // True exactly in the mode ARCHIVE_STORING.
    bool IsStoring() const { return m_mode == ARCHIVE_STORING; }
    // Position 0 and nothing else: no mode change, no header, no trimming.
    void SvrSeekToBegin() { m_position = 0; }
    // The position: the bytes stored so far.
    int SvrGetBufferSize() const { return m_position; }
    // The buffer's size, growth slack included.
    int SvrGetRealBufferSize() const { return m_buffer.GetSize(); }
    bool IsBufferEnd() const { return m_position == m_buffer.GetSize(); }

    // 1 when n bytes can be transferred at the position, else 0. Grows the
    // buffer in every mode but loading. A negative n always fits; the position
    // may leave neither 32 bits nor, with bytes to transfer, the buffer's begin.
    int mfCheckBuffer(int n);
    // Changes the mode, trims the buffer to a position other than 0, rewinds and
    // writes or reads the header. Asked for the mode it has, it only handles the
    // header, and that only at position 0.
    void SvrChangeMode(ARCHIVESTATUS newMode);
    // The unsigned 16-bit value at offset 0, 0 when there is none; the position
    // stays. For loading mode: a storing archive is switched to loading by it.
    int GetNowVersion();

    // Raw transfer of n bytes. A write switches a loading archive to storing, a
    // read a storing one to loading. The read's result is 1, or 0 with nothing
    // copied and the position kept. n < 0 copies nothing and moves the position;
    // null data counts as n = 0.
    void SvrWrite(const unsigned char* data, int n);
    void Write(const void* data, int n);
    int SvrRead(unsigned char* data, int n);
    void Read(void* data, int n);

    // Transfers exactly the array's bytes without length, in whatever mode the
    // archive is: loading, a write overwrites in place; storing, a read copies
    // what lies there. 1, or 0 with nothing changed.
    int SvrWrite(CByteArray& bytes);
    int SvrRead(CByteArray& bytes);

    COwnerArchive& operator<<(char value);
    COwnerArchive& operator<<(unsigned char value);
    COwnerArchive& operator<<(bool value);
    COwnerArchive& operator<<(unsigned short value);
    COwnerArchive& operator<<(int value);
    COwnerArchive& operator<<(long value);
    COwnerArchive& operator<<(unsigned int value);
    COwnerArchive& operator<<(float value);
    COwnerArchive& operator<<(double value);
    // A 32-bit byte count and the bytes up to the first zero byte.
    COwnerArchive& operator<<(CString& text);
    // Changes to storing, then lets the object write itself.
    COwnerArchive& operator<<(COwnerObject& object);

    // A read behind the end leaves target and position alone.
    COwnerArchive& operator>>(char& value);
    COwnerArchive& operator>>(unsigned char& value);
    COwnerArchive& operator>>(unsigned short& value);
    COwnerArchive& operator>>(int& value);
    COwnerArchive& operator>>(long& value);
    COwnerArchive& operator>>(unsigned int& value);
    COwnerArchive& operator>>(float& value);
    COwnerArchive& operator>>(double& value);
    // True only for the byte 1; false when there is none.
    COwnerArchive& operator>>(bool& value);
    // Cut at the first zero byte. A count beyond the rest of the buffer is
    // consumed and gives the empty text, as does a missing count.
    COwnerArchive& operator>>(CString& text);
    // Changes to loading, then lets the object read itself.
    COwnerArchive& operator>>(COwnerObject& object);

private:
    void handleHeader();
    // The low count bytes of a value, in the format's byte order.
    COwnerArchive& put(std::uint64_t value, int count);
    std::optional<std::uint64_t> get(int count);

    CByteArray m_buffer;
    std::int32_t m_position = 0;
    ARCHIVESTATUS m_mode;
};
