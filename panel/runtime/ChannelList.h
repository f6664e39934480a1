#pragma once

#include "panel/runtime/ChannelTable.h"

#include <array>
#include <string_view>

namespace panel
{

// The request flags of a cycle, by host index: 1 asks for the channel.
using ChannelFlags = std::array<int, kChannels.size()>;

ChannelFlags allChannels();

// Reads "1,2,7-10". Raises PanelError.
ChannelFlags parseChannelList(std::string_view list);

}  // namespace panel
