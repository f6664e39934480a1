#include "service/control/HistoryBody.h"

#include "service/control/Json.h"

#include <algorithm>
#include <utility>

namespace vpnd
{
namespace
{

const HistoryEntry& at(const History& history, std::size_t place)
{
    return history.entries()[place - history.removed()];
}

}  // namespace

std::size_t placeBehind(const History& history, std::int64_t id)
{
    const auto& entries = history.entries();
    const auto found = std::upper_bound(
        entries.begin(), entries.end(), id,
        [](std::int64_t wanted, const HistoryEntry& entry) { return wanted < entry.id; });
    return history.removed() + static_cast<std::size_t>(found - entries.begin());
}

HistoryBody::HistoryBody(const History& history, std::optional<std::int64_t> after,
                         std::size_t limit)
    : m_history(history), m_next(history.removed()), m_end(m_next + history.entries().size())
{
    if (after) {
        m_next = placeBehind(history, *after);
        m_end = std::min(m_end, m_next + limit);
    } else if (m_end - m_next > limit) {
        m_next = m_end - limit;
    }
    m_head = headOf(after);
}

std::string HistoryBody::headOf(std::optional<std::int64_t> after) const
{
    const auto& entries = m_history.entries();
    std::int64_t next = after.value_or(0);
    for (std::size_t place = m_next;
         place < m_end && at(m_history, place).outcome != Outcome::kPending; ++place) {
        next = at(m_history, place).id;
    }
    Json head = {{"life", m_history.life()},
                 {"first_id", entries.empty() ? Json() : Json(entries.front().id)},
                 {"last_id", entries.empty() ? Json() : Json(entries.back().id)},
                 {"next_after", next}};
    std::string text = toText(head);
    text.back() = ',';
    return text + "\"entries\":[";
}

IBodySource::More HistoryBody::write(std::string& to)
{
    to = std::exchange(m_head, {});
    m_next = std::max(m_next, m_history.removed());
    for (; m_next < m_end && to.size() < kPieceBytes; ++m_next) {
        to += std::exchange(m_hasRows, true) ? ",\n" : "\n";
        to += toText(rowOf(at(m_history, m_next)));
    }
    if (m_next < m_end) return More::kSoon;
    to += "]}\n";
    return More::kNever;
}

}  // namespace vpnd
