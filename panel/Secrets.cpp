#include "panel/Secrets.h"

#include <strings.h>
#include <algorithm>

namespace panel
{

namespace
{

constexpr const char* kBlanks = " \t\r\n\v\f";

std::string trimmed(const std::string& text)
{
    const std::size_t first = text.find_first_not_of(kBlanks);
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

bool isWord(const std::string& word, const char* name)
{
    return ::strcasecmp(word.c_str(), name) == 0;
}

std::string maskFields(const std::string& fields, const VariableStore& variables)
{
    std::string shown;
    std::size_t begin = 0;
    while (true) {
        const std::size_t comma = std::min(fields.find(',', begin), fields.size());
        const std::string field = fields.substr(begin, comma - begin);
        const std::string name = trimmed(field);
        shown += name.empty() || variables.get(name) ? field : kMask;
        if (comma == fields.size()) return shown;
        shown += ',';
        begin = comma + 1;
    }
}

}  // namespace

std::string maskCommand(const std::string& command, const VariableStore& variables)
{
    const std::size_t open = command.find('(');
    if (open == command.npos) return command;
    const std::string head = command.substr(0, open + 1);
    const std::string rest = command.substr(open + 1);
    const std::string word = trimmed(command.substr(0, open));
    if (isWord(word, "ORVA_WRITE")) {
        const std::size_t equals = rest.find('=');
        return head + (equals == rest.npos ? kMask : rest.substr(0, equals + 1) + kMask + ")");
    }
    if (!isWord(word, "SetVPNPasswd") && !isWord(word, "SETVPNCA")) return command;
    const std::size_t close = rest.find(')');
    if (close == rest.npos) return head + kMask;
    // What follows the parenthesis may be the end of a secret that holds one.
    const bool more = !trimmed(rest.substr(close + 1)).empty();
    return head + maskFields(rest.substr(0, close), variables) + ")" + (more ? kMask : "");
}

void maskWritten(const std::string& command, CallResult& result)
{
    if (!isWord(trimmed(command.substr(0, command.find('('))), "GetVPNPasswd")) return;
    for (NamedValue& one : result.written) {
        if (typeOf(one.value) == DATATYPE_STRING) one.value = std::string(kMask);
    }
}

}  // namespace panel
