#pragma once

#include "ctl/doctor/Stages.h"

namespace ctl
{

// Those of this machine. A name server that never answers costs no more than the time-out:
// the thread that waits for it is left behind and ends with the program.
class Surroundings final : public ISurroundings
{
public:
    std::int64_t nowMs() override;
    Name resolve(const std::string& host, unsigned int timeoutMs) override;
    std::string sourceTowards(const std::string& address) override;
    std::vector<Network> networks() override;
    std::string findProgram(const std::string& name) override;
};

}  // namespace ctl
