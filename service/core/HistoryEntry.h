#pragma once

#include "service/core/Caller.h"
#include "service/core/Outcome.h"
#include "service/core/Reasons.h"

#include <cstddef>
#include <cstdint>
#include <string>

namespace vpnd
{

enum class EventKind {
    kService,        // subject: "start" or "end"
    kState,          // subject: the state; before, after: numbers of getVpnState; reason, detail
    kSetting,        // subject: the setting's key; before, after: its values
    kRequest,        // something that was refused or only asked for; subject: its name
    kConfiguration,  // subject: the file
    kStore,          // subject: "news" or "trouble"; detail: what happened to the state folder
};

// "service", "state", "setting", "request", "configuration", "store".
[[nodiscard]] const char* nameOf(EventKind kind);

// Longest text of an entry; what is longer is cut at a character and ends in "...".
constexpr std::size_t kMaxHistoryTextBytes = 512;

// One line of the history, or several equal ones in a row. Holds no secrets: of those it
// says "set" or "cleared".
struct HistoryEntry {
    std::int64_t id = 0;       // rises from entry to entry; from 1
    std::int64_t firstMs = 0;  // wall clock, milliseconds since 1970
    std::int64_t lastMs = 0;   // of the latest equal one
    std::uint32_t count = 1;   // of equal ones
    EventKind kind = EventKind::kService;
    std::string subject;
    std::string before;
    std::string after;
    Caller caller = theService();
    Outcome outcome = Outcome::kDone;
    Reason reason = Reason::kNone;
    std::string detail;  // the server's own words, what is wrong with a file
};

// Whether they differ in number and time alone.
[[nodiscard]] bool saysTheSame(const HistoryEntry& a, const HistoryEntry& b);

}  // namespace vpnd
