#include "panel/runtime/VariableStore.h"

#include <algorithm>
#include <utility>

namespace panel
{

bool VariableStore::define(const std::string& name, Value value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_values.emplace(name, std::move(value)).second;
}

std::optional<Value> VariableStore::get(const std::string& name) const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_values.find(name);
    if (found == m_values.end()) return std::nullopt;
    return found->second;
}

std::vector<std::string> VariableStore::names() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    std::vector<std::string> names;
    for (const auto& [name, value] : m_values) names.push_back(name);
    return names;
}

bool VariableStore::set(const std::string& name, Value value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_values.find(name);
    if (found == m_values.end() || found->second.index() != value.index()) return false;
    found->second = std::move(value);
    for (IValueListener* listener : m_listeners) listener->valueSet(name, found->second);
    return true;
}

void VariableStore::listen(IValueListener& listener)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const auto& [name, value] : m_values) listener.valueSet(name, value);
    m_listeners.push_back(&listener);
}

void VariableStore::stopListening(IValueListener& listener)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_listeners.erase(std::remove(m_listeners.begin(), m_listeners.end(), &listener),
                      m_listeners.end());
}

}  // namespace panel
