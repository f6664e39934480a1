#pragma once

#include "host/HostInterface.h"

#include <string>

namespace panel
{

// The file that a path means; one without "/" stands in the current folder.
std::string driverFile(const std::string& path);

// A loaded driver library with its two exports. Unloads it at the end; the
// objects made by it must be gone by then.
class DriverLibrary
{
public:
    // Loads the file with all its symbols resolved. Raises PanelError when it does
    // not load or lacks an export. A file that is cut short ends the program while it
    // is loaded: loadDriver() of panel/check looks first.
    explicit DriverLibrary(const std::string& path);
    ~DriverLibrary();
    DriverLibrary(const DriverLibrary&) = delete;
    DriverLibrary& operator=(const DriverLibrary&) = delete;

    // A new driver object, never null; the caller hands it back through destroy().
    // Raises PanelError when the library makes none. Borrows rtdb until then.
    [[nodiscard]] IDeviceCtrl* create(const std::string& deviceName, IDevRtdbCtrl& rtdb) const;
    // The library's status; the object is gone. Raises PanelError when the library throws.
    int destroy(IDeviceCtrl* device) const;

    const std::string& path() const { return m_path; }

private:
    using CreateFunction = IDeviceCtrl* (*)(const char*, IDevRtdbCtrl*);
    using DestroyFunction = int (*)(IDeviceCtrl*);

    std::string m_path;
    void* m_handle = nullptr;
    CreateFunction m_create = nullptr;
    DestroyFunction m_destroy = nullptr;
};

}  // namespace panel
