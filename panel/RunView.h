#pragma once

#include "panel/DeviceSession.h"
#include "panel/Output.h"
#include "panel/Watchdog.h"

#include <mutex>
#include <set>
#include <string>

namespace panel
{

struct Project;

// Shows what the devices of a project do. Any thread; each report is one piece.
// Values are masked here unless secrets may be shown.
class RunView
{
public:
    // Borrows the output and the variables.
    RunView(Output& output, const VariableStore& variables, const Project& project, bool json,
            bool showSecrets);

    // A cycle. As text only what differs from the cycle before it; nothing when nothing does.
    void cycle(const std::string& device, const CycleResult& result, const CycleResult* before);
    void command(const std::string& device, const std::string& text, CallResult result);
    void write(const std::string& device, int channel, const Value& value,
               const CallResult& result);
    void set(const std::string& device, const NamedValue& variable);
    void watchdog(const Watchdog::Report& report);

private:
    void print(const std::string& text);

    Output& m_output;
    const VariableStore& m_variables;
    bool m_json;
    bool m_showSecrets;
    std::set<std::string> m_secretNames;  // variables that commands with secrets name
    std::mutex m_mutex;                   // of the output
};

}  // namespace panel
