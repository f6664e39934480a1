#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace common
{

// Why the tunnel is not up. The numbers are for ever: screens of HMI projects hold them.
enum class Reason : std::int32_t {
    kNone = 0,
    kCredentialsRefused = 1,
    kCertificateUntrusted = 2,
    kAccountRefused = 3,
    kSecondFactor = 4,
    kCertificateExpired = 5,
    kCertificateNotYetValid = 6,
    kNameNotResolved = 7,
    kServerUnreachable = 8,
    kServerSilent = 9,
    kRouteRefused = 10,
    kTunDenied = 11,
    kProgramMissing = 12,
    kLoginUsedTwice = 13,
    kSettingsMissing = 14,
};

// What a reason does to the tunnel.
enum class Effect {
    kFault,  // it has given up: getVpnState is 100 + number
    kRetry,  // it goes on trying: the state is 6, or a stage of the next attempt
    kIdle,   // it does not begin
};

// What people are told.
struct ReasonText {
    Reason reason;
    const char* name;  // "credentials-refused"; the same for ever
    Effect effect;
    const char* english;
    const char* chinese;
    const char* remedyEnglish;
    const char* remedyChinese;

    std::int32_t number() const { return static_cast<std::int32_t>(reason); }
};

// All of them but kNone, by number.
[[nodiscard]] const std::vector<ReasonText>& reasons();

// Raises std::out_of_range for kNone and for numbers that are none.
[[nodiscard]] const ReasonText& textOf(Reason reason);

// Null when there is none of this name, or this number.
[[nodiscard]] const ReasonText* findReason(std::string_view name);
[[nodiscard]] const ReasonText* findReason(std::int32_t number);

// getVpnState: 0 when disabled, else how far the tunnel is, or this plus the number of the
// reason of its fault.
constexpr std::int32_t kStateDisabled = 0;
constexpr std::int32_t kStateFaultBase = 100;

// What people are told of a state that is no fault; faults are told by their reasons.
struct StateText {
    std::int32_t number;
    const char* name;  // "connected"; the same for ever
    const char* english;
    const char* chinese;
};

// 0 to 7, in this order.
[[nodiscard]] const std::vector<StateText>& states();

}  // namespace common
