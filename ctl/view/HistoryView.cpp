#include "ctl/view/HistoryView.h"

#include "ctl/view/StatusView.h"

namespace ctl
{
namespace
{

std::string changeText(const Json& row)
{
    const std::string before = textAt(row, "before");
    const std::string after = textAt(row, "after");
    if (textAt(row, "kind") == "state") {
        return before.empty() ? " (" + after + ")" : " (" + before + " -> " + after + ")";
    }
    if (before.empty() && after.empty()) return {};
    return ": \"" + before + "\" -> \"" + after + "\"";
}

std::string callerText(const Json& row)
{
    const std::string interface = textAt(row, "interface");
    if (interface.empty() || interface == "service") return {};
    const std::string uid = textAt(row, "uid");
    const std::string program = textAt(row, "program");
    return ", by " + (uid.empty() ? "nobody known" : "uid " + uid) + " over " + interface +
           (program.empty() ? "" : " (" + program + ")");
}

}  // namespace

std::string historyLine(const Json& row, Language language)
{
    std::string text = timeText(numberAt(row, "first_ms").value_or(0)) + "  #" + textAt(row, "id") +
                       " " + textAt(row, "kind") + " " + textAt(row, "subject") + changeText(row);
    const std::string detail = textAt(row, "detail");
    if (!detail.empty()) text += ", " + detail;
    const std::string outcome = textAt(row, "outcome");
    if (!outcome.empty() && outcome != "done") text += ", " + outcome;
    text += callerText(row);
    const std::int64_t count = numberAt(row, "count").value_or(1);
    if (count > 1) {
        text += " (" + std::to_string(count) + " x, the last one " +
                timeText(numberAt(row, "last_ms").value_or(0)) + ")";
    }
    // Last: it is sentences.
    const Json* const reason = find(row, "reason");
    if (reason != nullptr && reason->is_object()) text += ", " + reasonText(*reason, language);
    return text + "\n";
}

std::string historyText(const Json& history, Language language)
{
    const Json* const rows = find(history, "entries");
    if (rows == nullptr || !rows->is_array() || rows->empty()) return "the history is empty\n";
    std::string text;
    for (const Json& row : *rows) text += historyLine(row, language);
    return text;
}

}  // namespace ctl
