#include "panel/DriverOptions.h"

#include "host/StatusCodes.h"
#include "panel/CodeNames.h"
#include "panel/ConfigBlob.h"
#include "panel/DeviceSession.h"
#include "panel/FileBytes.h"

#include <CLI/CLI.hpp>
#include <cstdio>

namespace panel
{

void DriverOptions::addTo(CLI::App& command)
{
    command.add_option("--driver", library, "The driver library")->required()->type_name("LIB");
    command.add_option("--device", device, "Name of the device, \"VPN\" unless given")
        ->type_name("NAME");
    CLI::Option* highest =
        command.add_option("--max-channel", maxChannel,
                           "Configure the device to publish channels 1 to K, 10 unless given");
    highest->type_name("K");
    CLI::Option* blob =
        command.add_option("--blob", blobFile, "Configure the device with the bytes of FILE");
    blob->type_name("FILE");
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

void complain(const std::string& line) { std::fprintf(stderr, "orva-panel: %s\n", line.c_str()); }

}  // namespace panel
