#pragma once

#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/Watchdog.h"

#include <string>

namespace panel
{

// What the devices of a running project report. Called on any thread.
class IRunEvents
{
public:
    virtual ~IRunEvents() = default;

    // before is the device's cycle before this one; null for its first.
    virtual void cycle(const std::string& device, const CycleResult& result,
                       const CycleResult* before) = 0;
    // A command is about to be sent; command() with its outcome follows.
    virtual void beforeCommand(const std::string& device, const std::string& text) = 0;
    virtual void command(const std::string& device, const std::string& text, CallResult result) = 0;
    virtual void write(const std::string& device, int channel, const Value& value,
                       const CallResult& result) = 0;
    virtual void set(const std::string& device, const NamedValue& variable) = 0;
    virtual void watchdog(const Watchdog::Report& report) = 0;
    // The driver did not accept the device's configuration.
    virtual void refused(const std::string& device, int status) = 0;
};

}  // namespace panel
