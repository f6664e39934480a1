#include "panel/view/JsonLines.h"

#include "common/Utf8.h"
#include "panel/runtime/DisplayText.h"
#include "panel/view/CodeNames.h"
#include "panel/view/TimeStamp.h"

#include <array>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace panel
{

namespace
{

using Json = nlohmann::ordered_json;

Json jsonOf(const Value& value)
{
    return std::visit([](const auto& typed) { return Json(typed); }, value);
}

// A value of a channel as it may be shown.
Json shown(int channel, const Value& value, bool showSecrets)
{
    return findChannel(channel)->secret && !showSecrets ? Json(kMask) : jsonOf(value);
}

// Hundredths of a millisecond are as fine as such a measurement goes.
double rounded(double ms) { return std::round(ms * 100) / 100; }

// The same object with every character escaped that is no text for a terminal. JSON
// itself asks for that below 0x20 only.
std::string withoutControls(std::string_view json)
{
    std::string escaped;
    escaped.reserve(json.size());
    while (!json.empty()) {
        const common::Utf8Character first = common::firstCharacter(json);
        if (first.valid && isControl(first.value)) {
            std::array<char, 8> text{};
            std::snprintf(text.data(), text.size(), "\\u%04x", first.value);
            escaped += text.data();
        } else {
            escaped += json.substr(0, first.bytes);
        }
        json.remove_prefix(first.bytes);
    }
    return escaped;
}

Json begin(std::string_view device)
{
    Json line = Json::object();
    if (!device.empty()) line["device"] = device;
    return line;
}

void addCall(Json& line, CodeOf call, const CallResult& result)
{
    line["code"] = result.code;
    line["meaning"] = meaningOf(call, result.code);
    line["ms"] = rounded(result.ms);
    Json& variables = line["variables"] = Json::object();
    for (const NamedValue& one : result.written) variables[one.name] = jsonOf(one.value);
}

void explain(Json& line, const Explanation& explanation)
{
    if (!explanation.causes.empty()) line["cause"] = inOneLine(explanation.causes);
    if (!explanation.notes.empty()) line["notes"] = explanation.notes;
}

std::string finish(const Json& line)
{
    return withoutControls(line.dump(-1, ' ', false, Json::error_handler_t::replace)) + "\n";
}

}  // namespace

std::string cycleJson(const CycleResult& result, bool showSecrets, const Explanation& explanation,
                      std::string_view device)
{
    Json line = begin(device);
    line["cycle"] = result.cycle;
    line["code"] = result.code;
    line["ms"] = rounded(result.ms);
    Json& channels = line["channels"] = Json::object();
    for (const auto& [number, value] : result.channels) {
        channels[std::to_string(number)] = shown(number, value, showSecrets);
    }
    line["time"] = universalTime();
    line["meaning"] = meaningOf(CodeOf::kCollect, result.code);
    explain(line, explanation);
    return finish(line);
}

std::string commandJson(std::string_view command, const CallResult& result,
                        const Explanation& explanation, std::string_view device)
{
    Json line = begin(device);
    line["command"] = command;
    addCall(line, CodeOf::kCommand, result);
    line["time"] = universalTime();
    explain(line, explanation);
    return finish(line);
}

std::string writeJson(int channel, const Value& value, bool showSecrets, const CallResult& result,
                      const Explanation& explanation, std::string_view device)
{
    Json line = begin(device);
    line["write"] = channel;
    addCall(line, CodeOf::kWrite, result);
    line["time"] = universalTime();
    line["value"] = shown(channel, value, showSecrets);
    explain(line, explanation);
    return finish(line);
}

std::string remarkJson(std::string_view where, std::string_view what,
                       const Explanation& explanation)
{
    Json line = Json::object();
    line["check"] = where;
    line["what"] = what;
    line["refused"] = !explanation.causes.empty();
    line["time"] = universalTime();
    explain(line, explanation);
    return finish(line);
}

std::string findingJson(std::string_view library, std::string_view grade, std::string_view subject,
                        std::string_view text)
{
    Json line = Json::object();
    line["library"] = library;
    line["grade"] = grade;
    line["subject"] = subject;
    line["text"] = text;
    line["time"] = universalTime();
    return finish(line);
}

std::string setJson(const NamedValue& variable, std::string_view device)
{
    Json line = begin(device);
    line["set"] = variable.name;
    line["value"] = jsonOf(variable.value);
    line["time"] = universalTime();
    return finish(line);
}

std::string watchdogJson(std::string_view device, bool silent, long long ms)
{
    Json line = begin(device);
    line["watchdog"] = silent ? "silent" : "back";
    line["ms"] = ms;
    line["time"] = universalTime();
    return finish(line);
}

}  // namespace panel
