#pragma once

#include "ctl/base/Json.h"
#include "ctl/base/Words.h"

#include <string>

namespace ctl
{

// One row of the history, for people: a whole line.
[[nodiscard]] std::string historyLine(const Json& row, Language language);

// What GET /v1/history answers: a line for each row, or a word that there are none.
[[nodiscard]] std::string historyText(const Json& history, Language language);

}  // namespace ctl
