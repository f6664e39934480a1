#include "panel/view/Columns.h"

#include "common/Utf8.h"

#include <locale.h>
#include <wchar.h>
#include <algorithm>

namespace panel
{

namespace
{

constexpr std::string_view kCutMark = "...";

struct Range {
    std::uint32_t first;
    std::uint32_t last;
};
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x2E80, 0x303E},   {0x3041, 0xA4CF},
                           {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
                           {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},
                           {0x1F300, 0x1F64F}, {0x1F900, 0x1F9FF}, {0x20000, 0x3FFFD}};
constexpr Range kNone[] = {{0x0300, 0x036F}, {0x200B, 0x200F}, {0x20D0, 0x20F0},
                           {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}, {0xE0100, 0xE01EF}};

template <std::size_t kCount>
bool isIn(const Range (&ranges)[kCount], std::uint32_t character)
{
    return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

// What the system says; -1 where it does not know. Not by the user's locale: the
// texts here are UTF-8 in any case.
int systemColumnsOf(std::uint32_t character)
{
    static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (utf8 == nullptr) return -1;
    const locale_t before = ::uselocale(utf8);
    const int columns = ::wcwidth(static_cast<wchar_t>(character));
    ::uselocale(before);
    return columns;
}

// Of the beginning of the line that takes so many columns at most.
std::size_t bytesWithin(std::string_view line, std::size_t columns)
{
    std::size_t bytes = 0;
    while (bytes < line.size()) {
        const common::Utf8Character next = common::firstCharacter(line.substr(bytes));
        const std::size_t wide = next.valid ? columnsOf(next.value) : 1;
        if (wide > columns) break;
        columns -= wide;
        bytes += next.bytes;
    }
    return bytes;
}

}  // namespace

std::size_t columnsOf(std::uint32_t character)
{
    const int columns = systemColumnsOf(character);
    return columns >= 0 ? static_cast<std::size_t>(columns) : columnsByTable(character);
}

std::size_t columnsByTable(std::uint32_t character)
{
    return isIn(kWide, character) ? 2 : isIn(kNone, character) ? 0 : 1;
}

std::size_t columnsOf(std::string_view text)
{
    std::size_t columns = 0;
    while (!text.empty()) {
        const common::Utf8Character first = common::firstCharacter(text);
        columns += first.valid ? columnsOf(first.value) : 1;
        text.remove_prefix(first.bytes);
    }
    return columns;
}

std::string cutToColumns(std::string_view line, std::size_t columns)
{
    if (columnsOf(line) <= columns) return std::string(line);
    const std::string_view mark = kCutMark.substr(0, columns);
    return std::string(line.substr(0, bytesWithin(line, columns - mark.size()))) +
           std::string(mark);
}

std::string wrapToColumns(std::string_view line, std::size_t columns, std::size_t indent)
{
    // A piece takes at least one character, which may be two columns wide.
    if (columns < indent + 2) return cutToColumns(line, columns);
    std::string wrapped;
    std::size_t room = columns;
    while (columnsOf(line) > room) {
        std::size_t bytes = bytesWithin(line, room);
        const std::size_t blank = line.substr(0, bytes + 1).rfind(' ');
        if (blank != line.npos && line.find_first_not_of(' ') < blank) bytes = blank;
        wrapped += std::string(line.substr(0, bytes)) + "\n" + std::string(indent, ' ');
        line.remove_prefix(std::min(line.find_first_not_of(' ', bytes), line.size()));
        room = columns - indent;
    }
    return wrapped + std::string(line);
}

std::string padToColumns(std::string_view text, std::size_t columns)
{
    const std::size_t wide = columnsOf(text);
    return std::string(text) + std::string(columns > wide ? columns - wide : 0, ' ');
}

}  // namespace panel
