#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace panel
{

// A text command as the device takes it apart.
struct CommandText {
    // Reads NAME(arguments): the name ends at the first "(", the arguments at the first
    // ")", and what follows is ignored.
    explicit CommandText(std::string_view text);

    bool opens = false;   // there is a "("
    bool closes = false;  // there is a ")"
    bool hasParentheses() const { return opens && closes; }
    std::string word;                 // without blanks around it
    std::vector<std::string> fields;  // the same; one that is empty where there is nothing
};

// Without the blanks at both ends, as the device drops them.
std::string trimmed(std::string_view text);

}  // namespace panel
