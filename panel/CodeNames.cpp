#include "panel/CodeNames.h"

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
    {RESULT_OK, "VPN connected"},
    {RESULT_NO_SERVICE, "no VPN service, or a call to it failed"},
    {RESULT_VPN_IDLE, "VPN enabled, not connected"},
    {RESULT_VPN_CONNECTING, "VPN connecting"},
    {RESULT_VPN_DISABLED, "VPN disabled"},
    {RESULT_VPN_OTHER, "VPN fault or unknown status"},
    {STATUS_COLLECT_NO_RTDB, "no real-time database"},
};
constexpr CodeName kCommandCodes[] = {
    {RESULT_OK, "done"},
    {RESULT_NO_SERVICE, "no VPN service, or a call to it failed"},
    {RESULT_REFUSED, "refused"},
    {RESULT_BAD_COMMAND, "bad command, bad argument or refused value"},
    {RESULT_NOT_NOW, "valid, but not possible now"},
    {RESULT_MALFORMED_WRITE, "malformed channel write"},
};
constexpr CodeName kWriteCodes[] = {
    {RESULT_OK, "written"},
    {RESULT_NO_SERVICE, "no VPN service, or a call to it failed"},
    {RESULT_REFUSED, "channel is read-only"},
    {RESULT_BAD_COMMAND, "value refused"},
    {RESULT_MALFORMED_WRITE, "malformed channel write"},
};
constexpr CodeName kInitCodes[] = {
    {STATUS_OK, "configuration accepted"},
    {STATUS_FAILED, "configuration refused"},
};
constexpr CodeName kHostCodes[] = {
    {STATUS_FAILED, "bad argument or failure inside the driver"},
    {STATUS_NO_RTDB, "no real-time database"},
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

}  // namespace panel
