#pragma once

#include "panel/runtime/PanelError.h"

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

namespace panel
{

// Why a file is not taken for a library: "no ELF file", "truncated: ...".
class ElfError : public PanelError
{
public:
    using PanelError::PanelError;
};

// The bytes of a library, trusted in nothing: every offset and count is compared with
// their size. what names the part of the file in the error. Names point into the
// bytes, so the object moves but does not copy.
class ElfImage
{
public:
    explicit ElfImage(std::vector<unsigned char> bytes) : m_bytes(std::move(bytes)) {}
    ElfImage(ElfImage&&) = default;
    ElfImage& operator=(ElfImage&&) = default;
    ElfImage(const ElfImage&) = delete;
    ElfImage& operator=(const ElfImage&) = delete;

    bool beginsWith(std::string_view magic) const
    {
        return m_bytes.size() >= magic.size() &&
               std::memcmp(m_bytes.data(), magic.data(), magic.size()) == 0;
    }
    void requireRange(std::uint64_t offset, std::uint64_t count, const char* what) const;

    template <class T>
    T load(std::uint64_t offset, const char* what) const
    {
        requireRange(offset, sizeof(T), what);
        T value;
        std::memcpy(&value, m_bytes.data() + toSize(offset), sizeof value);
        return value;
    }

    // A part of the file that is loaded to that address.
    void addSegment(std::uint64_t address, std::uint64_t offset, std::uint64_t bytes);
    std::uint64_t fileOffset(std::uint64_t address, const char* what) const;

    // The table that name() counts its bytes in.
    void useNames(std::uint64_t address, std::uint64_t bytes);
    std::string_view name(std::uint64_t index) const;

    // For an offset or count that was compared with the file's size. By way of a
    // signed type, because size_t is the same type as uint64_t on some processors
    // only and a cast to the same type draws a warning.
    static std::size_t toSize(std::uint64_t value)
    {
        return static_cast<std::size_t>(static_cast<std::ptrdiff_t>(value));
    }

private:
    struct Segment {
        std::uint64_t address = 0;
        std::uint64_t offset = 0;
        std::uint64_t bytes = 0;
    };

    std::vector<unsigned char> m_bytes;
    std::vector<Segment> m_segments;
    std::uint64_t m_namesOffset = 0;
    std::uint64_t m_namesBytes = 0;
};

}  // namespace panel
