#include "panel/DriverOptions.h"

#include "host/StatusCodes.h"
#include "panel/CodeNames.h"
#include "panel/ConfigBlob.h"
#include "panel/DeviceSession.h"
#include "panel/FileBytes.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <cstdio>
#include <system_error>

namespace panel
{

void DriverOptions::addTo(CLI::App& command)
{
    command.add_option("--driver", file, "The driver library")->required()->type_name("LIB");
    command.add_option("--device", device, "Name of the device, \"VPN\" unless given")
        ->type_name("NAME");
    CLI::Option* highest =
        command.add_option("--max-channel", maxChannel,
                           "Configure the device to publish channels 1 to K, 10 unless given");
    highest->type_name("K")->check(wholeNumber(INT32_MIN, INT32_MAX));
    CLI::Option* blob =
        command.add_option("--blob", blobFile, "Configure the device with the bytes of FILE");
    blob->type_name("FILE")->check(notEmpty("the name of a file"));
    CLI::Option* none =
        command.add_flag("--no-config", noConfig, "Give the device an empty configuration");
    blob->excludes(highest);
    none->excludes(highest);
    none->excludes(blob);
    command.add_flag("--json", json, "One JSON object a line");
    command.add_flag("--show-secrets", showSecrets, "Show passwords instead of ********");
}

std::vector<unsigned char> DriverOptions::configBlob() const
{
    if (noConfig) return {};
    if (!blobFile.empty()) return readFile(blobFile, kMaxBlobBytes);
    return makeConfigBlob(maxChannel);
}

bool initOrComplain(DeviceSession& session, const std::vector<unsigned char>& blob)
{
    const int status = session.init(blob);
    if (status == kStatusOk) return true;
    complain("the driver refused to start the device: " + codeWithMeaning(CodeOf::kInit, status));
    return false;
}

std::function<std::string(const std::string&)> wholeNumber(std::int64_t least, std::int64_t most)
{
    return [least, most](const std::string& text) -> std::string {
        std::int64_t number = 0;
        const char* end = text.data() + text.size();
        const std::from_chars_result result = std::from_chars(text.data(), end, number);
        if (result.ec == std::errc() && result.ptr == end && number >= least && number <= most) {
            return {};
        }
        return "must be a whole number from " + std::to_string(least) + " to " +
               std::to_string(most);
    };
}

std::function<std::string(const std::string&)> notEmpty(const std::string& whatIsRight)
{
    return [whatIsRight](const std::string& text) -> std::string {
        return text.empty() ? "must be " + whatIsRight : std::string();
    };
}

void complain(const std::string& line) { std::fprintf(stderr, "orva-panel: %s\n", line.c_str()); }

}  // namespace panel
