#include "service/control/Json.h"

#include "service/core/States.h"

#include <set>

namespace vpnd
{
namespace
{

const char* nameOf(Effect effect)
{
    switch (effect) {
        case Effect::kFault:
            return "fault";
        case Effect::kRetry:
            return "retry";
        case Effect::kIdle:
            break;
    }
    return "idle";
}

}  // namespace

std::string toText(const Json& json)
{
    return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::optional<Json> readObject(std::string_view body)
{
    if (body.empty()) return Json::object();
    std::set<std::string> names;
    bool isPlain = true;
    const auto look = [&](int depth, Json::parse_event_t event, Json& parsed) {
        const bool begins =
            event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
        if (begins && depth > 0) isPlain = false;
        if (event == Json::parse_event_t::key) {
            isPlain = isPlain && names.insert(parsed.get<std::string>()).second;
        }
        return isPlain;
    };
    Json json = Json::parse(body.begin(), body.end(), look, false);
    if (!isPlain || !json.is_object()) return std::nullopt;
    return json;
}

Json textsOf(const RefusalText& refusal)
{
    return {{"code", refusal.code},
            {"message_english", refusal.english},
            {"message_chinese", refusal.chinese},
            {"remedy_english", refusal.remedyEnglish},
            {"remedy_chinese", refusal.remedyChinese}};
}

Json textsOf(const ReasonText& reason)
{
    return {{"number", reason.number()},
            {"name", reason.name},
            {"english", reason.english},
            {"chinese", reason.chinese},
            {"remedy_english", reason.remedyEnglish},
            {"remedy_chinese", reason.remedyChinese}};
}

Json rowOf(const HistoryEntry& entry)
{
    Json row = {{"id", entry.id},
                {"first_ms", entry.firstMs},
                {"last_ms", entry.lastMs},
                {"count", entry.count},
                {"kind", nameOf(entry.kind)},
                {"subject", entry.subject},
                {"before", entry.before},
                {"after", entry.after},
                {"interface", nameOf(entry.caller.interface)},
                {"uid", nullptr},
                {"program", entry.caller.program},
                {"outcome", nameOf(entry.outcome)},
                {"reason", nullptr},
                {"detail", entry.detail}};
    if (entry.caller.uid) row["uid"] = *entry.caller.uid;
    if (const ReasonText* reason = findReason(static_cast<std::int32_t>(entry.reason))) {
        row["reason"] = {{"number", reason->number()}, {"name", reason->name}};
    }
    return row;
}

Json catalogue()
{
    Json all = {{"states", Json::array()}, {"reasons", Json::array()}, {"errors", Json::array()}};
    for (const StateText& each : states()) {
        all["states"].push_back({{"number", each.number},
                                 {"name", each.name},
                                 {"english", each.english},
                                 {"chinese", each.chinese}});
    }
    for (const ReasonText& each : reasons()) {
        Json reason = textsOf(each);
        reason["effect"] = nameOf(each.effect);
        all["reasons"].push_back(std::move(reason));
    }
    for (const RefusalText& each : refusals()) {
        Json error = textsOf(each);
        error["status"] = each.httpStatus;
        error["exit"] = each.exitCode;
        all["errors"].push_back(std::move(error));
    }
    return all;
}

}  // namespace vpnd
