#include "panel/runtime/DriverLibrary.h"

#include "panel/runtime/DriverCall.h"
#include "panel/runtime/PanelError.h"

#include <dlfcn.h>

namespace panel
{

namespace
{

constexpr const char* kCreateName = "CreateDeviceCtrl";
constexpr const char* kDestroyName = "DestroyDeviceCtrl";

// The loader's own words, without the path in front of them.
std::string loaderError(const std::string& file)
{
    const char* text = ::dlerror();
    std::string reason = text ? text : "unknown reason";
    if (reason.compare(0, file.size() + 2, file + ": ") == 0) reason.erase(0, file.size() + 2);
    return reason;
}

}  // namespace

std::string driverFile(const std::string& path)
{
    // The loader would look for a name without "/" in the system's folders.
    return path.find('/') == path.npos ? "./" + path : path;
}

DriverLibrary::DriverLibrary(const std::string& path) : m_path(path)
{
    const std::string file = driverFile(path);
    m_handle = ::dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (m_handle == nullptr) {
        throw PanelError("cannot load driver '" + path + "': " + loaderError(file));
    }
    m_create = reinterpret_cast<CreateFunction>(::dlsym(m_handle, kCreateName));
    m_destroy = reinterpret_cast<DestroyFunction>(::dlsym(m_handle, kDestroyName));
    if (m_create != nullptr && m_destroy != nullptr) return;

    std::string missing = m_create == nullptr ? kCreateName : "";
    if (m_destroy == nullptr)
        missing += (missing.empty() ? "" : " and ") + std::string(kDestroyName);
    ::dlclose(m_handle);
    throw PanelError("'" + path + "' is no driver: it does not export " + missing);
}

DriverLibrary::~DriverLibrary() { ::dlclose(m_handle); }

IDeviceCtrl* DriverLibrary::create(const std::string& deviceName, IDevRtdbCtrl& rtdb) const
{
    IDeviceCtrl* device =
        callDriver(m_path, kCreateName, [&] { return m_create(deviceName.c_str(), &rtdb); });
    if (device == nullptr) {
        throw PanelError("driver '" + m_path + "': " + kCreateName + " returned no object");
    }
    return device;
}

int DriverLibrary::destroy(IDeviceCtrl* device) const
{
    return callDriver(m_path, kDestroyName, [&] { return m_destroy(device); });
}

}  // namespace panel
