#pragma once

#include "service/core/ITunnel.h"
#include "service/core/Reasons.h"

#include <optional>

namespace vpnd
{

// What a tunnel plays instead of what its settings lead to.
struct Simulation {
    Reason reason = Reason::kNone;     // that it comes to; kNone: as the settings say
    std::optional<TunnelStage> stage;  // in which it stays once it gets there
    double speed = 1;                  // its times are divided by it
};

constexpr double kMinSimulationSpeed = 0.01;
constexpr double kMaxSimulationSpeed = 100;

// A tunnel that can be told how it fares.
class ISimulation
{
public:
    // From the next attempt on.
    virtual void simulate(const Simulation& simulation) = 0;
    virtual const Simulation& simulation() const = 0;

protected:
    ~ISimulation() = default;
};

}  // namespace vpnd
