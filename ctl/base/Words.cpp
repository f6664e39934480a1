#include "ctl/base/Words.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>

namespace ctl
{
namespace
{

constexpr std::int64_t kSPerDay = 24 * 3600;

std::string_view environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? std::string_view() : std::string_view(value);
}

// Days since 1970-01-01 of a day of the Gregorian calendar.
std::int64_t daysOf(std::int64_t year, std::int64_t month, std::int64_t day)
{
    // Years that begin in March: the odd day is the last one.
    if (month <= 2) --year;
    const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
    const std::int64_t yearOfEra = year - era * 400;
    const std::int64_t dayOfYear = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
    return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

}  // namespace

std::optional<Language> languageOf(std::string_view name)
{
    if (name == "en") return Language::kEnglish;
    if (name == "zh") return Language::kChinese;
    return std::nullopt;
}

Language languageOfEnvironment()
{
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const std::string_view value = environment(name);
        if (value.empty()) continue;
        return value.substr(0, 2) == "zh" ? Language::kChinese : Language::kEnglish;
    }
    return Language::kEnglish;
}

std::string timeText(std::int64_t ms)
{
    const std::int64_t seconds = ms / 1000 - (ms % 1000 < 0 ? 1 : 0);
    const std::int64_t days = seconds / kSPerDay - (seconds % kSPerDay < 0 ? 1 : 0);
    // Not with gmtime: a panel's time_t may end in 2038.
    if (days < daysOf(1, 1, 1) || days > daysOf(9999, 12, 31)) return "unknown time";
    std::int64_t year = 1970 + days / 366 - (days < 0 ? 1 : 0);
    while (daysOf(year + 1, 1, 1) <= days) ++year;
    while (daysOf(year, 1, 1) > days) --year;
    std::int64_t month = 1;
    while (month < 12 && daysOf(year, month + 1, 1) <= days) ++month;
    const std::int64_t second = seconds - days * kSPerDay;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02d %02d:%02d:%02dZ",
                  static_cast<int>(year), static_cast<int>(month),
                  static_cast<int>(days - daysOf(year, month, 1) + 1),
                  static_cast<int>(second / 3600), static_cast<int>(second / 60 % 60),
                  static_cast<int>(second % 60));
    return text.data();
}

std::string durationText(std::int64_t ms)
{
    const std::int64_t seconds = ms / 1000;
    const std::int64_t minutes = seconds / 60;
    const std::int64_t hours = minutes / 60;
    if (seconds < 60) return std::to_string(seconds) + " s";
    if (minutes < 60) return std::to_string(minutes) + " min";
    if (hours < 48) {
        return std::to_string(hours) + " h " + std::to_string(minutes % 60) + " min";
    }
    return std::to_string(hours / 24) + " days";
}

std::string bytesText(std::int64_t bytes)
{
    constexpr std::array<const char*, 5> kUnits = {"KiB", "MiB", "GiB", "TiB", "PiB"};
    if (bytes < 1024) return std::to_string(bytes) + " bytes";
    // In tenths, without a decimal point of some country.
    std::int64_t tenths = bytes / 1024 * 10 + bytes % 1024 * 10 / 1024;
    std::size_t unit = 0;
    while (tenths >= 10240 && unit + 1 < kUnits.size()) {
        tenths /= 1024;
        ++unit;
    }
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " " + kUnits[unit];
}

std::string padded(std::string text, std::size_t columns)
{
    if (text.size() < columns) text.append(columns - text.size(), ' ');
    return text;
}

Style Style::ofStandardOutput()
{
    const std::string_view terminal = environment("TERM");
    return Style(::isatty(STDOUT_FILENO) == 1 && environment("NO_COLOR").empty() &&
                 !terminal.empty() && terminal != "dumb");
}

std::string Style::operator()(Colour colour, const std::string& text) const
{
    if (!m_hasColours) return text;
    constexpr std::array<const char*, 4> kCodes = {"32", "31", "33", "2"};
    return std::string("\x1b[") + kCodes[static_cast<std::size_t>(colour)] + "m" + text + "\x1b[0m";
}

}  // namespace ctl
