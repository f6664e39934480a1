#pragma once

#include "service/control/HttpReply.h"
#include "service/control/StatusDocument.h"
#include "service/core/Caller.h"
#include "service/core/Controller.h"
#include "service/core/History.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vpnd
{

// Where a reader of events has got to: "7f3a9c21-1042", or a number of the present life.
struct EventPlace {
    std::string life;  // empty: the present one
    std::int64_t id = 0;

    [[nodiscard]] static std::optional<EventPlace> parse(std::string_view text);
};

// One reader of GET /v1/events. Keeps nothing but its place in the history: what it has not
// taken is not made yet, and when it is removed before, the reader is told how much that was.
class EventBody final : public IBodySource
{
public:
    // What a source needs of the service; all of it must outlive it.
    struct Parts {
        StatusDocument& document;
        const Controller& controller;
        const History& history;
        const std::uint64_t& statusNumber;  // rises with each change of the status
    };

    // from: nothing for what comes from now on.
    EventBody(const Parts& parts, Caller caller, const std::optional<EventPlace>& from);

    More write(std::string& to) override;
    std::string_view sign() const override { return ":\n\n"; }

private:
    void writeStatus(std::string& to);
    void writeRows(std::string& to);
    std::string idBefore(std::size_t place) const;

    const Parts m_parts;
    const Caller m_caller;
    std::string m_reset;  // data of the event, if there is to be one
    std::size_t m_next;   // place in the history
    std::optional<std::uint64_t> m_statusTold;
};

}  // namespace vpnd
