#include "panel/view/RunView.h"

#include "panel/runtime/DisplayText.h"
#include "panel/view/CodeNames.h"
#include "panel/view/Complaint.h"
#include "panel/view/JsonLines.h"
#include "panel/view/Secrets.h"
#include "panel/view/TextLines.h"
#include "panel/view/TimeStamp.h"

#include <utility>

namespace panel
{

RunView::RunView(Output& output, const VariableStore& variables, const Project& project, bool json,
                 bool showSecrets)
    : m_output(output), m_variables(variables), m_json(json), m_showSecrets(showSecrets)
{
    for (const ProjectAction& action : project.actions) {
        const auto* command = std::get_if<CommandAction>(&action.what);
        if (command == nullptr) continue;
        for (const NamedValue& variable : project.variables) {
            const bool text = typeOf(variable.value) == DATATYPE_STRING;
            if (text && namesSecret(command->text, variable.name)) {
                m_secretNames.insert(variable.name);
            }
        }
    }
}

void RunView::cycle(const std::string& device, const CycleResult& result, const CycleResult* before)
{
    if (m_json) {
        print(cycleJson(result, m_showSecrets, explainCycle(result), device));
        return;
    }
    CycleResult changed = result;
    if (before != nullptr) {
        for (const auto& [number, value] : before->channels) {
            const auto same = changed.channels.find(number);
            if (same != changed.channels.end() && same->second == value)
                changed.channels.erase(same);
        }
        if (changed.channels.empty() && result.code == before->code) {
            print({});
            return;
        }
    }
    std::string text =
        device + ": " + cycleHead(result) + "\n" + explanationText(explainCycle(result));
    for (const auto& [number, value] : changed.channels) {
        text += channelText(number, value, m_showSecrets);
    }
    print(text);
}

void RunView::beforeCommand(const std::string& device, const std::string& text)
{
    Explanation read = readCommand(text, m_variables, {m_showSecrets});
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_read[device] = std::move(read);
}

Explanation RunView::takeRead(const std::string& device)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return std::exchange(m_read[device], {});
}

void RunView::command(const std::string& device, const std::string& text, CallResult result)
{
    std::string shown = text;
    if (!m_showSecrets) {
        shown = maskCommand(text, m_variables);
        maskWritten(text, result);
        for (NamedValue& one : result.written) {
            if (m_secretNames.count(one.name) != 0) one.value = std::string(kMask);
        }
    }
    const Explanation explanation = explainCommand(text, result, takeRead(device), m_variables);
    print(m_json ? commandJson(shown, result, explanation, device)
                 : callText(device + ": " + displayText(std::string_view(shown)),
                            codeWithMeaning(CodeOf::kCommand, result.code), result, explanation));
}

void RunView::write(const std::string& device, int channel, const Value& value,
                    const CallResult& result)
{
    const Explanation explanation = explainWrite(channel, value, result);
    print(m_json ? writeJson(channel, value, m_showSecrets, result, explanation, device)
                 : callText(device + ": " + writeText(channel, value, m_showSecrets),
                            codeWithMeaning(CodeOf::kWrite, result.code), result, explanation));
}

void RunView::set(const std::string& device, const NamedValue& variable)
{
    NamedValue shown = variable;
    if (!m_showSecrets && m_secretNames.count(variable.name) != 0) shown.value = std::string(kMask);
    print(m_json ? setJson(shown, device)
                 : device + ": " + displayText(std::string_view(shown.name)) + " set to " +
                       displayText(shown.value) + "\n");
}

void RunView::watchdog(const Watchdog::Report& report)
{
    const long long ms = report.silentFor.count();
    print(m_json
              ? watchdogJson(report.device, report.silent, ms)
              : report.device + ": watchdog: " + (report.silent ? "silent for " : "back after ") +
                    std::to_string(ms) + " ms\n");
}

void RunView::refused(const std::string& device, int status)
{
    complain(device + ": " + refusalText(status));
}

void RunView::print(const std::string& text)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_output.write(m_json ? text : stamped(text));
}

}  // namespace panel
