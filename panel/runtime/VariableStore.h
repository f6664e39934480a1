#pragma once

#include "panel/runtime/Value.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>

namespace panel
{

// The variables of a project, shared by its devices. Any thread. A variable
// keeps the type with which it was defined.
class VariableStore
{
public:
    // False when the name is taken; the old variable stays.
    [[nodiscard]] bool define(const std::string& name, Value value);

    // A copy of the value; nothing when the name is unknown.
    std::optional<Value> get(const std::string& name) const;

    // False when the name is unknown or the variable has another type.
    [[nodiscard]] bool set(const std::string& name, Value value);

private:
    mutable std::mutex m_mutex;
    std::map<std::string, Value> m_values;
};

}  // namespace panel
