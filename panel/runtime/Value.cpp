#include "panel/runtime/Value.h"

#include "panel/runtime/FileBytes.h"
#include "panel/runtime/PanelError.h"

#include <algorithm>
#include <charconv>
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

}  // namespace

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
