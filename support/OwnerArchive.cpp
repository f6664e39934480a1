#include "support/OwnerArchive.h"

// Not read here: the head of DevTables.h says why it is carried.
#include "device/DevTables.h"

#include <algorithm>
#include <cstring>

namespace
{

// On purpose not 4096: the step was once written as if it were hexadecimal
// (0x4096), and stored sizes depend on it.
constexpr std::int64_t kGrowBytes = 16534;

template <class To, class From>
To sameBits(From from)
{
    static_assert(sizeof(To) == sizeof(From));
    To to;
    std::memcpy(&to, &from, sizeof to);
    return to;
}

}  // namespace

void COwnerObject::Serialize(COwnerArchive&) {}

COwnerArchive::COwnerArchive(ARCHIVESTATUS mode) : m_mode(mode) {}

int COwnerArchive::mfCheckBuffer(int n)
{
    const std::int64_t needed = std::int64_t{m_position} + n;
    if (needed < INT32_MIN || needed > INT32_MAX) return 0;
    if (m_position < 0 && n > 0) return 0;
    const std::int64_t size = m_buffer.GetSize();
    if (needed <= size) return 1;
    if (m_mode == ARCHIVE_LOADING) return 0;
    const std::int64_t grown = std::max(needed, size + kGrowBytes);
    m_buffer.SetSize(static_cast<int>(std::min<std::int64_t>(grown, INT32_MAX)), -1);
    return 1;
}

void COwnerArchive::SvrChangeMode(ARCHIVESTATUS newMode)
{
    if (newMode != m_mode) {
        m_mode = newMode;
        if (m_position != 0) m_buffer.SetSize(m_position, -1);
        m_position = 0;
    }
    if (m_position == 0) handleHeader();
}

void COwnerArchive::handleHeader()
{
    if (m_mode == ARCHIVE_STORING) {
        put(kArchiveFormatVersion, 2);
    } else if (m_mode == ARCHIVE_LOADING) {
        if (get(2).value_or(0) < kArchiveLowestVersion) m_position = 0;
    }
}

int COwnerArchive::GetNowVersion()
{
    const std::int32_t position = m_position;
    m_position = 0;
    const auto version = static_cast<int>(get(2).value_or(0));
    m_position = position;
    return version;
}

void COwnerArchive::SvrWrite(const unsigned char* data, int n)
{
    if (m_mode == ARCHIVE_LOADING) SvrChangeMode(ARCHIVE_STORING);
    if (data == nullptr) n = 0;
    if (mfCheckBuffer(n) == 0) return;
    if (n > 0) std::memcpy(m_buffer.GetData() + m_position, data, static_cast<std::size_t>(n));
    m_position += n;
}

void COwnerArchive::Write(const void* data, int n)
{
    SvrWrite(static_cast<const unsigned char*>(data), n);
}

int COwnerArchive::SvrRead(unsigned char* data, int n)
{
    if (m_mode == ARCHIVE_STORING) SvrChangeMode(ARCHIVE_LOADING);
    if (data == nullptr) n = 0;
    if (mfCheckBuffer(n) == 0) return 0;
    if (n > 0) std::memcpy(data, m_buffer.GetData() + m_position, static_cast<std::size_t>(n));
    m_position += n;
    return 1;
}

void COwnerArchive::Read(void* data, int n) { SvrRead(static_cast<unsigned char*>(data), n); }

// On purpose the array transfers never switch the mode, unlike the raw ones.
int COwnerArchive::SvrWrite(CByteArray& bytes)
{
    const int n = bytes.GetSize();
    if (mfCheckBuffer(n) == 0) return 0;
    if (n > 0) std::copy_n(bytes.GetData(), n, m_buffer.GetData() + m_position);
    m_position += n;
    return 1;
}

int COwnerArchive::SvrRead(CByteArray& bytes)
{
    const int n = bytes.GetSize();
    if (mfCheckBuffer(n) == 0) return 0;
    if (n > 0) std::copy_n(m_buffer.GetData() + m_position, n, bytes.GetData());
    m_position += n;
    return 1;
}

