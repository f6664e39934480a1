#include "panel/commands/DriverOptions.h"

#include "host/StatusCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/FileBytes.h"
#include "panel/view/CodeNames.h"
#include "panel/view/Complaint.h"

#include <CLI/CLI.hpp>

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
    complain(refusalText(status));
    return false;
}

}  // namespace panel
