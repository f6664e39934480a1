#pragma once

#include "panel/project/IRunEvents.h"
#include "panel/project/ProjectFile.h"
#include "panel/runtime/VariableStore.h"
#include "panel/view/Explain.h"
#include "panel/view/Output.h"

#include <map>
#include <mutex>
#include <set>
#include <string>

namespace panel
{

// Shows what the devices of a project do. Any thread; each report is one piece.
// Values are masked here unless secrets may be shown.
class RunView final : public IRunEvents
{
public:
    // Borrows the output and the variables.
    RunView(Output& output, const VariableStore& variables, const Project& project, bool json,
            bool showSecrets);

    // A cycle. As text only what differs from the cycle before it; nothing when nothing does.
    void cycle(const std::string& device, const CycleResult& result,
               const CycleResult* before) override;
    void beforeCommand(const std::string& device, const std::string& text) override;
    void command(const std::string& device, const std::string& text, CallResult result) override;
    void write(const std::string& device, int channel, const Value& value,
               const CallResult& result) override;
    void set(const std::string& device, const NamedValue& variable) override;
    void watchdog(const Watchdog::Report& report) override;
    void refused(const std::string& device, int status) override;

private:
    void print(const std::string& text);
    Explanation takeRead(const std::string& device);

    Output& m_output;
    const VariableStore& m_variables;
    bool m_json;
    bool m_showSecrets;
    std::set<std::string> m_secretNames;        // variables that commands with secrets name
    std::map<std::string, Explanation> m_read;  // each device's command that is running
    std::mutex m_mutex;                         // of these and the output
};

}  // namespace panel
