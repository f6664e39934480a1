#include "service/base/Wakeup.h"

#include "service/base/SystemError.h"

#include <fcntl.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <utility>

namespace vpnd
{
namespace
{

Descriptor makeEvent()
{
    Descriptor event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event) raiseSystemError("eventfd");
    return event;
}

}  // namespace

Wakeup::Wakeup(EventLoop& loop, std::function<void()> action)
    : m_action(std::move(action)), m_watch(loop, makeEvent(), EPOLLIN, *this)
{
}

Descriptor Wakeup::remote() const
{
    Descriptor copy(::fcntl(m_watch.descriptor(), F_DUPFD_CLOEXEC, 0));
    if (!copy) raiseSystemError("dup");
    return copy;
}

void Wakeup::wake(int remote)
{
    // Fails only when it has been woken 2^64 - 2 times already.
    ::eventfd_write(remote, 1);
}

void Wakeup::onReady(std::uint32_t)
{
    eventfd_t count = 0;
    ::eventfd_read(m_watch.descriptor(), &count);
    m_action();
}

}  // namespace vpnd
