#include "panel/runtime/Wakeup.h"

#include "panel/runtime/PanelError.h"

#include <sys/eventfd.h>
#include <unistd.h>
#include <cstdint>

namespace panel
{

Wakeup::Wakeup() : m_event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK))
{
    if (!m_event) throw PanelError("no descriptor left to wake a thread");
}

void Wakeup::wake(int fd)
{
    const std::uint64_t one = 1;
    // A counter that is full has woken it already.
    if (::write(fd, &one, sizeof one) < 0) return;
}

void Wakeup::clear() const
{
    std::uint64_t count = 0;
    if (::read(fd(), &count, sizeof count) < 0) return;  // nobody had
}

}  // namespace panel
