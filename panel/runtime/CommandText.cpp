#include "panel/runtime/CommandText.h"

namespace panel
{

std::string trimmed(std::string_view text)
{
    constexpr const char* kBlanks = " \t\r\n\v\f";
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == text.npos) return {};
    return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

CommandText::CommandText(std::string_view text)
{
    const std::size_t open = text.find('(');
    const std::size_t close = text.find(')');
    opens = open != text.npos;
    closes = close != text.npos;
    word = trimmed(text.substr(0, open));
    if (!hasParentheses()) return;
    // A ")" in front of the "(" leaves no arguments.
    std::string_view rest = close > open ? text.substr(open + 1, close - open - 1) : "";
    while (true) {
        const std::size_t comma = rest.find(',');
        fields.push_back(trimmed(rest.substr(0, comma)));
        if (comma == rest.npos) return;
        rest.remove_prefix(comma + 1);
    }
}

}  // namespace panel
