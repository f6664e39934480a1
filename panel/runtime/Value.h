#pragma once

#include "host/HostInterface.h"

#include <string>
#include <string_view>
#include <variant>

namespace panel
{

// A value of a channel or a variable; the alternatives stand in the order of DATATYPE.
using Value = std::variant<int, double, std::string>;

// Stands for every secret that is not to be shown.
constexpr const char* kMask = "********";

inline DATATYPE typeOf(const Value& value) { return static_cast<DATATYPE>(value.index() + 1); }

// Reads a value of type "int", "double" or "string". A string of the form @FILE
// is the bytes of that file, exactly; @@ at the beginning stands for one @.
// Raises PanelError, which never quotes a string's text.
Value parseValue(std::string_view type, std::string_view text);

// A variable as people define it: NAME=TYPE:VALUE.
struct NamedValue {
    std::string name;
    Value value;
};
NamedValue parseVariable(std::string_view text);

// Whether a command can name the variable: not empty, no blank, none of ",()=".
bool isVariableName(std::string_view name);

}  // namespace panel
