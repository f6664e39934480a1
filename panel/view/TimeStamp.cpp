#include "panel/view/TimeStamp.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <ctime>

namespace panel
{

namespace
{

struct TimeParts {
    tm parts = {};
    int milliseconds = 0;
};

TimeParts timeNow(tm* (*convert)(const time_t*, tm*))
{
    using Clock = std::chrono::system_clock;
    const Clock::time_point now = Clock::now();
    const auto sinceEpoch =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch());
    const time_t seconds = Clock::to_time_t(now);
    TimeParts time;
    convert(&seconds, &time.parts);
    time.milliseconds = static_cast<int>(sinceEpoch.count() % 1000);
    return time;
}

}  // namespace

std::string clockTime()
{
    const TimeParts now = timeNow(&::localtime_r);
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d:%02d.%03d", now.parts.tm_hour,
                  now.parts.tm_min, now.parts.tm_sec, now.milliseconds);
    return text.data();
}

std::string universalTime()
{
    const TimeParts now = timeNow(&::gmtime_r);
    std::array<char, 80> text{};
    std::snprintf(text.data(), text.size(), "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ",
                  now.parts.tm_year + 1900, now.parts.tm_mon + 1, now.parts.tm_mday,
                  now.parts.tm_hour, now.parts.tm_min, now.parts.tm_sec, now.milliseconds);
    return text.data();
}

std::string stamped(std::string_view text)
{
    const std::string stamp = clockTime() + " ";
    std::string lines;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        lines += stamp + std::string(text.substr(0, end)) + "\n";
        text.remove_prefix(end == text.npos ? text.size() : end + 1);
    }
    return lines;
}

}  // namespace panel
