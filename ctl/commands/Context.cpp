#include "ctl/commands/Context.h"

#include "common/DisplayText.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace ctl
{
namespace
{

std::string fieldOf(const Json& result, const std::string& path)
{
    if (find(result, path) != nullptr) return textAt(result, path) + "\n";
    // Where it went wrong: the fields of the last part that is there.
    std::string known = path;
    const Json* at = nullptr;
    while (at == nullptr) {
        const std::size_t dot = known.rfind('.');
        known.resize(dot == known.npos ? 0 : dot);
        at = find(result, known);
    }
    std::string names;
    if (at->is_object()) {
        for (const auto& each : at->items()) {
            names += (names.empty() ? "" : ", ") + common::displayText(each.key());
        }
    }
    throw Failure(kExitUsage,
                  "there is no field '" + path + "'" +
                      (names.empty() ? ""
                                     : "; in " + (known.empty() ? "it" : "'" + known + "'") +
                                           " there are " + names));
}

void printAs(const Context& context, const Json& result, Layout layout,
             const std::function<std::string()>& asText)
{
    if (!context.get.empty()) return print(fieldOf(result, context.get));
    if (context.isJson) return print(printed(result, layout) + "\n");
    print(asText());
}

}  // namespace

void print(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() ||
        std::fflush(stdout) != 0) {
        throw Failure(kExitFailed,
                      std::string("cannot write to standard output: ") + std::strerror(errno));
    }
}

void printResult(const Context& context, const Json& result,
                 const std::function<std::string()>& asText)
{
    printAs(context, result, Layout::kLines, asText);
}

void printOne(const Context& context, const Json& result,
              const std::function<std::string()>& asText)
{
    printAs(context, result, Layout::kOneLine, asText);
}

void complain(const Failure& failure)
{
    std::string text = "orva-vpnctl: " + common::displayText(failure.what());
    if (!failure.code().empty()) text += " [" + common::displayText(failure.code()) + "]";
    text += "\n";
    if (!failure.remedy().empty()) text += "  " + common::displayText(failure.remedy()) + "\n";
    std::fputs(text.c_str(), stderr);
}

}  // namespace ctl
