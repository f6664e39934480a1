#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace panel
{

class DeviceSession;

// The highest channel when nobody says otherwise, so that all channels show.
constexpr std::int32_t kDefaultMaxChannel = 10;

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

    // The stored configuration they stand for, empty for none. Raises PanelError
    // when the file can not be read.
    std::vector<unsigned char> configBlob() const;
};

// Initialises the device. False, with a line on standard error, when the driver refuses.
[[nodiscard]] bool initOrComplain(DeviceSession& session, const std::vector<unsigned char>& blob);

// A check for options that take a whole number within the bounds, with a message
// that says so and does not quote what was given.
std::function<std::string(const std::string&)> wholeNumber(std::int64_t least, std::int64_t most);
// The same for options that take any text but an empty one.
std::function<std::string(const std::string&)> notEmpty(const std::string& whatIsRight);

// A line on standard error, with the program's name in front.
void complain(const std::string& line);

}  // namespace panel
