#include "panel/runtime/DisplayText.h"

#include <array>
#include <charconv>

namespace panel
{

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

}  // namespace panel
