#include "panel/commands/DriverOptions.h"

#include "host/StatusCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/runtime/DeviceSession.h"
#include "panel/runtime/FileBytes.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/CodeNames.h"
#include "panel/view/Complaint.h"

#include <unistd.h>
#include <CLI/CLI.hpp>
#include <cstdlib>

namespace panel
{

void DriverOptions::addTo(CLI::App& command)
{
    command
        .add_option("--driver", file,
                    "The driver library; else that of ORVA_DRIVER, else the installed one")
        ->type_name("LIB")
        ->check(notEmpty("the name of a library"));
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

std::string DriverOptions::driverLibrary() const { return chooseDriver(file); }

std::string chooseDriver(const std::string& option)
{
    return chooseDriver(option, std::getenv("ORVA_DRIVER"), ORVA_INSTALLED_DRIVER);
}

std::string chooseDriver(const std::string& option, const char* environment,
                         const std::string& installed)
{
    if (!option.empty()) return option;
    if (environment != nullptr && *environment != '\0') return environment;
    if (::access(installed.c_str(), F_OK) == 0) return installed;
    throw PanelError(
        "no driver: --driver or ORVA_DRIVER must name one, or it must be installed as " +
        installed);
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
