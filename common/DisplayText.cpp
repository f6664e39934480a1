#include "common/DisplayText.h"

#include "common/Utf8.h"

#include <algorithm>
#include <iterator>

namespace common
{

bool isControl(std::uint32_t character)
{
    struct Range {
        std::uint32_t first;
        std::uint32_t last;
    };
    // What has a shape of its own, or joins others to one, is text: no-break and narrow
    // blanks, joiners, and private and unassigned characters, which take one column.
    constexpr Range kControls[] = {
        {0x00, 0x1F},      // C0
        {0x7F, 0x9F},      // DEL and C1
        {0x061C, 0x061C},  // Arabic letter mark
        {0x200E, 0x200F},  // left-to-right and right-to-left mark
        {0x2028, 0x202E},  // line and paragraph separator, embeddings and overrides
        {0x2066, 0x206F},  // isolates, old switches of shapes
        {0xFEFF, 0xFEFF},  // byte order mark, seen nowhere
        {0xFFF9, 0xFFFB},  // annotations
    };
    return std::any_of(std::begin(kControls), std::end(kControls), [character](const Range& one) {
        return character >= one.first && character <= one.last;
    });
}

std::string displayText(std::string_view text)
{
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const Utf8Character first = firstCharacter(text);
        for (const char c : text.substr(0, first.bytes)) {
            if (first.valid && !isControl(first.value)) {
                shown += c;
                continue;
            }
            const auto byte = static_cast<unsigned char>(c);
            shown += "\\x";
            shown += kDigits[byte >> 4];
            shown += kDigits[byte & 0xF];
        }
        text.remove_prefix(first.bytes);
    }
    return shown;
}

}  // namespace common
