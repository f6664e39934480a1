#include "service/daemon/Options.h"

#include "service/daemon/Configuration.h"
#include "service/daemon/ConfigurationRules.h"

#include <CLI/CLI.hpp>

#include <sstream>
#include <utility>
#include <vector>

namespace vpnd
{
namespace
{

// Refuses what the file's rule for the key refuses, in its words.
CLI::Validator as(const char* section, const char* key)
{
    const ConfigurationRule* const rule = findRule(section, key);
    return CLI::Validator(
        [rule](std::string& text) {
            Configuration scratch;
            if (!rule->take(scratch, text, {})) return std::string();
            return shownValue(text) + " is not possible; right would be " + rule->right;
        },
        "");
}

constexpr std::pair<const char*, Show> kShown[] = {{"settings", Show::kSettings},
                                                   {"history", Show::kHistory}};

void describe(CLI::App& app, Options& options)
{
    app.add_option("--config", options.config,
                   std::string("Configuration file; without it ") + kConfigurationFile +
                       " if that is there")
        ->check([](const std::string& text) {
            return text.empty() ? std::string("right would be a file") : std::string();
        });
    CLI::Option* const check = app.add_flag("--check-config", options.checkConfig,
                                            "Say whether the file is good, and do nothing else");
    std::vector<std::string> words;
    for (const auto& [word, what] : kShown) words.emplace_back(word);
    const auto show = [&options](const std::string& wanted) {
        for (const auto& [word, what] : kShown) {
            if (wanted == word) options.show = what;
        }
    };
    app.add_option_function<std::string>("--show", show,
                                         "Print settings or history, and do nothing else")
        ->check(CLI::IsMember(words))
        ->excludes(check);
    app.add_option("--listen", options.listen,
                   "Where clients connect, ADDRESS:PORT; port 0 takes a free one")
        ->check(as("", "listen"));
    app.add_option("--state", options.state,
                   "Folder where settings and history are kept; none keeps nothing")
        ->check([](const std::string& text) {
            return text.empty() ? std::string("right would be a folder, or none") : std::string();
        });
    app.add_option("--control", options.control,
                   "Socket of the control interface; none switches it off")
        ->check(as("", "control"));
    app.add_option("--device-name", options.deviceName, "Name of this device")
        ->check(as("device", "name"));
    app.add_option("--serial", options.serial, "Device number until a client sets another one")
        ->check(as("device", "serial"));
    app.add_option("--log-level", options.logLevel, "What goes to standard error")
        ->check(as("log", "level"));
    app.add_flag("--no-connect", options.noConnect, "Stay idle until a client starts the tunnel");
    app.set_version_flag("--version", "orva-vpnd " ORVA_VERSION);
    app.footer(
        "Options win over the configuration file. The tunnel is a simulation that reaches no\n"
        "network. SIGTERM or SIGINT ends the service, SIGHUP has it read the file again.\n"
        "Exit code 0: ended by a signal; 2: wrong options or a wrong file, or it cannot listen.");
}

}  // namespace

CommandLine readCommandLine(int argc, const char* const* argv)
{
    CommandLine line;
    Options options;
    CLI::App app("The panel's VPN service");
    describe(app, options);
    try {
        app.parse(argc, argv);
        line.options = std::move(options);
    } catch (const CLI::ParseError& error) {
        line.isWrong = error.get_exit_code() != 0;
        if (line.isWrong) {
            line.text = "orva-vpnd: " + std::string(error.what()) + "; see --help\n";
        } else {
            std::ostringstream out;
            static_cast<void>(app.exit(error, out, out));
            line.text = out.str();
        }
    }
    return line;
}

}  // namespace vpnd
