#pragma once

#include "ctl/commands/Context.h"

namespace CLI
{
class App;
}

namespace ctl
{

// Each adds commands to the program. When one is given, parsing runs it and leaves its outcome
// in the context, which must outlive the parsing. What stops a command leaves as Failure.
void addStatusCommand(CLI::App& app, Context& context);
void addWaitCommand(CLI::App& app, Context& context);
void addMonitorCommand(CLI::App& app, Context& context);
void addHistoryCommand(CLI::App& app, Context& context);
void addSetCommand(CLI::App& app, Context& context);
void addSwitchCommands(CLI::App& app, Context& context);  // start, stop, enable, ...
void addExportCommand(CLI::App& app, Context& context);
void addImportCommand(CLI::App& app, Context& context);
void addCallCommand(CLI::App& app, Context& context);
void addDoctorCommand(CLI::App& app, Context& context);
void addReportCommand(CLI::App& app, Context& context);
void addReasonsCommand(CLI::App& app, Context& context);

}  // namespace ctl
