#include "panel/commands/ProjectReview.h"

#include "panel/check/LibraryCheck.h"
#include "panel/runtime/CommandTable.h"
#include "panel/runtime/CommandText.h"
#include "panel/runtime/DisplayText.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/JsonLines.h"
#include "panel/view/Secrets.h"
#include "panel/view/TextLines.h"

#include <algorithm>
#include <set>

namespace panel
{

namespace
{

// The variables whose values nobody knows before the run: those that actions set and
// those that commands write.
std::set<std::string> changingVariables(const Project& project)
{
    std::set<std::string> names;
    for (const ProjectAction& action : project.actions) {
        if (const auto* set = std::get_if<SetAction>(&action.what))
            names.insert(set->variable.name);
        const auto* command = std::get_if<CommandAction>(&action.what);
        if (command == nullptr) continue;
        const CommandText text(command->text);
        const CommandInfo* known = findCommand(text.word);
        if (known == nullptr || text.fields.size() != known->count) continue;
        for (std::size_t i = 0; i < known->count; ++i) {
            const ArgumentKind kind = known->arguments[i].kind;
            if (kind == ArgumentKind::kResult || kind == ArgumentKind::kTextVariable) {
                names.insert(text.fields[i]);
            }
        }
    }
    return names;
}

std::vector<std::string> whatIsWrongWith(const std::string& library)
{
    std::vector<std::string> causes;
    CheckOptions options;
    options.dryCycle = false;
    try {
        for (const Finding& finding : checkLibrary(library, options)) {
            if (finding.grade != Grade::kWrong) continue;
            causes.push_back(finding.subject + ": " + displayText(std::string_view(finding.text)));
        }
    } catch (const PanelError& error) {
        causes.emplace_back(displayText(std::string_view(error.what())));
    }
    return causes;
}

}  // namespace

std::vector<ProjectRemark> reviewProject(const Project& project, const VariableStore& variables,
                                         bool showSecrets)
{
    std::vector<ProjectRemark> remarks;
    const auto add = [&remarks](const std::string& where, const std::string& what,
                                Explanation explanation) {
        if (explanation.causes.empty() && explanation.notes.empty()) return;
        remarks.push_back({where, what, std::move(explanation)});
    };
    for (const ProjectDevice& device : project.devices) {
        add(device.driverKey.empty() ? "device '" + device.name + "'" : device.driverKey,
            displayText(std::string_view(device.driver)), {whatIsWrongWith(device.driver), {}});
    }
    const ReadAs readAs = {showSecrets, Tense::kIs, changingVariables(project)};
    for (const ProjectAction& action : project.actions) {
        if (const auto* command = std::get_if<CommandAction>(&action.what)) {
            const std::string shown =
                showSecrets ? command->text : maskCommand(command->text, variables);
            add(action.where, displayText(std::string_view(shown)),
                readCommand(command->text, variables, readAs));
        } else if (const auto* write = std::get_if<WriteAction>(&action.what)) {
            add(action.where, writeText(write->channel, write->value, showSecrets),
                readWrite(write->channel, write->value));
        }
    }
    return remarks;
}

bool wouldBeRefused(const std::vector<ProjectRemark>& remarks)
{
    return std::any_of(remarks.begin(), remarks.end(), [](const ProjectRemark& remark) {
        return !remark.explanation.causes.empty();
    });
}

std::string remarksText(const std::vector<ProjectRemark>& remarks, bool json)
{
    std::string text;
    std::size_t refused = 0;
    for (const ProjectRemark& remark : remarks) {
        if (!remark.explanation.causes.empty()) ++refused;
        text += json ? remarkJson(remark.where, remark.what, remark.explanation)
                     : displayText(std::string_view(remark.where)) + ": " + remark.what + "\n" +
                           explanationText(remark.explanation);
    }
    if (json) return text;
    return text + (refused == 0 ? "nothing would be refused\n"
                                : std::to_string(refused) + " would be refused\n");
}

}  // namespace panel
