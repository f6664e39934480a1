#pragma once

#include "panel/runtime/ChannelList.h"
#include "panel/runtime/DriverLibrary.h"
#include "panel/runtime/MemoryCommunication.h"
#include "panel/runtime/MemoryRtdb.h"

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace panel
{

// Shortest time between the beginnings of two polling cycles.
constexpr int kMinPeriodMs = 10;

// One polling cycle as the host saw it.
struct CycleResult {
    long long cycle = 0;  // counted from 1
    int code = 0;
    double ms = 0;
    std::map<int, Value> channels;  // published in this cycle, by number from 1
};

// One command or channel write as the host saw it.
struct CallResult {
    int code = 0;
    double ms = 0;
    std::vector<NamedValue> written;  // variables that the driver wrote
};

// One device of the host over a loaded driver. One thread.
//   1. The constructor makes the driver object.
//   2. init() hands it the communication object and the stored configuration.
//   3. Any number of collect(), command() and write().
//   4. close() cleans the device up and destroys the driver object; the destructor
//      does so where something else has failed before.
// Every operation raises PanelError when the driver throws.
class DeviceSession
{
public:
    // Borrows the library and the variables, which must outlive the session.
    // Raises PanelError as well when the library makes no object.
    DeviceSession(const DriverLibrary& library, const std::string& name, VariableStore& variables);
    ~DeviceSession();
    DeviceSession(const DeviceSession&) = delete;
    DeviceSession& operator=(const DeviceSession&) = delete;

    // The driver's status for the configuration; an empty blob stands for none.
    [[nodiscard]] int init(const std::vector<unsigned char>& blob);

    CycleResult collect(const ChannelFlags& channels);
    CallResult command(const std::string& text);
    // number counts from 1.
    CallResult write(int number, const Value& value);

    // The end; nothing may be called after it.
    void close();

private:
    template <class Call>
    int call(const char* name, Call function) const;

    const DriverLibrary& m_library;
    MemoryRtdb m_rtdb;
    MemoryCommunication m_communication;
    IDeviceCtrl* m_device;  // made and destroyed by the library; null after close()
    long long m_cycles = 0;
};

}  // namespace panel
