#include "ctl/doctor/Stages.h"

#include <algorithm>

namespace ctl
{
namespace
{

constexpr std::size_t kNameColumns = 13;
constexpr std::size_t kVerdictColumns = 9;
constexpr std::size_t kTimeColumns = 9;

Json orNull(const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); }

Colour colourOf(const std::string& verdict)
{
    return verdict == "good" ? Colour::kGood : verdict == "bad" ? Colour::kBad : Colour::kMiddle;
}

}  // namespace

const char* nameOf(Verdict verdict)
{
    switch (verdict) {
        case Verdict::kGood:
            return "good";
        case Verdict::kBad:
            return "bad";
        case Verdict::kUnknown:
            break;
    }
    return "unknown";
}

Json diagnosisOf(const std::vector<Stage>& stages)
{
    const auto has = [&](Verdict verdict) {
        return std::find_if(stages.begin(), stages.end(),
                            [&](const Stage& each) { return each.verdict == verdict; });
    };
    const auto bad = has(Verdict::kBad);
    const bool isUnknown = has(Verdict::kUnknown) != stages.end();
    Json diagnosis;
    diagnosis["verdict"] = nameOf(bad != stages.end() ? Verdict::kBad
                                  : isUnknown         ? Verdict::kUnknown
                                                      : Verdict::kGood);
    diagnosis["first_bad"] = bad == stages.end() ? Json(nullptr) : Json(bad->name);
    diagnosis["stages"] = Json::array();
    for (const Stage& each : stages) {
        diagnosis["stages"].push_back({{"stage", each.name},
                                       {"verdict", nameOf(each.verdict)},
                                       {"text", each.text},
                                       {"follows", orNull(each.follows)},
                                       {"remedy", orNull(each.remedy)},
                                       {"not_looked_at", orNull(each.notLookedAt)},
                                       {"took_ms", each.tookMs}});
    }
    return diagnosis;
}

std::string diagnosisText(const Json& diagnosis, const Style& style)
{
    std::string text;
    std::string ending;
    std::size_t unknown = 0;
    const std::string first = textAt(diagnosis, "first_bad");
    const Json* const stages = find(diagnosis, "stages");
    if (stages == nullptr || !stages->is_array()) return "there is no diagnosis\n";
    for (const Json& each : *stages) {
        const std::string verdict = textAt(each, "verdict");
        const std::string name = textAt(each, "stage");
        if (verdict == "unknown") ++unknown;
        text += padded(name, kNameColumns) +
                style(colourOf(verdict), padded(verdict, kVerdictColumns)) +
                padded(textAt(each, "took_ms") + " ms", kTimeColumns) + textAt(each, "text") + "\n";
        const std::string open = textAt(each, "not_looked_at");
        const std::string indent(kNameColumns + kVerdictColumns + kTimeColumns, ' ');
        if (!open.empty()) text += indent + "not looked at: " + open + "\n";
        if (!first.empty() && name == first) {
            ending = "\nThe first stage that fails is '" + name + "'.\n";
            const std::string follows = textAt(each, "follows");
            if (!follows.empty()) ending += "What follows: " + follows + "\n";
            const std::string remedy = textAt(each, "remedy");
            if (!remedy.empty()) ending += "What to do:   " + remedy + "\n";
        }
    }
    if (ending.empty()) ending = "\nNothing bad was found.\n";
    if (unknown > 0) {
        ending += "Unknown, which is neither good nor bad: " + std::to_string(unknown) +
                  (unknown == 1 ? " stage.\n" : " stages.\n");
    }
    return text + ending;
}

}  // namespace ctl
