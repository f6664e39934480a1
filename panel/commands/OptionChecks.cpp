#include "panel/commands/OptionChecks.h"

#include <charconv>
#include <system_error>

namespace panel
{

std::function<std::string(const std::string&)> wholeNumber(std::int64_t least, std::int64_t most)
{
    return [least, most](const std::string& text) -> std::string {
        std::int64_t number = 0;
        const char* end = text.data() + text.size();
        const std::from_chars_result result = std::from_chars(text.data(), end, number);
        if (result.ec == std::errc() && result.ptr == end && number >= least && number <= most) {
            return {};
        }
        return "must be a whole number from " + std::to_string(least) + " to " +
               std::to_string(most);
    };
}

std::function<std::string(const std::string&)> notEmpty(const std::string& whatIsRight)
{
    return [whatIsRight](const std::string& text) -> std::string {
        return text.empty() ? "must be " + whatIsRight : std::string();
    };
}

}  // namespace panel
