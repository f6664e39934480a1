#include "ctl/commands/ShownChange.h"

namespace ctl
{

std::string changeText(const Json& change)
{
    const bool isDry = flagAt(change, "dry_run").value_or(false);
    std::string names;
    const Json* const changed = find(change, "changed");
    if (changed != nullptr && changed->is_array()) {
        for (const Json& each : *changed) names += (names.empty() ? "" : ", ") + textAt(each, "");
    }
    if (names.empty()) return isDry ? "nothing would change\n" : "nothing has changed\n";
    const bool drops = flagAt(change, "tunnel_drops").value_or(false);
    return (isDry ? "would change: " : "changed: ") + names +
           (isDry ? (drops ? "; the tunnel would drop\n" : "; the tunnel would stay as it is\n")
                  : (drops ? "; the tunnel drops\n" : "; the tunnel stays as it is\n"));
}

}  // namespace ctl
