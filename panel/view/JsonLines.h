#pragma once

#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/Value.h"
#include "panel/view/Explain.h"

#include <string>
#include <string_view>

namespace panel
{

// Results as one JSON object on one line, newline included. Bytes that are no
// UTF-8 come out as U+FFFD, control characters escaped. An empty device leaves that member out.
// Behind what a call says of itself stand the time and, where there is any, what
// explains it: "cause" and "notes".
std::string cycleJson(const CycleResult& result, bool showSecrets, const Explanation& explanation,
                      std::string_view device = {});
// command is the text as it may be shown; written holds masked values already.
std::string commandJson(std::string_view command, const CallResult& result,
                        const Explanation& explanation, std::string_view device = {});
std::string writeJson(int channel, const Value& value, bool showSecrets, const CallResult& result,
                      const Explanation& explanation, std::string_view device = {});
// Something to say about a part of a project or a file; what may be empty.
std::string remarkJson(std::string_view where, std::string_view what,
                       const Explanation& explanation);
// A finding about a library.
std::string findingJson(std::string_view library, std::string_view grade, std::string_view subject,
                        std::string_view text);
std::string setJson(const NamedValue& variable, std::string_view device);
std::string watchdogJson(std::string_view device, bool silent, long long ms);

}  // namespace panel
