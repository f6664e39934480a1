#pragma once

#include "service/core/AccessRules.h"
#include "service/core/History.h"
#include "service/core/VpnSettings.h"
#include "service/daemon/Options.h"
#include "service/daemon/Users.h"

#include <sys/types.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace vpnd
{

// Used where it is there and the command line names no other one.
constexpr const char* kConfigurationFile = "/etc/orva/vpnd.toml";
constexpr std::size_t kMaxConfigurationBytes = 64 * 1024;
// Most faults of a file that are told.
constexpr std::size_t kMaxFaults = 50;

// Who runs the service, and what counts where neither file nor command line says anything.
struct Machine {
    uid_t user = 0;
    gid_t group = 0;
    std::string hostName;
    std::string stateFolder;    // of $STATE_DIRECTORY; empty: there is none
    std::string runtimeFolder;  // of $RUNTIME_DIRECTORY; empty: there is none
    std::string configurationFile = kConfigurationFile;
    std::string idFile = "/etc/machine-id";

    // This process on this machine.
    [[nodiscard]] static Machine present();
};

// Everything that file and command line decide: docs/configuration.md. Options have won.
struct Configuration {
    std::string file;  // that it was read from; empty: from none
    std::string tunnel = "simulated";
    std::string listen = "127.0.0.1:9009";
    std::string state = "/var/lib/orva-vpnd";  // a folder, or kNoState
    std::string control;                       // path of a socket, or kNoControl
    bool isControlNamed = false;               // otherwise the service does without, if need be
    std::string deviceName;
    std::string serial;
    AccessRules access;
    std::vector<std::string> lists;  // keys of the lists of users that the file has
    HistoryBounds history;
    VpnSettings initial;  // for as long as nothing is stored
    std::string logLevel = "info";
    std::vector<std::string> warnings;  // about the file; the service runs all the same
};

// As the state folder: nothing is kept.
constexpr const char* kNoState = "none";
// As the path of the control socket: there is none.
constexpr const char* kNoControl = "none";
// Where it is looked for, unless $RUNTIME_DIRECTORY or somebody says otherwise.
constexpr const char* kRuntimeFolder = "/run/orva-vpnd";
constexpr const char* kControlName = "/control.sock";

struct LoadedConfiguration {
    std::optional<Configuration> configuration;  // nothing: there are faults
    // "FILE:LINE: [section] key: what is wrong; what would be right", by line. None tells a
    // value of a secret key, not even where the file cannot be understood.
    std::vector<std::string> faults;
};

// Reads the file that the options name, or the usual one if that is there. Names of users
// are looked up in here, and certificates and the serial number read from their files.
[[nodiscard]] LoadedConfiguration loadConfiguration(const Options& options, const Machine& machine,
                                                    const IUserNames& names);

struct ReloadedConfiguration {
    std::optional<Configuration> configuration;  // nothing: the one in force stays, whole
    std::vector<std::string> faults;
    // "listen: 127.0.0.1:9010 counts after a restart". In the configuration such a key has
    // the value that is in force.
    std::vector<std::string> needRestart;
};

// The same again for a service that runs. A file that has been read before must still be there.
[[nodiscard]] ReloadedConfiguration reload(const Configuration& inForce, const Options& options,
                                           const Machine& machine, const IUserNames& names);

// What is in force in plain words, a line for each thing, without secrets.
[[nodiscard]] std::string summaryOf(const Configuration& configuration);

// For --check-config.
struct ConfigurationCheck {
    int exitCode = 0;    // 0: good, 2: faults
    std::string output;  // for standard output
    std::string errors;  // for standard error: faults or warnings
};
[[nodiscard]] ConfigurationCheck checkConfiguration(const Options& options, const Machine& machine,
                                                    const IUserNames& names);

}  // namespace vpnd
