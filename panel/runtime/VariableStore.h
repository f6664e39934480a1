#pragma once

#include "panel/runtime/Value.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace panel
{

// Hears of the values of all variables, on the thread that sets them and in their
// order. Must not call the store.
class IValueListener
{
public:
    virtual void valueSet(const std::string& name, const Value& value) = 0;

protected:
    ~IValueListener() = default;
};

// The variables of a project, shared by its devices. Any thread. A variable
// keeps the type with which it was defined.
class VariableStore
{
public:
    // False when the name is taken; the old variable stays.
    [[nodiscard]] bool define(const std::string& name, Value value);

    // A copy of the value; nothing when the name is unknown.
    std::optional<Value> get(const std::string& name) const;

    // All of them, in the order of the alphabet.
    std::vector<std::string> names() const;

    // False when the name is unknown or the variable has another type.
    [[nodiscard]] bool set(const std::string& name, Value value);

    // Tells the listener the values that there are and then each one that is set,
    // with none missing in between, until it stops listening.
    void listen(IValueListener& listener);
    void stopListening(IValueListener& listener);

private:
    mutable std::mutex m_mutex;
    std::map<std::string, Value> m_values;
    std::vector<IValueListener*> m_listeners;
};

}  // namespace panel
