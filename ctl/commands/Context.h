#pragma once

#include "ctl/base/Failure.h"
#include "ctl/base/Json.h"
#include "ctl/base/Words.h"

#include <functional>
#include <string>
#include <string_view>

namespace ctl
{

// What all commands share: the options in front of them, and the way out.
struct Context {
    std::string control = "/run/orva-vpnd/control.sock";
    double timeoutS = 10;
    bool isJson = false;
    std::string get;         // one field; empty: all
    std::string reportFile;  // of --from; empty: the service is asked
    Language language = Language::kEnglish;
    Style style{false};
    ExitCode exitCode = kExitDone;  // the command's outcome

    unsigned int timeoutMs() const { return static_cast<unsigned int>(timeoutS * 1000); }
};

// Writes to standard output, at once. Raises Failure when that takes nothing.
void print(std::string_view text);

// One result: the field of --get, JSON, or what asText makes of it.
void printResult(const Context& context, const Json& result,
                 const std::function<std::string()>& asText);
// The same for one of many, which as JSON takes one line.
void printOne(const Context& context, const Json& result,
              const std::function<std::string()>& asText);

// The failure on standard error.
void complain(const Failure& failure);

}  // namespace ctl
