#include "panel/runtime/ValueWatch.h"

#include "panel/runtime/PanelError.h"

#include <string>
#include <utility>

namespace panel
{

namespace
{

// A thread that is so far behind will not catch up.
constexpr std::size_t kMaxNoted = 100000;

}  // namespace

ValueWatch::ValueWatch(VariableStore& variables, const std::vector<NamedValue>& values)
    : m_variables(variables)
{
    for (const NamedValue& value : values) m_watched.push_back({value, false});
    m_variables.listen(*this);
}

ValueWatch::~ValueWatch() { m_variables.stopListening(*this); }

std::size_t ValueWatch::pending() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_noted.size();
}

std::size_t ValueWatch::take()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_noted.size() > kMaxNoted) {
        throw PanelError("conditions become true faster than their actions are done: more than " +
                         std::to_string(kMaxNoted) + " are waiting");
    }
    const std::size_t oldest = m_noted.front();
    m_noted.pop_front();
    return oldest;
}

void ValueWatch::valueSet(const std::string& name, const Value& value)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (std::size_t i = 0; i < m_watched.size(); ++i) {
        Watched& one = m_watched[i];
        if (one.value.name != name) continue;
        const bool had = std::exchange(one.has, one.value.value == value);
        if (had || !one.has || m_noted.size() > kMaxNoted) continue;
        m_noted.push_back(i);
        m_wakeup.wake();
    }
}

}  // namespace panel
