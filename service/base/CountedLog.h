#pragma once

#include "service/base/EventLoop.h"

#include <spdlog/common.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vpnd
{

// Log lines about what clients can bring about as often as they like. Each kind gets
// one line in ten seconds at most: the first at once, those that follow are counted,
// and the count comes with the latest of them when the ten seconds are over. One thread.
class CountedLog
{
public:
    static constexpr std::int64_t kPauseMs = 10 * 1000;

    // Borrows the loop. What is still counted gets its lines when it ends.
    explicit CountedLog(EventLoop& loop);
    ~CountedLog();
    CountedLog(const CountedLog&) = delete;
    CountedLog& operator=(const CountedLog&) = delete;

    // A line "kind" or "kind: detail". Kinds are told apart by level and text, and are few:
    // they are remembered. Static lifetime. Raises nothing.
    void note(spdlog::level::level_enum level, const char* kind, std::string_view detail = {});
    void info(const char* kind, std::string_view detail = {})
    {
        note(spdlog::level::info, kind, detail);
    }
    void warn(const char* kind, std::string_view detail = {})
    {
        note(spdlog::level::warn, kind, detail);
    }
    void error(const char* kind, std::string_view detail = {})
    {
        note(spdlog::level::err, kind, detail);
    }

private:
    struct Entry {
        spdlog::level::level_enum level;
        const char* kind;
        std::int64_t nextLineMs;  // none earlier
        std::uint64_t count;      // since the last line
        std::string detail;       // of the latest
    };

    Entry& entryOf(spdlog::level::level_enum level, const char* kind);
    static void writeCount(Entry& entry);
    void writeWhatIsDue();
    void wakeForNextLine();

    EventLoop& m_loop;
    Timer m_timer;
    std::vector<Entry> m_entries;
};

}  // namespace vpnd
