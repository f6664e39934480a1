#include "panel/runtime/DisplayText.h"

#include "common/Utf8.h"

#include <array>
#include <charconv>

namespace panel
{

bool isControl(std::uint32_t character)
{
    return character < 0x20 || (character >= 0x7F && character <= 0x9F) ||
           (character >= 0x202A && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

std::string displayText(std::string_view text)
{
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string shown;
    shown.reserve(text.size());
    while (!text.empty()) {
        const common::Utf8Character first = common::firstCharacter(text);
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

}  // namespace panel
