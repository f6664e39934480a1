#include "ctl/commands/Commands.h"
#include "ctl/commands/WrongUse.h"

#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <string>

namespace
{

constexpr const char* kFooter =
    "Exit codes:\n"
    "  0  done, or connected       5  fault              10  service of another version\n"
    "  1  any other failure        6  disabled           11  the service is stuck\n"
    "  2  wrong use                7  refused            12  could not be stored\n"
    "  3  idle                     8  no service\n"
    "  4  trying                   9  the time of wait is over\n"
    "Options in front of a command may also stand behind it.\n"
    "Environment: NO_COLOR turns colours off; LC_ALL, LC_MESSAGES and LANG choose --lang.";

void addCommonOptions(CLI::App& app, ctl::Context& context, std::string& language)
{
    app.add_option("--control", context.control, "Socket of the service")
        ->type_name("PATH")
        ->take_last()
        ->capture_default_str();
    app.add_option("--request-timeout", context.timeoutS, "Seconds for each request")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    auto* const json = app.add_flag("--json", context.isJson,
                                    "Print JSON: one document, or one for each line of a stream");
    app.add_option("--get", context.get, "Print this field of it alone, such as state.name")
        ->type_name("FIELD")
        ->excludes(json);
    app.add_option("--from", context.reportFile,
                   "Read a file of the command report instead of asking the service: status, "
                   "history, doctor")
        ->type_name("REPORT");
    app.add_option("--lang", language,
                   "Language of states, reasons, errors and remedies: en or zh; else that of the "
                   "environment")
        ->check(CLI::IsMember({"en", "zh"}));
}

void checkFrom(const CLI::App& app, const ctl::Context& context)
{
    if (context.reportFile.empty()) return;
    const std::string command = app.get_subcommands().front()->get_name();
    if (command == "status" || command == "history" || command == "doctor") return;
    throw ctl::Failure(ctl::kExitUsage,
                       "--from goes with status, history and doctor, not with " + command);
}

}  // namespace

int main(int argc, char** argv)
{
    CLI::App app("Asks and steers the panel's VPN service", "orva-vpnctl");
    app.set_version_flag("--version", "orva-vpnctl " ORVA_VERSION);
    app.require_subcommand(1);
    app.fallthrough();
    app.footer(kFooter);

    ctl::Context context;
    std::string language;
    addCommonOptions(app, context, language);
    ctl::addStatusCommand(app, context);
    ctl::addWaitCommand(app, context);
    ctl::addMonitorCommand(app, context);
    ctl::addHistoryCommand(app, context);
    ctl::addSetCommand(app, context);
    ctl::addSwitchCommands(app, context);
    ctl::addCallCommand(app, context);
    ctl::addExportCommand(app, context);
    ctl::addImportCommand(app, context);
    ctl::addReasonsCommand(app, context);
    ctl::addDoctorCommand(app, context);
    ctl::addReportCommand(app, context);
    // Before the command itself.
    app.parse_complete_callback([&] {
        context.style = ctl::Style::ofStandardOutput();
        context.language = ctl::languageOf(language).value_or(ctl::languageOfEnvironment());
        checkFrom(app, context);
    });
    int exitCode = ctl::kExitFailed;
    try {
        app.parse(argc, argv);
        exitCode = context.exitCode;
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == 0) {
            exitCode = app.exit(error);
        } else {
            ctl::complain({ctl::kExitUsage, ctl::wrongUse(app, error) + "; see --help"});
            exitCode = ctl::kExitUsage;
        }
    } catch (const ctl::Failure& failure) {
        ctl::complain(failure);
        exitCode = failure.exitCode();
    } catch (const std::exception& error) {
        ctl::complain({ctl::kExitFailed, error.what()});
    }
    if (std::fflush(stdout) != 0 && exitCode == ctl::kExitDone) exitCode = ctl::kExitFailed;
    return exitCode;
}
