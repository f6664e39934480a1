#pragma once

namespace CLI
{
class App;
}

namespace panel
{

// Each adds one command to the program. When the command is given, parsing runs
// it and leaves its outcome, one of the codes of ExitCodes.h, in exitCode, which
// must outlive the parsing. What stops a command leaves as PanelError.
void addPollCommand(CLI::App& app, int& exitCode);
void addBlobCommand(CLI::App& app, int& exitCode);
void addSendCommand(CLI::App& app, int& exitCode);
void addWriteCommand(CLI::App& app, int& exitCode);
void addRunCommand(CLI::App& app, int& exitCode);
void addCheckCommand(CLI::App& app, int& exitCode);
void addCommandsCommand(CLI::App& app, int& exitCode);
void addChannelsCommand(CLI::App& app, int& exitCode);

}  // namespace panel
