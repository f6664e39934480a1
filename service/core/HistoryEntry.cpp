#include "service/core/HistoryEntry.h"

#include <tuple>

namespace vpnd
{

const char* nameOf(EventKind kind)
{
    switch (kind) {
        case EventKind::kState:
            return "state";
        case EventKind::kSetting:
            return "setting";
        case EventKind::kRequest:
            return "request";
        case EventKind::kConfiguration:
            return "configuration";
        case EventKind::kStore:
            return "store";
        case EventKind::kService:
            break;
    }
    return "service";
}

bool saysTheSame(const HistoryEntry& a, const HistoryEntry& b)
{
    const auto content = [](const HistoryEntry& e) {
        return std::tie(e.kind, e.subject, e.before, e.after, e.caller, e.outcome, e.reason,
                        e.detail);
    };
    return content(a) == content(b);
}

}  // namespace vpnd
