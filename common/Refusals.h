#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace common
{

// Why a request over the control interface is not carried out.
enum class Refusal : std::int32_t {
    kBadRequest,
    kBrowser,
    kNotAllowed,
    kUnknownPath,
    kWrongMethod,
    kTooLate,
    kNotNow,
    kRealTunnel,
    kSettingsChanged,
    kBodyTooLarge,
    kExpectation,
    kNotJson,
    kUnknownField,
    kInvalidValue,
    kHeadTooLarge,
    kInternal,
    kNotStored,
    kTooManyClients,
};

// What people and programs are told of it.
struct RefusalText {
    Refusal refusal;
    const char* code;  // "not_allowed"; the same for ever
    int httpStatus;
    int exitCode;  // of orva-vpnctl
    const char* english;
    const char* chinese;
    const char* remedyEnglish;
    const char* remedyChinese;
};

// All of them, in the order above.
[[nodiscard]] const std::vector<RefusalText>& refusals();

[[nodiscard]] const RefusalText& textOf(Refusal refusal);

// Null when there is none of this code.
[[nodiscard]] const RefusalText* findRefusal(std::string_view code);

}  // namespace common
