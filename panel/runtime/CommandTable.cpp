#include "panel/runtime/CommandTable.h"

#include <algorithm>

namespace panel
{

namespace
{

char lowerCase(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

bool sameWord(std::string_view a, std::string_view b)
{
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](char one, char other) { return lowerCase(one) == lowerCase(other); });
}

const CommandInfo* findCommand(std::string_view word)
{
    for (const CommandInfo& command : kCommands) {
        if (sameWord(command.word, word)) return &command;
    }
    return nullptr;
}

std::string formOf(const CommandInfo& command)
{
    std::string form = std::string(command.word) + "(";
    for (std::size_t i = 0; i < command.count; ++i) {
        form += (i == 0 ? "" : ",") + std::string(command.arguments[i].name);
    }
    return form + ")";
}

bool carriesSecret(const CommandInfo& command)
{
    return std::any_of(command.arguments.begin(), command.arguments.end(),
                       [](const ArgumentInfo& argument) { return argument.secret; });
}

}  // namespace panel
