#include "service/control/EventBody.h"

#include "service/control/HistoryBody.h"
#include "service/control/Json.h"

#include <spdlog/fmt/fmt.h>

#include <algorithm>
#include <charconv>
#include <utility>

namespace vpnd
{

std::optional<EventPlace> EventPlace::parse(std::string_view text)
{
    EventPlace place;
    const std::size_t dash = text.find('-');
    if (dash != std::string_view::npos) {
        if (dash == 0) return std::nullopt;
        place.life = text.substr(0, dash);
        text.remove_prefix(dash + 1);
    }
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, place.id);
    if (error != std::errc() || stopped != end || place.id < 0) return std::nullopt;
    return place;
}

EventBody::EventBody(const Parts& parts, Caller caller, const std::optional<EventPlace>& from)
    : m_parts(parts),
      m_caller(std::move(caller)),
      m_next(parts.history.removed() + parts.history.entries().size())
{
    const History& history = parts.history;
    const auto& entries = history.entries();
    if (!from) {
        // Those whose outcome is not known yet are still to come.
        while (m_next > history.removed() &&
               !history.isSettled(entries[(m_next - history.removed()) - 1]))
            --m_next;
        return;
    }
    const std::int64_t lastId = entries.empty() ? 0 : entries.back().id;
    const bool isOther = (!from->life.empty() && from->life != history.life()) || from->id > lastId;
    m_next = isOther ? history.removed() : placeBehind(history, from->id);
    // What stood between the row that was read and the first one that is there, nobody knows.
    // Who asks for the rows behind 0 has read none.
    const bool isFromBeginning = from->life.empty() && from->id == 0;
    const bool isTooOld = !isFromBeginning && !entries.empty() && from->id + 1 < entries.front().id;
    if (!isOther && !isTooOld) return;
    m_reset = toText({{"why", isOther ? "other_life" : "too_old"},
                      {"first_id", entries.empty() ? Json() : Json(entries.front().id)}});
}

IBodySource::More EventBody::write(std::string& to)
{
    if (!m_parts.controller.access().mayRead(m_caller)) return More::kNever;
    if (m_statusTold != m_parts.statusNumber) writeStatus(to);
    if (!m_reset.empty()) {
        to += fmt::format("event: reset\ndata: {}\n\n", std::exchange(m_reset, {}));
    }
    const std::size_t before = m_next;
    writeRows(to);
    return m_next == before ? More::kLater : More::kSoon;
}

void EventBody::writeStatus(std::string& to)
{
    to += "event: status\n";
    if (!m_statusTold) to += "id: " + idBefore(m_next) + "\n";
    to += "data: " + m_parts.document.status(m_caller) + "\n\n";
    m_statusTold = m_parts.statusNumber;
}

void EventBody::writeRows(std::string& to)
{
    const History& history = m_parts.history;
    if (m_next < history.removed()) {
        to += fmt::format("event: missed\ndata: {{\"count\":{}}}\n\n", history.removed() - m_next);
        m_next = history.removed();
    }
    const std::size_t end = history.removed() + history.entries().size();
    for (; m_next < end && to.size() < kPieceBytes; ++m_next) {
        const HistoryEntry& entry = history.entries()[(m_next - history.removed())];
        if (!history.isSettled(entry)) return;
        to += fmt::format("event: history\nid: {}-{}\ndata: {}\n\n", history.life(), entry.id,
                          toText(rowOf(entry)));
    }
}

// Of the row before; whoever resumes there gets all that is to come.
std::string EventBody::idBefore(std::size_t place) const
{
    const History& history = m_parts.history;
    const auto index = std::max(place, history.removed()) - history.removed();
    std::int64_t id = 0;
    if (index > 0) {
        id = history.entries()[index - 1].id;
    } else if (!history.entries().empty()) {
        id = history.entries().front().id - 1;
    }
    return history.life() + "-" + std::to_string(id);
}

}  // namespace vpnd
