#include "service/base/Journal.h"

#include <spdlog/details/log_msg.h>
#include <sys/stat.h>

#include <cstdlib>

namespace vpnd
{
namespace
{

// The numbers of syslog.
char priorityOf(spdlog::level::level_enum level)
{
    switch (level) {
        case spdlog::level::critical:
            return '2';
        case spdlog::level::err:
            return '3';
        case spdlog::level::warn:
            return '4';
        case spdlog::level::info:
            return '6';
        default:
            return '7';
    }
}

class JournalFormatter final : public spdlog::formatter
{
public:
    void format(const spdlog::details::log_msg& message, spdlog::memory_buf_t& line) override
    {
        const char mark[] = {'<', priorityOf(message.level), '>'};
        line.append(mark, mark + sizeof mark);
        line.append(message.payload.begin(), message.payload.end());
        line.push_back('\n');
    }
    std::unique_ptr<spdlog::formatter> clone() const override { return journalFormatter(); }
};

}  // namespace

bool isJournal(int descriptor)
{
    const char* const stream = std::getenv("JOURNAL_STREAM");
    struct stat status;
    return stream != nullptr && ::fstat(descriptor, &status) == 0 &&
           std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

std::unique_ptr<spdlog::formatter> journalFormatter()
{
    return std::make_unique<JournalFormatter>();
}

std::string errorLines(const std::string& lines, int descriptor)
{
    if (!isJournal(descriptor)) return lines;
    std::string marked;
    bool isBegin = true;
    for (const char c : lines) {
        if (isBegin) marked += "<3>";
        marked += c;
        isBegin = c == '\n';
    }
    return marked;
}

}  // namespace vpnd
