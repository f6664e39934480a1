#include "panel/runtime/ChannelList.h"

#include "panel/runtime/DisplayText.h"
#include "panel/runtime/PanelError.h"
#include "panel/runtime/Value.h"

#include <algorithm>
#include <charconv>
#include <string>
#include <system_error>

namespace panel
{

namespace
{

[[noreturn]] void refuse(std::string_view piece)
{
    throw PanelError("'" + displayText(piece) + "' is no channel: numbers from 1 to " +
                     std::to_string(kChannelCount) + ", for example 1,2,7-10");
}

// A channel number at the beginning of text, which is cut off it.
int takeNumber(std::string_view& text, std::string_view piece)
{
    int number = 0;
    const std::from_chars_result result =
        std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc() || findChannel(number) == nullptr) refuse(piece);
    text.remove_prefix(static_cast<std::size_t>(result.ptr - text.data()));
    return number;
}

}  // namespace

const ChannelInfo* findChannel(std::string_view text)
{
    int number = 0;
    const char* end = text.data() + text.size();
    const std::from_chars_result result = std::from_chars(text.data(), end, number);
    if (result.ec == std::errc() && result.ptr == end) return findChannel(number);
    std::string name(text);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '-' || c == '_'; }, ' ');
    for (const ChannelInfo& channel : kChannels) {
        if (sameWord(name, channel.name) || sameWord(text, channel.projectName)) return &channel;
    }
    return nullptr;
}

ChannelFlags allChannels()
{
    ChannelFlags flags;
    flags.fill(1);
    return flags;
}

ChannelFlags parseChannelList(std::string_view list)
{
    ChannelFlags flags{};
    while (true) {
        const std::size_t comma = list.find(',');
        const std::string_view piece = list.substr(0, comma);
        std::string_view rest = piece;
        const int first = takeNumber(rest, piece);
        int last = first;
        if (!rest.empty() && rest.front() == '-') {
            rest.remove_prefix(1);
            last = takeNumber(rest, piece);
        }
        if (!rest.empty() || last < first) refuse(piece);
        for (int number = first; number <= last; ++number) {
            flags[static_cast<std::size_t>(number) - 1] = 1;
        }
        if (comma == list.npos) return flags;
        list.remove_prefix(comma + 1);
    }
}

}  // namespace panel
