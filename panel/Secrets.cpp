#include "panel/Secrets.h"

#include <strings.h>
#include <algorithm>
#include <vector>

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

std::string commandWord(const std::string& command)
{
    return trimmed(command.substr(0, command.find('(')));
}

bool carriesSecret(const std::string& word)
{
    return isWord(word, "SetVPNPasswd") || isWord(word, "SETVPNCA");
}

std::vector<std::string> splitFields(const std::string& fields)
{
    std::vector<std::string> split;
    std::size_t begin = 0;
    while (true) {
        const std::size_t comma = std::min(fields.find(',', begin), fields.size());
        split.push_back(fields.substr(begin, comma - begin));
        if (comma == fields.size()) return split;
        begin = comma + 1;
    }
}

std::string maskFields(const std::string& fields, const VariableStore& variables)
{
    std::string shown;
    const char* separator = "";
    for (const std::string& field : splitFields(fields)) {
        const std::string name = trimmed(field);
        shown += separator;
        separator = ",";
        shown += name.empty() || variables.get(name) ? field : kMask;
    }
    return shown;
}

}  // namespace

std::string maskCommand(const std::string& command, const VariableStore& variables)
{
    const std::size_t open = command.find('(');
    if (open == command.npos) return command;
    const std::string head = command.substr(0, open + 1);
    const std::string rest = command.substr(open + 1);
    const std::string word = commandWord(command);
    if (isWord(word, "ORVA_WRITE")) {
        const std::size_t equals = rest.find('=');
        return head + (equals == rest.npos ? kMask : rest.substr(0, equals + 1) + kMask + ")");
    }
    if (!carriesSecret(word)) return command;
    const std::size_t close = rest.find(')');
    if (close == rest.npos) return head + kMask;
    // What follows the parenthesis may be the end of a secret that holds one.
    const bool more = !trimmed(rest.substr(close + 1)).empty();
    return head + maskFields(rest.substr(0, close), variables) + ")" + (more ? kMask : "");
}

bool namesSecret(const std::string& command, const std::string& variable)
{
    const std::string word = commandWord(command);
    const std::size_t open = command.find('(');
    if (open == command.npos || !(carriesSecret(word) || isWord(word, "GetVPNPasswd")))
        return false;
    const std::size_t close = std::min(command.find(')', open), command.size());
    const auto fields = splitFields(command.substr(open + 1, close - open - 1));
    return std::any_of(fields.begin(), fields.end(), [&variable](const std::string& field) {
        return trimmed(field) == variable;
    });
}

void maskWritten(const std::string& command, CallResult& result)
{
    if (!isWord(commandWord(command), "GetVPNPasswd")) return;
    for (NamedValue& one : result.written) {
        if (typeOf(one.value) == DATATYPE_STRING) one.value = std::string(kMask);
    }
}

}  // namespace panel
