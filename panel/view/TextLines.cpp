#include "panel/view/TextLines.h"

#include "panel/runtime/DisplayText.h"
#include "panel/view/CodeNames.h"

#include <array>
#include <cstdio>

namespace panel
{

std::string durationText(double ms)
{
    std::array<char, 48> text{};
    std::snprintf(text.data(), text.size(), "%.2f ms", ms);
    return text.data();
}

std::string channelText(int number, const Value& value, bool showSecrets)
{
    const ChannelInfo& channel = *findChannel(number);
    std::array<char, 48> head{};
    std::snprintf(head.data(), head.size(), "  %2d  %-18s", number, channel.name);
    const bool masked = channel.secret && !showSecrets;
    return head.data() + (masked ? kMask : displayText(value)) + "\n";
}

std::string cycleHead(const CycleResult& result)
{
    return "cycle " + std::to_string(result.cycle) + ": " +
           codeWithMeaning(CodeOf::kCollect, result.code) + ", " + durationText(result.ms);
}

std::string explanationText(const Explanation& explanation)
{
    std::string text;
    for (const std::string& cause : explanation.causes) text += "  cause: " + cause + "\n";
    for (const std::string& note : explanation.notes) text += "  note: " + note + "\n";
    return text;
}

std::string channelsText(const CycleResult& result, bool showSecrets)
{
    std::string text;
    for (const auto& [number, value] : result.channels) {
        text += channelText(number, value, showSecrets);
    }
    return text.empty() ? "  no channel published\n" : text;
}

std::string cycleText(const CycleResult& result, bool showSecrets, const Explanation& explanation)
{
    return cycleHead(result) + "\n" + explanationText(explanation) +
           channelsText(result, showSecrets);
}

std::string writeText(int number, const Value& value, bool showSecrets)
{
    const ChannelInfo& channel = *findChannel(number);
    const bool masked = channel.secret && !showSecrets;
    return "channel " + std::to_string(number) + " (" + channel.name +
           ") = " + (masked ? kMask : displayText(value));
}

std::string callText(std::string_view what, std::string_view codeWithMeaning,
                     const CallResult& result, const Explanation& explanation)
{
    std::string text = std::string(what) + ": " + std::string(codeWithMeaning) + ", " +
                       durationText(result.ms) + "\n";
    for (const NamedValue& one : result.written) {
        text +=
            "  " + displayText(std::string_view(one.name)) + " = " + displayText(one.value) + "\n";
    }
    return text + explanationText(explanation);
}

}  // namespace panel
