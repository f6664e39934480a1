#pragma once

#include "panel/runtime/DeviceSession.h"
#include "panel/view/Explain.h"

#include <string>
#include <string_view>

namespace panel
{

// Results as lines for people, each with a newline at its end.
std::string cycleText(const CycleResult& result, bool showSecrets, const Explanation& explanation);
// "cycle 3: code 7 (VPN enabled, not connected), 0.41 ms", without a newline.
std::string cycleHead(const CycleResult& result);
// The channels of a cycle, or that there is none.
std::string channelsText(const CycleResult& result, bool showSecrets);
// "  9  VPN password        ********" and a newline.
std::string channelText(int number, const Value& value, bool showSecrets);
// "channel 10 (VPN user name) = vpnuser"
std::string writeText(int number, const Value& value, bool showSecrets);
// What was done, as it may be shown, with the outcome and the variables written.
std::string callText(std::string_view what, std::string_view codeWithMeaning,
                     const CallResult& result, const Explanation& explanation);
// "  cause: nobody listens at ..." and "  note: ...".
std::string explanationText(const Explanation& explanation);
// "0.41 ms"
std::string durationText(double ms);

}  // namespace panel
