#include "ctl/client/EventReader.h"

#include "ctl/client/HttpReader.h"

#include <utility>

namespace ctl
{

void EventReader::feed(std::string_view bytes, const std::function<void(const Event&)>& take)
{
    for (const char c : bytes) {
        const bool wasReturn = std::exchange(m_afterReturn, c == '\r');
        if (c == '\n' && wasReturn) continue;
        if (c == '\n' || c == '\r') {
            takeLine(std::exchange(m_line, {}), take);
            continue;
        }
        if (m_line.size() + m_event.data.size() == kMaxEventBytes) {
            throw HttpError("an event is too long");
        }
        m_line += c;
    }
}

void EventReader::takeLine(std::string_view line, const std::function<void(const Event&)>& take)
{
    if (line.empty()) {
        if (m_hasData) {
            if (m_event.name.empty()) m_event.name = "message";
            take(m_event);
        }
        m_event.name.clear();
        m_event.data.clear();
        m_hasData = false;
        return;
    }
    const std::size_t colon = line.find(':');
    const std::string_view field = line.substr(0, colon);
    std::string_view value = colon == line.npos ? std::string_view() : line.substr(colon + 1);
    if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
    if (field == "event") m_event.name = value;
    if (field == "id") m_event.id = value;
    if (field == "data") {
        if (m_hasData) m_event.data += '\n';
        m_event.data += value;
        m_hasData = true;
    }
}

}  // namespace ctl
