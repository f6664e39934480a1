#pragma once

#include "host/HostInterface.h"

namespace panel
{

// The communication object of a device that has no line of its own.
class MemoryCommunication final : public ICommunication
{
public:
    int SetCurrentDevice(char*) override { return 0; }
    int GetCommMode() override { return 1; }
};

}  // namespace panel
