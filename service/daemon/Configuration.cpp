#include "service/daemon/Configuration.h"

#include "common/ReadFile.h"
#include "service/core/SettingFields.h"
#include "service/core/Validation.h"
#include "service/daemon/ConfigurationReader.h"
#include "service/daemon/ConfigurationRules.h"
#include "service/daemon/Serial.h"

#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <utility>

namespace vpnd
{
namespace
{

// Who may read or write the file besides those who decide anyway.
void warnAbout(const struct stat& status, const Machine& machine, Configuration& configuration)
{
    // Root and the service's own group may.
    const bool isTrusted = status.st_gid == 0 || status.st_gid == machine.group;
    const mode_t others = status.st_mode & (isTrusted ? 07U : 077U);
    if ((others & 044U) != 0 && !configuration.initial.password.empty()) {
        configuration.warnings.push_back(
            configuration.file +
            ": holds a password, and others may read it; right would be chmod 600");
    }
    if (status.st_uid != 0 && status.st_uid != machine.user) {
        configuration.warnings.push_back(configuration.file + ": belongs to user " +
                                         std::to_string(status.st_uid) +
                                         ", who decides what it says; right would be chown root");
    }
    if ((others & 022U) != 0) {
        configuration.warnings.push_back(
            configuration.file +
            ": others may write it, and with it who may call; right would be chmod 600");
    }
}

// Nothing where there is no such file, and there need not be.
std::vector<std::string> readInto(Configuration& configuration, const Options& options,
                                  const Machine& machine, const IUserNames& names)
{
    const bool isNamed = !options.config.empty();
    const std::string& path = isNamed ? options.config : machine.configurationFile;
    const common::FileContent file = common::readFile(path, kMaxConfigurationBytes);
    if (!isNamed && (file.error == ENOENT || file.error == ENOTDIR)) return {};
    if (!file.problem.empty()) return {path + ": cannot be read: " + file.problem};

    configuration.file = path;
    ConfigurationReader reader(path, machine, names, configuration);
    reader.read({reinterpret_cast<const char*>(file.bytes.data()), file.bytes.size()});
    warnAbout(file.status, machine, configuration);
    return reader.faults();
}

void override(Configuration& configuration, const char* section, const char* key,
              const std::optional<std::string>& value)
{
    if (value) static_cast<void>(findRule(section, key)->take(configuration, *value, {}));
}

void fillIn(Configuration& configuration, const Machine& machine)
{
    if (configuration.deviceName.empty()) {
        configuration.deviceName = isDeviceName(machine.hostName) ? machine.hostName : "panel";
    }
    if (configuration.serial.empty()) {
        configuration.serial = serialFromMachineId(machine.idFile).text;
    }
    if (configuration.serial.empty()) configuration.serial = kUnknownSerial;
    configuration.isControlNamed = !configuration.control.empty();
    if (configuration.control.empty()) {
        const std::string& folder = machine.runtimeFolder;
        configuration.control = (folder.empty() ? kRuntimeFolder : folder) + kControlName;
    }
}

// Several stand there with ":" between them.
std::string firstFolderIn(const char* variable)
{
    const char* const folders = std::getenv(variable);
    const std::string all = folders == nullptr ? "" : folders;
    return all.substr(0, all.find(':'));
}

std::string textOf(const Users& users)
{
    if (users.everybody) return "everybody";
    if (users.uids.empty()) return "nobody";
    std::string text;
    for (const uid_t uid : users.uids) text += (text.empty() ? "" : ", ") + std::to_string(uid);
    return (users.uids.size() == 1 ? "user " : "users ") + text;
}

}  // namespace

Machine Machine::present()
{
    Machine machine;
    machine.user = ::geteuid();
    machine.group = ::getegid();
    char name[256] = {};
    if (::gethostname(name, sizeof name - 1) == 0) machine.hostName = name;
    machine.stateFolder = firstFolderIn("STATE_DIRECTORY");
    machine.runtimeFolder = firstFolderIn("RUNTIME_DIRECTORY");
    return machine;
}

LoadedConfiguration loadConfiguration(const Options& options, const Machine& machine,
                                      const IUserNames& names)
{
    Configuration configuration;
    if (!machine.stateFolder.empty()) configuration.state = machine.stateFolder;
    configuration.access = AccessRules::standard(machine.user);
    LoadedConfiguration loaded;
    loaded.faults = readInto(configuration, options, machine, names);
    if (!loaded.faults.empty()) return loaded;

    override(configuration, "", "listen", options.listen);
    override(configuration, "", "control", options.control);
    override(configuration, "device", "name", options.deviceName);
    override(configuration, "device", "serial", options.serial);
    override(configuration, "log", "level", options.logLevel);
    if (options.state) configuration.state = *options.state;
    fillIn(configuration, machine);
    loaded.configuration = std::move(configuration);
    return loaded;
}

ReloadedConfiguration reload(const Configuration& inForce, const Options& options,
                             const Machine& machine, const IUserNames& names)
{
    LoadedConfiguration loaded = loadConfiguration(options, machine, names);
    ReloadedConfiguration reloaded;
    reloaded.faults = std::move(loaded.faults);
    if (!loaded.configuration) return reloaded;
    Configuration& next = *loaded.configuration;
    // Without it the callers would be others: more likely it is being written just now.
    if (next.file.empty() && !inForce.file.empty()) {
        reloaded.faults = {inForce.file + ": is not there any more"};
        return reloaded;
    }
    const auto keep = [&reloaded](const char* key, const std::string& now, std::string& wanted) {
        if (wanted == now) return;
        reloaded.needRestart.push_back(std::string(key) + ": " + wanted +
                                       " counts after a restart");
        wanted = now;
    };
    keep("tunnel", inForce.tunnel, next.tunnel);
    keep("listen", inForce.listen, next.listen);
    keep("state", inForce.state, next.state);
    keep("control", inForce.control, next.control);
    reloaded.configuration = std::move(next);
    return reloaded;
}

std::string summaryOf(const Configuration& configuration)
{
    const AccessRules& access = configuration.access;
    std::string text;
    const auto line = [&text](const char* what, const std::string& value) {
        text += "  " + std::string(what) + std::string(12 - std::string(what).size(), ' ') + value +
                "\n";
    };
    line("tunnel", configuration.tunnel);
    line("listen", configuration.listen);
    line("state", configuration.state == kNoState ? "none: nothing is kept" : configuration.state);
    line("control", configuration.control == kNoControl ? "none" : configuration.control);
    line("device", configuration.deviceName + ", serial number " + configuration.serial);
    line("read", textOf(access.readers));
    line("change", textOf(access.changers));
    line("password", "shown to " + textOf(access.secretReaders) + "; others see " +
                         (access.masksSecrets ? kSecretMask : "nothing"));
    line("history", std::to_string(configuration.history.rows) + " rows, " +
                        std::to_string(configuration.history.bytesADay) + " bytes a day");
    line("log", configuration.logLevel);
    text += "  settings, for as long as none are stored:\n";
    for (const SettingField& field : settingFields()) {
        const std::string value = shownText(field, configuration.initial);
        text += "    " + std::string(field.key) + " = " + value + "\n";
    }
    return text;
}

ConfigurationCheck checkConfiguration(const Options& options, const Machine& machine,
                                      const IUserNames& names)
{
    const LoadedConfiguration loaded = loadConfiguration(options, machine, names);
    ConfigurationCheck check;
    for (const std::string& fault : loaded.faults) check.errors += fault + "\n";
    if (!loaded.configuration) {
        check.exitCode = 2;
        return check;
    }
    for (const std::string& warning : loaded.configuration->warnings) {
        check.errors += warning + "\n";
    }
    const std::string& file = loaded.configuration->file;
    check.output = (file.empty() ? machine.configurationFile + ": not there, the defaults count"
                                 : file + ": good") +
                   "\n" + summaryOf(*loaded.configuration);
    return check;
}

}  // namespace vpnd
