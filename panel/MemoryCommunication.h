#pragma once

#include "host/HostInterface.h"

#include <string>

namespace panel
{

// The communication object of a device that has no line of its own: it only
// remembers which device used it last.
class MemoryCommunication final : public ICommunication
{
public:
    int SetCurrentDevice(char* szDevName) override
    {
        m_currentDevice = szDevName ? szDevName : "";
        return 0;
    }
    int GetCommMode() override { return 1; }

    const std::string& currentDevice() const { return m_currentDevice; }

private:
    std::string m_currentDevice;
};

}  // namespace panel
