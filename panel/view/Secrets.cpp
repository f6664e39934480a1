#include "panel/view/Secrets.h"

#include "panel/runtime/CommandTable.h"
#include "panel/runtime/CommandText.h"

#include <algorithm>
#include <vector>

namespace panel
{

namespace
{

constexpr const char* kBlanks = " \t\r\n\v\f";

// A command whose literals are no secret. One that there is not is taken for a
// misspelt one that carries a password.
bool isHarmless(std::string_view word)
{
    const CommandInfo* command = findCommand(word);
    return command != nullptr && !carriesSecret(*command);
}

bool isKnown(std::string_view word)
{
    return findCommand(word) != nullptr || sameWord(word, kWriteWord);
}

bool readsSecret(std::string_view word) { return sameWord(word, "GetVPNPasswd"); }

std::string commandWord(const std::string& command)
{
    return trimmed(command.substr(0, command.find('(')));
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
    const std::string head = command.substr(0, open);
    const std::size_t begin = std::min(head.find_first_not_of(kBlanks), head.size());
    const std::size_t end = std::min(head.find_first_of(kBlanks, begin), head.size());
    const std::string word = head.substr(begin, end - begin);
    const bool moreWords = head.find_first_not_of(kBlanks, end) != head.npos;
    const std::string shownHead = moreWords ? head.substr(0, end) + " " + kMask : head;
    if (open == command.npos) {
        return isKnown(word) ? shownHead : kMask;
    }

    const std::string rest = command.substr(open + 1);
    if (sameWord(word, kWriteWord)) {
        const std::size_t equals = rest.find('=');
        const bool channelOnly = rest.find_first_not_of("0123456789 ") == equals;
        return shownHead + "(" +
               (equals == rest.npos || !channelOnly ? kMask
                                                    : rest.substr(0, equals + 1) + kMask + ")");
    }
    const std::size_t close = rest.find(')');
    const std::string fields = rest.substr(0, close);
    // A parenthesis among the fields may begin another command.
    const bool harmless = isHarmless(word) && !moreWords && fields.find('(') == fields.npos;
    const std::string shown = shownHead + "(" + (harmless ? fields : maskFields(fields, variables));
    if (close == rest.npos) return shown;
    // What follows the parenthesis may be the end of a secret that holds one.
    const std::string tail = rest.substr(close + 1);
    return shown + ")" + (trimmed(tail).empty() ? tail : kMask);
}

bool namesSecret(const std::string& command, const std::string& variable)
{
    const std::string word = commandWord(command);
    if (isHarmless(word) && !readsSecret(word)) return false;
    const std::string separators = std::string(kBlanks) + ",()=";
    for (std::size_t begin = 0; begin < command.size();) {
        const std::size_t end = std::min(command.find_first_of(separators, begin), command.size());
        if (command.substr(begin, end - begin) == variable) return true;
        begin = end + 1;
    }
    return false;
}

void maskWritten(const std::string& command, CallResult& result)
{
    if (!readsSecret(commandWord(command))) return;
    for (NamedValue& one : result.written) {
        if (typeOf(one.value) == DATATYPE_STRING) one.value = std::string(kMask);
    }
}

}  // namespace panel
