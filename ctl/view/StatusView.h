#pragma once

#include "ctl/base/ExitCodes.h"
#include "ctl/base/Json.h"
#include "ctl/base/Words.h"

#include <string>

namespace ctl
{

// How the program ends on this state, the number of getVpnState.
[[nodiscard]] ExitCode exitCodeOf(std::int64_t stateNumber);

// Green while connected, red at a fault, yellow otherwise.
[[nodiscard]] Colour colourOf(std::int64_t stateNumber);

// What GET /v1/status answers, for people: whole lines.
[[nodiscard]] std::string statusText(const Json& status, Language language, const Style& style);

// The same on one line: "connected, 10.8.0.6", "fault, credentials-refused: ...".
[[nodiscard]] std::string statusLine(const Json& status, Language language, const Style& style);

// A reason as GET /v1/status has it, or as a row of the history has it: "name: text remedy".
[[nodiscard]] std::string reasonText(const Json& reason, Language language);

}  // namespace ctl
