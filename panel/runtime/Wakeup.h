#pragma once

#include "common/Descriptor.h"

namespace panel
{

// Ends another thread's wait from any thread, also from a handler of signals.
class Wakeup
{
public:
    // Raises PanelError when the system has no descriptor left.
    Wakeup();

    void wake() const { wake(fd()); }
    // Forgets what has woken it.
    void clear() const;
    // Readable while somebody has woken it.
    int fd() const { return m_event.get(); }

    static void wake(int fd);

private:
    common::Descriptor m_event;
};

}  // namespace panel
