#include "ctl/view/TextList.h"

#include "service/core/Reasons.h"
#include "service/core/States.h"

#include <nlohmann/json.hpp>

#include <array>
#include <utility>

namespace ctl
{
namespace
{

using vpnd::Effect;
using vpnd::reasons;
using vpnd::ReasonText;
using vpnd::states;
using vpnd::StateText;

constexpr std::array<std::pair<const char*, Format>, 5> kFormats = {
    {{"text", Format::kText},
     {"csv", Format::kCsv},
     {"json", Format::kJson},
     {"po", Format::kPo},
     {"markdown", Format::kMarkdown}}};

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

// What getVpnState answers meanwhile, as people write it.
std::string stateOf(const ReasonText& reason)
{
    switch (reason.effect) {
        case Effect::kFault:
            return std::to_string(vpnd::kStateFaultBase + reason.number());
        case Effect::kRetry:
            return "6";
        case Effect::kIdle:
            break;
    }
    return "1";
}

std::string asText()
{
    std::string text;
    for (const StateText& each : states()) {
        text += std::to_string(each.number) + "  " + each.name + "\n     " + each.english +
                "\n     " + each.chinese + "\n";
    }
    for (const ReasonText& each : reasons()) {
        text += "\n" + std::to_string(each.number()) + "  " + each.name + ": " +
                nameOf(each.effect) + ", state " + stateOf(each) + "\n     " + each.english + " " +
                each.remedyEnglish + "\n     " + each.chinese + each.remedyChinese + "\n";
    }
    return text;
}

std::string csvField(const std::string& text)
{
    std::string field = "\"";
    for (const char c : text) {
        if (c == '"') field += '"';
        field += c;
    }
    return field + "\"";
}

// With a state in the first column one row for each value that channel 7 shows; without one
// the reasons that never stand there.
std::string asCsv()
{
    std::string text = "state,reason,name,english,chinese,remedy_english,remedy_chinese\n";
    for (const StateText& each : states()) {
        text += std::to_string(each.number) + ",," + each.name + "," + csvField(each.english) +
                "," + csvField(each.chinese) + ",,\n";
    }
    for (const ReasonText& each : reasons()) {
        if (each.effect == Effect::kFault) text += stateOf(each);
        text += "," + std::to_string(each.number()) + "," + each.name;
        for (const char* field :
             {each.english, each.chinese, each.remedyEnglish, each.remedyChinese}) {
            text += "," + csvField(field);
        }
        text += "\n";
    }
    return text;
}

std::string asJson()
{
    using Json = nlohmann::ordered_json;
    Json all;
    all["states"] = Json::array();
    for (const StateText& each : states()) {
        all["states"].push_back({{"state", each.number},
                                 {"name", each.name},
                                 {"english", each.english},
                                 {"chinese", each.chinese}});
    }
    all["reasons"] = Json::array();
    for (const ReasonText& each : reasons()) {
        all["reasons"].push_back({{"number", each.number()},
                                  {"name", each.name},
                                  {"effect", nameOf(each.effect)},
                                  {"state", std::stoi(stateOf(each))},
                                  {"english", each.english},
                                  {"chinese", each.chinese},
                                  {"remedy_english", each.remedyEnglish},
                                  {"remedy_chinese", each.remedyChinese}});
    }
    return all.dump(2) + "\n";
}

std::string poEntry(const std::string& context, const std::string& id, const std::string& text)
{
    // The texts hold neither quotes nor backslashes; a test looks.
    return "\nmsgctxt \"" + context + "\"\nmsgid \"" + id + "\"\nmsgstr \"" + text + "\"\n";
}

std::string asPo()
{
    std::string text =
        "msgid \"\"\n"
        "msgstr \"\"\n"
        "\"Content-Type: text/plain; charset=UTF-8\\n\"\n"
        "\"Content-Transfer-Encoding: 8bit\\n\"\n"
        "\"Language: zh_CN\\n\"\n";
    for (const StateText& each : states()) {
        text += poEntry(std::string("state ") + each.name, each.english, each.chinese);
    }
    for (const ReasonText& each : reasons()) {
        text += poEntry(std::string("reason ") + each.name, each.english, each.chinese);
        text += poEntry(std::string("remedy ") + each.name, each.remedyEnglish, each.remedyChinese);
    }
    return text;
}

std::string asMarkdown()
{
    std::string text = "| State | Name | English | 中文 |\n|---|---|---|---|\n";
    for (const StateText& each : states()) {
        text += "| " + std::to_string(each.number) + " | `" + each.name + "` | " + each.english +
                " | " + each.chinese + " |\n";
    }
    text +=
        "\n| Reason | State | Name | What it is | What to do | 中文 |\n|---|---|---|---|---|---|\n";
    for (const ReasonText& each : reasons()) {
        text += "| " + std::to_string(each.number()) + " | " + stateOf(each) + " | `" + each.name +
                "` | " + each.english + " | " + each.remedyEnglish + " | " + each.chinese +
                each.remedyChinese + " |\n";
    }
    return text;
}

}  // namespace

std::optional<Format> formatOf(std::string_view name)
{
    for (const auto& [each, format] : kFormats) {
        if (name == each) return format;
    }
    return std::nullopt;
}

std::vector<std::string> formatNames()
{
    std::vector<std::string> names;
    for (const auto& each : kFormats) names.emplace_back(each.first);
    return names;
}

std::string textList(Format format)
{
    switch (format) {
        case Format::kCsv:
            return asCsv();
        case Format::kJson:
            return asJson();
        case Format::kPo:
            return asPo();
        case Format::kMarkdown:
            return asMarkdown();
        case Format::kText:
            break;
    }
    return asText();
}

}  // namespace ctl
