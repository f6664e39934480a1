#include "service/base/Signals.h"

#include "service/base/SystemError.h"

#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <system_error>
#include <utility>

namespace vpnd
{
namespace
{

sigset_t setOf(std::initializer_list<int> numbers)
{
    sigset_t set;
    ::sigemptyset(&set);
    for (const int number : numbers) ::sigaddset(&set, number);
    return set;
}

Descriptor blockedAndWatched(std::initializer_list<int> numbers)
{
    Signals::block(numbers);
    const sigset_t set = setOf(numbers);
    Descriptor descriptor(::signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor) raiseSystemError("signalfd");
    return descriptor;
}

}  // namespace

void Signals::block(std::initializer_list<int> numbers)
{
    const sigset_t set = setOf(numbers);
    ::pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

Signals::Signals(EventLoop& loop, std::initializer_list<int> numbers,
                 std::function<void(int)> action)
    : m_action(std::move(action)), m_watch(loop, blockedAndWatched(numbers), EPOLLIN, *this)
{
}

void Signals::onReady(std::uint32_t)
{
    signalfd_siginfo signal;
    if (::read(m_watch.descriptor(), &signal, sizeof signal) == ssize_t{sizeof signal}) {
        m_action(static_cast<int>(signal.ssi_signo));
    }
}

}  // namespace vpnd
