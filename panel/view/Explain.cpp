#include "panel/view/Explain.h"

#include "common/Reasons.h"
#include "host/StatusCodes.h"
#include "panel/runtime/ArgumentRules.h"
#include "panel/runtime/CommandTable.h"
#include "panel/runtime/CommandText.h"
#include "panel/runtime/DisplayText.h"
#include "panel/runtime/ServiceProbe.h"

#include <optional>

namespace panel
{

namespace
{

// What the service answers to a call that changes something.
std::string answerText(int answer)
{
    const std::string text = "the service answered " + std::to_string(answer);
    switch (answer) {
        case 1:
            return text + ": an argument is invalid";
        case 2:
            return text + ": valid, but not possible now, not stored or not allowed";
        case 3:
            return text + ": could not be stored";
        case 4:
            return text + ": this user may not change the VPN";
        case kResultBadCommand:
            return "the driver refused an argument";
        default:
            return text;
    }
}

// The outcome in the result variable; nothing when the driver did not write it.
std::optional<int> writtenResult(const CommandText& text, const CallResult& result)
{
    for (const NamedValue& one : result.written) {
        if (text.fields.empty() || one.name != text.fields.back()) continue;
        if (typeOf(one.value) != DATATYPE_STRING) return truncatedNumber(one.value);
    }
    return std::nullopt;
}

// What arrives at the device when the value is written: ORVA_WRITE(k=value) is cut at
// its first ")", and blanks around the value are dropped.
std::string writtenText(const Value& value)
{
    if (const int* number = std::get_if<int>(&value)) return std::to_string(*number);
    if (const double* number = std::get_if<double>(&value)) return std::to_string(*number);
    const std::string text = std::get<std::string>(value).c_str();
    return trimmed(text.substr(0, text.find(')')));
}

std::string faultText(int state)
{
    const std::string number = "connection state " + std::to_string(state);
    const common::ReasonText* const reason = common::findReason(state - common::kStateFaultBase);
    if (reason == nullptr) return number;
    return number + ": " + reason->english + " " + reason->remedyEnglish;
}

// Why there was no answer, and what it would have been.
void blameTheService(Explanation& explanation, const std::vector<std::string>& otherCauses)
{
    explanation.causes = {lookAtService()};
    for (const std::string& cause : otherCauses) {
        explanation.notes.push_back("with a service it would be refused: " + cause);
    }
}

}  // namespace

std::string inOneLine(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : "; ") + text;
    return all;
}

Explanation explainCommand(std::string_view command, const CallResult& result,
                           const Explanation& read, const VariableStore& variables)
{
    const CommandText text(command);
    const CommandInfo* known = findCommand(text.word);
    std::optional<int> answer;
    if (known != nullptr) answer = writtenResult(text, result);
    Explanation explanation;
    explanation.notes = read.notes;
    switch (result.code) {
        case kResultOk:
            if (answer && *answer != 0) explanation.notes.push_back(answerText(*answer));
            return explanation;
        case kResultNoService:
            blameTheService(explanation, read.causes);
            break;
        case kResultBadCommand:
            explanation.causes = read.causes;
            if (read.causes.empty() && answer) {
                explanation.causes.push_back(answerText(*answer));
            }
            break;
        default:
            if (answer) explanation.causes.push_back(answerText(*answer));
            break;
    }
    if (known == nullptr || answer || text.fields.empty()) return explanation;
    const std::optional<Value> old = variables.get(text.fields.back());
    if (old && typeOf(*old) != DATATYPE_STRING) {
        explanation.notes.push_back(displayText(std::string_view(text.fields.back())) +
                                    " was not written; it still has " + displayText(*old));
    }
    return explanation;
}

Explanation readWrite(int channel, const Value& value)
{
    const ChannelInfo& info = *findChannel(channel);
    if (info.write == nullptr) {
        std::string writable;
        for (const ChannelInfo& one : kChannels) {
            if (one.write == nullptr) continue;
            writable +=
                (writable.empty() ? "" : ", ") + std::to_string(one.number) + " (" + one.name + ")";
        }
        return {{"it can only be read; written can be " + writable}, {}};
    }
    Explanation explanation;
    const std::string text = writtenText(value);
    const auto* given = std::get_if<std::string>(&value);
    if (given != nullptr && text != *given) {
        explanation.notes.push_back(
            "the text is cut at its first \")\", and blanks around it are dropped");
    }
    if (!fits(info.write->rule, text)) {
        const std::string shown = info.secret ? "" : displayText(std::string_view(text)) + " ";
        explanation.causes.push_back("the value " + shown + "is not " + info.write->values);
    }
    return explanation;
}

Explanation explainWrite(int channel, const Value& value, const CallResult& result)
{
    const Explanation read = readWrite(channel, value);
    Explanation explanation;
    explanation.notes = read.notes;
    switch (result.code) {
        case kResultNoService:
            blameTheService(explanation, read.causes);
            break;
        case kResultRefused:
        case kResultBadCommand:
            explanation.causes = read.causes;
            if (read.causes.empty()) explanation.causes = {"the service refused the value"};
            break;
        default:
            break;
    }
    return explanation;
}

Explanation explainCycle(const CycleResult& result)
{
    if (result.code == kResultNoService) return {{lookAtService()}, {}};
    if (result.code != kResultVpnOther) return {};
    const auto state = result.channels.find(kConnectionStateChannel);
    if (state == result.channels.end())
        return {{"channel 7 tells which, when it is asked for"}, {}};
    return {{faultText(std::get<int>(state->second))}, {}};
}

}  // namespace panel
