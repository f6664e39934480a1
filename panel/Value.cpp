#include "panel/Value.h"

#include "panel/FileBytes.h"
#include "panel/PanelError.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <system_error>

namespace panel
{

namespace
{

template <class Number>
Number parseNumber(std::string_view text, const char* whatIsRight)
{
    Number number{};
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    if (result.ec != std::errc() || result.ptr != end) {
        throw PanelError("'" + displayText(text) + "' is not " + whatIsRight);
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

}  // namespace

std::string displayText(std::string_view text)
{
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string shown;
    shown.reserve(text.size());
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x20 || byte == 0x7F) {
            shown += "\\x";
            shown += kDigits[byte >> 4];
            shown += kDigits[byte & 0xF];
        } else {
            shown += c;
        }
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
    if (type == "int") return parseNumber<int>(text, "a whole number of 32 bits");
    if (type == "double") return parseNumber<double>(text, "a number such as 2.5");
    if (type == "string") return stringValue(text);
    throw PanelError("'" + displayText(type) + "' is no type: int, double or string");
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
        throw PanelError("'" + displayText(name) +
                         "' is no name for a variable: no blanks and none of ,()=");
    }
    try {
        return {std::string(name),
                parseValue(text.substr(equals + 1, colon - equals - 1), text.substr(colon + 1))};
    } catch (const PanelError& error) {
        throw PanelError("variable " + std::string(name) + ": " + error.what());
    }
}

}  // namespace panel
