#pragma once

#include "panel/runtime/ConfigBlob.h"

#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace panel
{

class DeviceSession;

// The options of every command that drives one device.
struct DriverOptions {
    std::string file;
    std::string device = "VPN";
    std::int32_t maxChannel = kDefaultMaxChannel;
    std::string blobFile;
    bool noConfig = false;
    bool json = false;
    bool showSecrets = false;

    // Adds the options to a command; this record must outlive its parsing.
    void addTo(CLI::App& command);

    // The driver to load. Raises PanelError when there is none.
    std::string driverLibrary() const;

    // The stored configuration they stand for, empty for none. Raises PanelError
    // when the file cannot be read.
    std::vector<unsigned char> configBlob() const;
};

// The driver of an option --driver, else that of the environment's ORVA_DRIVER, else the
// installed one. Raises PanelError when there is none of them.
std::string chooseDriver(const std::string& option);
// The first of the three that is not empty; installed counts when the file is there.
std::string chooseDriver(const std::string& option, const char* environment,
                         const std::string& installed);

// Initialises the device. False, with a line on standard error, when the driver refuses.
[[nodiscard]] bool initOrComplain(DeviceSession& session, const std::vector<unsigned char>& blob);

}  // namespace panel
