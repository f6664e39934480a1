#pragma once

#include "service/base/EventLoop.h"

#include <cstdint>
#include <functional>
#include <initializer_list>

namespace vpnd
{

// Turns signals into calls from the loop, one for each number that has come since
// the last. They stay blocked for good, so that one that comes during the end
// cannot cut it short.
class Signals final : private IWatcher
{
public:
    // For the first line of a program, before it has another thread: until there is an object
    // these signals wait.
    static void block(std::initializer_list<int> numbers);

    // Borrows the loop. Raises std::system_error when the system refuses.
    Signals(EventLoop& loop, std::initializer_list<int> numbers, std::function<void(int)> action);

private:
    void onReady(std::uint32_t events) override;

    std::function<void(int)> m_action;
    Watch m_watch;
};

}  // namespace vpnd
