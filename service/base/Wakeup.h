#pragma once

#include "service/base/EventLoop.h"

#include <cstdint>
#include <functional>

namespace vpnd
{

// Has something done at the loop's next turn, also from another thread.
class Wakeup final : private IWatcher
{
public:
    // Borrows the loop. Raises std::system_error when the system refuses.
    Wakeup(EventLoop& loop, std::function<void()> action);

    void wake() { wake(m_watch.descriptor()); }
    // For another thread, which may outlive this. Raises as above.
    [[nodiscard]] Descriptor remote() const;
    static void wake(int remote);

private:
    void onReady(std::uint32_t events) override;

    std::function<void()> m_action;
    Watch m_watch;
};

}  // namespace vpnd
