#pragma once

#include "ctl/base/Failure.h"
#include "ctl/base/Words.h"

#include <string>

namespace ctl
{

// What an answer other than 2xx says, in the service's own words and with its own exit code.
[[nodiscard]] Failure failureOf(const std::string& path, int status, const std::string& body,
                                Language language);

// The service speaks another version of the interface; told: what it says it is.
[[nodiscard]] Failure otherVersion(const std::string& path, const std::string& told);

// What listens there gives no usable answer.
[[nodiscard]] Failure unusableAnswer(const std::string& path, const std::string& why);

}  // namespace ctl
