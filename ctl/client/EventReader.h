#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace ctl
{

// One server-sent event.
struct Event {
    std::string name;  // "message" where the stream gives none
    std::string id;    // the latest that the stream gave
    std::string data;
};

// Takes a stream of server-sent events apart, in whatever pieces it comes.
class EventReader
{
public:
    static constexpr std::size_t kMaxEventBytes = 256 * 1024;

    // Calls take for each event that is whole now. Raises HttpError when one is too long.
    void feed(std::string_view bytes, const std::function<void(const Event&)>& take);

private:
    void takeLine(std::string_view line, const std::function<void(const Event&)>& take);

    std::string m_line;
    bool m_afterReturn = false;  // the last byte was a CR, which may be half of a line end
    Event m_event;
    bool m_hasData = false;
};

}  // namespace ctl
