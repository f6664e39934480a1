#pragma once

#include "ctl/base/Failure.h"
#include "ctl/base/Json.h"
#include "ctl/base/Words.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace ctl
{

enum class Verdict { kGood, kBad, kUnknown };

// "good", "bad", "unknown".
[[nodiscard]] const char* nameOf(Verdict verdict);

// One thing that was looked at, or could not be.
struct Stage {
    std::string name;
    Verdict verdict = Verdict::kUnknown;
    std::string text;         // what was found, or why nothing was
    std::string follows;      // of a bad one: what comes of it
    std::string remedy;       // of a bad one
    std::string notLookedAt;  // what this stage leaves open; may be empty
    std::int64_t tookMs = 0;
};

// The panel's name service and network, as the doctor sees them.
class ISurroundings
{
public:
    struct Name {
        std::vector<std::string> addresses;
        std::string problem;  // the system's words; empty: it was found
        bool wasAnswered = true;
    };
    struct Network {
        std::string interface;
        std::string address;  // IPv4
        int prefix = 0;
    };

    virtual ~ISurroundings() = default;
    virtual std::int64_t nowMs() = 0;
    // Waits for at most timeoutMs.
    virtual Name resolve(const std::string& host, unsigned int timeoutMs) = 0;
    // The own address that packets to this one would have; empty: there is no way.
    virtual std::string sourceTowards(const std::string& address) = 0;
    virtual std::vector<Network> networks() = 0;
    // Full path of a program that can be run; empty: none.
    virtual std::string findProgram(const std::string& name) = 0;
};

// What the service says, or why it says nothing.
struct Answer {
    Json status;
    std::optional<Failure> failure;
};

constexpr unsigned int kResolveTimeoutMs = 5000;

// All stages, in the order in which one depends on another.
[[nodiscard]] std::vector<Stage> examine(const std::function<Answer()>& ask,
                                         ISurroundings& surroundings, Language language);

// {"verdict": ..., "first_bad": ..., "stages": [...]}
[[nodiscard]] Json diagnosisOf(const std::vector<Stage>& stages);

// For people: a line for each stage, then the first bad one with what follows and the remedy.
[[nodiscard]] std::string diagnosisText(const Json& diagnosis, const Style& style);

}  // namespace ctl
