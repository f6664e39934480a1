#pragma once

#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/Value.h"

#include <string>
#include <string_view>

namespace panel
{

// Results as one JSON object on one line, newline included. Bytes that are no
// UTF-8 come out as U+FFFD, control characters escaped. An empty device leaves that member out.
std::string cycleJson(const CycleResult& result, bool showSecrets, std::string_view device = {});
// command is the text as it may be shown; written holds masked values already.
std::string commandJson(std::string_view command, const CallResult& result,
                        std::string_view device = {});
std::string writeJson(int channel, const CallResult& result, std::string_view device = {});
std::string setJson(const NamedValue& variable, std::string_view device);
std::string watchdogJson(std::string_view device, bool silent, long long ms);

}  // namespace panel
