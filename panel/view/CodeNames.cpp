#include "panel/view/CodeNames.h"

#include "host/StatusCodes.h"

#include <array>
#include <cstdio>

namespace panel
{

namespace
{

struct CodeName {
    int code;
    std::string_view meaning;
};

constexpr CodeName kCollectCodes[] = {
    {kResultOk, "VPN connected"},
    {kResultNoService, "no VPN service, or a call to it failed"},
    {kResultVpnIdle, "VPN enabled, not connected"},
    {kResultVpnConnecting, "VPN connecting"},
    {kResultVpnDisabled, "VPN disabled"},
    {kResultVpnOther, "VPN fault or unknown status"},
    {kStatusCollectNoRtdb, "no real-time database"},
};
constexpr CodeName kCommandCodes[] = {
    {kResultOk, "done"},
    {kResultNoService, "no VPN service, or a call to it failed"},
    {kResultRefused, "refused"},
    {kResultBadCommand, "bad command, bad argument or refused value"},
    {kResultNotNow, "valid, but not possible now"},
    {kResultMalformedWrite, "malformed channel write"},
};
constexpr CodeName kWriteCodes[] = {
    {kResultOk, "written"},
    {kResultNoService, "no VPN service, or a call to it failed"},
    {kResultRefused, "channel is read-only"},
    {kResultBadCommand, "value refused"},
    {kResultMalformedWrite, "malformed channel write"},
};
constexpr CodeName kInitCodes[] = {
    {kStatusOk, "configuration accepted"},
    {kStatusFailed, "configuration refused"},
};
constexpr CodeName kHostCodes[] = {
    {kStatusFailed, "bad argument or failure inside the driver"},
    {kStatusNoRtdb, "no real-time database"},
};

template <std::size_t N>
std::string_view find(const CodeName (&table)[N], int code)
{
    for (const CodeName& entry : table) {
        if (entry.code == code) return entry.meaning;
    }
    return {};
}

std::string_view findByCall(CodeOf call, int code)
{
    switch (call) {
        case CodeOf::kInit:
            return find(kInitCodes, code);
        case CodeOf::kCollect:
            return find(kCollectCodes, code);
        case CodeOf::kCommand:
            return find(kCommandCodes, code);
        case CodeOf::kWrite:
            return find(kWriteCodes, code);
    }
    return {};
}

}  // namespace

std::string_view meaningOf(CodeOf call, int code)
{
    std::string_view meaning = findByCall(call, code);
    if (meaning.empty()) meaning = find(kHostCodes, code);
    return meaning.empty() ? "unknown code" : meaning;
}

std::string codeText(int code)
{
    // Codes with the top bit set are host statuses, apart from the few small negative ones.
    constexpr int kSmallestDecimal = -1000;
    if (code >= kSmallestDecimal) return std::to_string(code);
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "0x%08X", static_cast<unsigned>(code));
    return text.data();
}

std::string codeWithMeaning(CodeOf call, int code)
{
    return "code " + codeText(code) + " (" + std::string(meaningOf(call, code)) + ")";
}

std::string refusalText(int status)
{
    return "the driver refused to start the device: " + codeWithMeaning(CodeOf::kInit, status);
}

}  // namespace panel