COwnerArchive& COwnerArchive::put(std::uint64_t value, int count)
{
    unsigned char bytes[sizeof value];
    for (int i = 0; i < count; ++i) bytes[i] = static_cast<unsigned char>(value >> (8 * i));
    SvrWrite(bytes, count);
    return *this;
}

std::optional<std::uint64_t> COwnerArchive::get(int count)
{
    unsigned char bytes[sizeof(std::uint64_t)];
    if (SvrRead(bytes, count) == 0) return std::nullopt;
    std::uint64_t value = 0;
    for (int i = 0; i < count; ++i) value |= std::uint64_t{bytes[i]} << (8 * i);
    return value;
}

COwnerArchive& COwnerArchive::operator<<(char value)
{
    return put(static_cast<unsigned char>(value), 1);
}

COwnerArchive& COwnerArchive::operator<<(unsigned char value) { return put(value, 1); }

COwnerArchive& COwnerArchive::operator<<(bool value) { return put(value ? 1 : 0, 1); }

COwnerArchive& COwnerArchive::operator<<(unsigned short value) { return put(value, 2); }

COwnerArchive& COwnerArchive::operator<<(int value)
{
    return put(static_cast<std::uint32_t>(value), 4);
}

// On purpose 4 bytes on every processor: the low half of a wider long.
COwnerArchive& COwnerArchive::operator<<(long value)
{
    return put(static_cast<std::uint64_t>(value), 4);
}

COwnerArchive& COwnerArchive::operator<<(unsigned int value) { return put(value, 4); }

COwnerArchive& COwnerArchive::operator<<(float value)
{
    return put(sameBits<std::uint32_t>(value), 4);
}

COwnerArchive& COwnerArchive::operator<<(double value)
{
    return put(sameBits<std::uint64_t>(value), 8);
}

COwnerArchive& COwnerArchive::operator<<(CString& text)
{
    const char* bytes = text;
    const auto count = static_cast<int>(std::strlen(bytes));
    *this << count;
    Write(bytes, count);
    return *this;
}

COwnerArchive& COwnerArchive::operator<<(COwnerObject& object)
{
    SvrChangeMode(ARCHIVE_STORING);
    object.Serialize(*this);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(char& value)
{
    if (const auto bits = get(1)) value = static_cast<char>(*bits);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(unsigned char& value)
{
    if (const auto bits = get(1)) value = static_cast<unsigned char>(*bits);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(unsigned short& value)
{
    if (const auto bits = get(2)) value = static_cast<unsigned short>(*bits);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(int& value)
{
    if (const auto bits = get(4)) value = static_cast<std::int32_t>(*bits);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(long& value)
{
    // Through 32 bits, so that the sign reaches the upper half of a wider long.
    if (const auto bits = get(4)) value = static_cast<std::int32_t>(*bits);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(unsigned int& value)
{
    if (const auto bits = get(4)) value = static_cast<std::uint32_t>(*bits);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(float& value)
{
    if (const auto bits = get(4)) value = sameBits<float>(static_cast<std::uint32_t>(*bits));
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(double& value)
{
    if (const auto bits = get(8)) value = sameBits<double>(*bits);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(bool& value)
{
    // On purpose not "non-zero": 2 to 255 read as false.
    value = get(1).value_or(0) == 1;
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(CString& text)
{
    const auto count = static_cast<std::int64_t>(get(4).value_or(0));
    text.Empty();
    if (count == 0 || count > std::int64_t{m_buffer.GetSize()} - m_position) return *this;
    const char* bytes = reinterpret_cast<const char*>(m_buffer.GetData() + m_position);
    text = CString(bytes, static_cast<int>(strnlen(bytes, static_cast<std::size_t>(count))));
    m_position += static_cast<int>(count);
    return *this;
}

COwnerArchive& COwnerArchive::operator>>(COwnerObject& object)
{
    SvrChangeMode(ARCHIVE_LOADING);
    object.Serialize(*this);
    return *this;
}
