#include "common/Utf8.h"

namespace common
{

Utf8Character firstCharacter(std::string_view text)
{
    const auto at = [text](std::size_t i) {
        return std::uint32_t{static_cast<unsigned char>(text[i])};
    };
    const std::uint32_t lead = at(0);
    if (lead < 0x80) return {lead, 1, true};
    const std::size_t bytes = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < bytes) return {};
    std::uint32_t value = lead & (0x7FU >> bytes);
    for (std::size_t i = 1; i < bytes; ++i) {
        if ((at(i) & 0xC0U) != 0x80U) return {};
        value = value << 6 | (at(i) & 0x3FU);
    }
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < kLeast[bytes] || surrogate || value > 0x10FFFF) return {};
    return {value, bytes, true};
}

}  // namespace common
