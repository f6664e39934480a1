#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ctl
{

// Of states, reasons, errors and remedies; everything else is in English.
enum class Language { kEnglish, kChinese };

// "en" or "zh"; nothing for others.
[[nodiscard]] std::optional<Language> languageOf(std::string_view name);
// That of the environment: Chinese where LC_ALL, else LC_MESSAGES, else LANG begins with "zh".
[[nodiscard]] Language languageOfEnvironment();

// "2026-01-31 23:59:59Z", from milliseconds since 1970: not the zone of whoever looks, so that
// two who look see the same. "unknown time" beyond the year 9999 and before 1.
[[nodiscard]] std::string timeText(std::int64_t ms);
// "42 s", "5 min", "3 h 20 min", "12 days".
[[nodiscard]] std::string durationText(std::int64_t ms);
// "512 bytes", "1.5 KiB", "20.0 MiB".
[[nodiscard]] std::string bytesText(std::int64_t bytes);

// The text with blanks behind it up to that many columns; characters of ASCII count.
[[nodiscard]] std::string padded(std::string text, std::size_t columns);

enum class Colour { kGood, kBad, kMiddle, kFaint };
// Writes with colours or without.
class Style
{
public:
    explicit Style(bool hasColours) : m_hasColours(hasColours) {}
    // On a terminal other than a "dumb" one, unless NO_COLOR is there and not empty.
    [[nodiscard]] static Style ofStandardOutput();

    std::string operator()(Colour colour, const std::string& text) const;

private:
    bool m_hasColours;
};

}  // namespace ctl
