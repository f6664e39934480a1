#include "panel/runtime/DeviceSession.h"

#include "host/StatusCodes.h"
#include "panel/runtime/DriverCall.h"

#include <type_traits>
#include <utility>

namespace panel
{

namespace
{

using Clock = std::chrono::steady_clock;

double millisecondsSince(Clock::time_point start)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - start).count();
}

}  // namespace

DeviceSession::DeviceSession(const DriverLibrary& library, const std::string& name,
                             VariableStore& variables)
    : m_library(library), m_rtdb(variables), m_device(library.create(name, m_rtdb))
{
}

DeviceSession::~DeviceSession()
{
    try {
        close();
    } catch (const PanelError&) {
        // What failed before is on its way to the person already.
    }
}

void DeviceSession::close()
{
    if (m_device == nullptr) return;
    IDeviceCtrl* device = std::exchange(m_device, nullptr);
    try {
        callDriver(m_library.path(), "CleanupDevice", [&] { return device->CleanupDevice(); });
    } catch (const PanelError&) {
        m_library.destroy(device);
        throw;
    }
    m_library.destroy(device);
}

template <class Call>
int DeviceSession::call(const char* name, Call function) const
{
    return callDriver(m_library.path(), name, function);
}

int DeviceSession::init(const std::vector<unsigned char>& blob)
{
    const int status = call("UpdataCommunication",
                            [&] { return m_device->UpdataCommunication(&m_communication); });
    if (status != kStatusOk) return status;
    const unsigned char nothing = 0;  // no driver gets a null pointer from us
    return call("InitDevice", [&] {
        return m_device->InitDevice(blob.empty() ? &nothing : blob.data(),
                                    static_cast<int>(blob.size()));
    });
}

CycleResult DeviceSession::collect(const ChannelFlags& channels)
{
    CycleResult result;
    result.cycle = ++m_cycles;
    const Clock::time_point start = Clock::now();
    result.code = call("CollectDevData",
                       [&] { return m_device->CollectDevData(channels.data(), kChannelCount); });
    result.ms = millisecondsSince(start);
    result.channels = m_rtdb.takePublished();
    return result;
}

CallResult DeviceSession::command(const std::string& text)
{
    CallResult result;
    const Clock::time_point start = Clock::now();
    result.code = call("DevIOCtrl", [&] { return m_device->DevIOCtrl(text.c_str()); });
    result.ms = millisecondsSince(start);
    result.written = m_rtdb.takeWritten();
    return result;
}

CallResult DeviceSession::write(int number, const Value& value)
{
    CallResult result;
    Value copy = value;  // the interface takes a writable pointer
    void* pointer = std::visit(
        [](auto& typed) -> void* {
            if constexpr (std::is_same_v<std::decay_t<decltype(typed)>, std::string>) {
                return typed.data();
            } else {
                return &typed;
            }
        },
        copy);
    const Clock::time_point start = Clock::now();
    result.code = call("WriteChannel",
                       [&] { return m_device->WriteChannel(number - 1, typeOf(copy), pointer); });
    result.ms = millisecondsSince(start);
    result.written = m_rtdb.takeWritten();
    return result;
}

}  // namespace panel
