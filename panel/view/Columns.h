#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace panel
{

// Columns that a character takes on a terminal: 0, 1 or 2.
std::size_t columnsOf(std::uint32_t character);
// The same by a table of our own, for systems without a UTF-8 locale and characters
// that they do not know.
std::size_t columnsByTable(std::uint32_t character);
// Those of a text on one line.
std::size_t columnsOf(std::string_view text);

// The line where it is no wider, else its beginning with "..." behind it.
std::string cutToColumns(std::string_view line, std::size_t columns);
// The line where it is no wider, else its pieces on lines of their own, broken at blanks
// where there are any, with so many blanks in front of all but the first. Where there is
// no room for these the line is cut.
std::string wrapToColumns(std::string_view line, std::size_t columns, std::size_t indent);
// The text with blanks behind it up to that width.
std::string padToColumns(std::string_view text, std::size_t columns);

}  // namespace panel
