#include "panel/Value.h"

#include "panel/FileBytes.h"
#include "panel/PanelError.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <system_error>

namespace panel
{

namespace
{

// Neither the value nor the word for its type is ever quoted: with its arguments
// in the wrong order either may be a password.
template <class Number>
Number parseNumber(std::string_view text, const char* whatIsRight)
{
    Number number{};
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        throw PanelError(std::string("the value is not ") + whatIsRight);
    }
    return number;
}

std::string stringValue(std::string_view text)
{
    if (text.substr(0, 2) == "@@") return std::string(text.substr(1));
    if (text.substr(0, 1) != "@") return std::string(text);
    const std::vector<unsigned char> bytes = readFile(std::string(text.substr(1)));
    return std::string(bytes.begin(), bytes.end());
}

struct CodePoint {
    std::uint32_t value = 0;
    std::size_t bytes = 1;
    bool valid = false;
};

// The first character of a text that is not empty, one byte where it is no UTF-8.
CodePoint firstOf(std::string_view text)
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
    // Longer than need be, a surrogate, or beyond the last character.
    constexpr std::uint32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool surrogate = value >= 0xD800 && value <= 0xDFFF;
    if (value < kLeast[bytes] || surrogate || value > 0x10FFFF) return {};
    return {value, bytes, true};
}

// Controls the screen, or turns the direction of what follows around.
bool isControl(std::uint32_t value)
{
    return value < 0x20 || (value >= 0x7F && value <= 0x9F) ||
           (value >= 0x202A && value <= 0x202E) || (value >= 0x2066 && value <= 0x2069);
}

}  // namespace

std::string displayText(std::string_view text)
{
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const CodePoint first = firstOf(text);
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

std::string displayText(const Value& value)
{
    if (const auto* text = std::get_if<std::string>(&value)) {
        return displayText(std::string_view(*text));
    }
    if (const int* number = std::get_if<int>(&value)) return std::to_string(*number);
    std::array<char, 32> digits{};
    const std::to_chars_result result =
        std::to_chars(digits.data(), digits.data() + digits.size(), std::get<double>(value));
    return std::string(digits.data(), result.ptr);
}

Value parseValue(std::string_view type, std::string_view text)
{
    if (type == "int")
        return parseNumber<int>(text, "a whole number from -2147483648 to 2147483647");
    if (type == "double") return parseNumber<double>(text, "a number such as 2.5");
    if (type == "string") return stringValue(text);
    throw PanelError("the type must be int, double or string");
}

bool isVariableName(std::string_view name)
{
    return !name.empty() && std::none_of(name.begin(), name.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte <= 0x20 || byte == 0x7F || c == ',' || c == '(' || c == ')' || c == '=';
    });
}

NamedValue parseVariable(std::string_view text)
{
    const std::size_t equals = text.find('=');
    const std::size_t colon = equals == text.npos ? text.npos : text.find(':', equals);
    if (colon == text.npos) {
        throw PanelError("a variable has the form NAME=TYPE:VALUE, for example r=int:0");
    }
    const std::string_view name = text.substr(0, equals);
    if (!isVariableName(name)) {
        throw PanelError("the name of a variable has no blanks and none of ,()=");
    }
    try {
        return {std::string(name),
                parseValue(text.substr(equals + 1, colon - equals - 1), text.substr(colon + 1))};
    } catch (const PanelError& error) {
        throw PanelError("variable " + std::string(name) + ": " + error.what());
    }
}

}  // namespace panel
