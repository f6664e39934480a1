#include "panel/check/ElfImage.h"

#include <algorithm>
#include <string>

namespace panel
{

namespace
{

// Longest name of a symbol or a library, in bytes.
constexpr std::size_t kMaxNameBytes = 16384;

}  // namespace

void ElfImage::requireRange(std::uint64_t offset, std::uint64_t count, const char* what) const
{
    if (offset > m_bytes.size() || count > m_bytes.size() - offset) {
        throw ElfError(std::string("truncated: ") + what + " lies beyond the end of the file");
    }
}

void ElfImage::addSegment(std::uint64_t address, std::uint64_t offset, std::uint64_t bytes)
{
    requireRange(offset, bytes, "a segment");
    m_segments.push_back({address, offset, bytes});
}

std::uint64_t ElfImage::fileOffset(std::uint64_t address, const char* what) const
{
    for (const Segment& segment : m_segments) {
        if (address >= segment.address && address - segment.address < segment.bytes) {
            return segment.offset + (address - segment.address);
        }
    }
    throw ElfError(std::string("damaged: ") + what + " lies in no segment");
}

void ElfImage::useNames(std::uint64_t address, std::uint64_t bytes)
{
    if (address == 0) throw ElfError("damaged: no name table");
    m_namesOffset = fileOffset(address, "the name table");
    m_namesBytes = bytes;
    requireRange(m_namesOffset, m_namesBytes, "the name table");
}

std::string_view ElfImage::name(std::uint64_t index) const
{
    if (index >= m_namesBytes) throw ElfError("damaged: a name lies outside the name table");
    const std::size_t room = std::min(toSize(m_namesBytes - index), kMaxNameBytes);
    const unsigned char* begin = m_bytes.data() + toSize(m_namesOffset + index);
    const void* end = std::memchr(begin, 0, room);
    if (end == nullptr) throw ElfError("damaged: a name without an end");
    return {reinterpret_cast<const char*>(begin),
            static_cast<std::size_t>(static_cast<const unsigned char*>(end) - begin)};
}

}  // namespace panel
