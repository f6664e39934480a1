#pragma once

#include "panel/runtime/VariableStore.h"
#include "panel/runtime/Wakeup.h"

#include <cstddef>
#include <deque>
#include <mutex>
#include <vector>

namespace panel
{

// Notes each time that a variable gets one of some values, in the order in which it
// happens, for a thread that takes what was noted. What is noted while that thread
// is busy waits for it.
class ValueWatch final : private IValueListener
{
public:
    // A variable that has its value now counts. Borrows the variables, which must
    // outlive it.
    ValueWatch(VariableStore& variables, const std::vector<NamedValue>& values);
    ~ValueWatch();
    ValueWatch(const ValueWatch&) = delete;
    ValueWatch& operator=(const ValueWatch&) = delete;

    // How much is noted and not taken.
    std::size_t pending() const;
    // The oldest that is pending, by its place in values; it is forgotten. Raises
    // PanelError when the thread is so far behind that not everything was noted.
    std::size_t take();
    // Woken whenever something is noted.
    const Wakeup& wakeup() const { return m_wakeup; }

private:
    struct Watched {
        NamedValue value;
        bool has;
    };

    void valueSet(const std::string& name, const Value& value) override;

    VariableStore& m_variables;
    Wakeup m_wakeup;
    mutable std::mutex m_mutex;
    std::vector<Watched> m_watched;
    std::deque<std::size_t> m_noted;
};

}  // namespace panel
