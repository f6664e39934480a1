#include "service/base/CountedLog.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

namespace vpnd
{
namespace
{

std::string lineOf(const char* kind, std::string_view detail)
{
    return detail.empty() ? kind : fmt::format("{}: {}", kind, detail);
}

}  // namespace

CountedLog::CountedLog(EventLoop& loop) : m_loop(loop), m_timer(loop, [this] { writeWhatIsDue(); })
{
}

CountedLog::~CountedLog()
{
    for (Entry& entry : m_entries) writeCount(entry);
}

void CountedLog::note(spdlog::level::level_enum level, const char* kind, std::string_view detail)
{
    if (!spdlog::should_log(level)) return;
    try {
        Entry& entry = entryOf(level, kind);
        const std::int64_t nowMs = m_loop.nowMs();
        if (entry.count == 0 && nowMs >= entry.nextLineMs) {
            entry.nextLineMs = nowMs + kPauseMs;
            spdlog::log(level, lineOf(kind, detail));
            return;
        }
        if (++entry.count == 1) wakeForNextLine();
        entry.detail = detail;
    } catch (const std::bad_alloc&) {
        // Whatever is to be told of is more important than the line about it.
    }
}

CountedLog::Entry& CountedLog::entryOf(spdlog::level::level_enum level, const char* kind)
{
    const auto entry = std::find_if(m_entries.begin(), m_entries.end(), [&](const Entry& each) {
        return each.level == level && std::string_view(each.kind) == kind;
    });
    if (entry != m_entries.end()) return *entry;
    m_entries.push_back({level, kind, m_loop.nowMs(), 0, {}});
    return m_entries.back();
}

void CountedLog::writeCount(Entry& entry)
{
    if (entry.count == 0) return;
    try {
        spdlog::log(entry.level, "{} ({} x since the last such line)",
                    lineOf(entry.kind, entry.detail), entry.count);
    } catch (const std::bad_alloc&) {
        // As in note().
    }
    entry.count = 0;
}

void CountedLog::writeWhatIsDue()
{
    const std::int64_t nowMs = m_loop.nowMs();
    for (Entry& entry : m_entries) {
        if (entry.count == 0 || nowMs < entry.nextLineMs) continue;
        writeCount(entry);
        entry.nextLineMs = nowMs + kPauseMs;
    }
    wakeForNextLine();
}

void CountedLog::wakeForNextLine()
{
    std::optional<std::int64_t> nextMs;
    for (const Entry& entry : m_entries) {
        if (entry.count != 0)
            nextMs = std::min(nextMs.value_or(entry.nextLineMs), entry.nextLineMs);
    }
    if (nextMs) m_timer.start(*nextMs - m_loop.nowMs());
}

}  // namespace vpnd
