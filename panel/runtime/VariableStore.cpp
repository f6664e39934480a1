#include "panel/runtime/VariableStore.h"

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

bool VariableStore::set(const std::string& name, Value value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_values.find(name);
    if (found == m_values.end() || found->second.index() != value.index()) return false;
    found->second = std::move(value);
    return true;
}

}  // namespace panel
