#pragma once

#include "service/core/Counters.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vpnd
{

// What the service is besides controller and history. Its owner keeps it up to date.
struct ControlFacts {
    // Which key of which file decides who may do what.
    struct Rules {
        std::string read;
        std::string change;
        std::string secrets;
    };

    std::string version;
    std::int64_t startedMs = 0;      // by the loop's clock
    std::int64_t startedWallMs = 0;  // milliseconds since 1970
    std::string tunnel;              // kind
    std::string listen;
    std::optional<std::string> stateFolder;   // nothing: nothing is kept
    std::optional<std::string> storeProblem;  // nothing: changes are stored
    std::optional<std::string> configurationFile;
    Rules rules;

    // Of the other interface.
    const std::vector<CallCounter>* rpcCalls = nullptr;
    std::function<std::size_t()> rpcClients;
    std::function<std::uint64_t()> rpcRefused;
    // Of this one.
    std::function<std::size_t()> controlClients;
    std::function<std::uint64_t()> controlTurnedAway;
};

}  // namespace vpnd
