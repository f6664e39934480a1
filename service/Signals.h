#pragma once

#include "service/EventLoop.h"

#include <cstdint>
#include <functional>
#include <initializer_list>

namespace vpnd
{

// Turns signals into calls from the loop, one for each number that has come since
// the last. They stay blocked for good, so that one that comes during the end
// cannot cut it short. Made before any other thread, which takes the blocking over.
class Signals final : private IWatcher
{
public:
    // Borrows the loop. Raises std::system_error when the system refuses.
    Signals(EventLoop& loop, std::initializer_list<int> numbers, std::function<void(int)> action);

private:
    void onReady(std::uint32_t events) override;

    std::function<void(int)> m_action;
    Watch m_watch;
};

}  // namespace vpnd
