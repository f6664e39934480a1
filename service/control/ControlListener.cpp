#include "service/control/ControlListener.h"

#include "service/control/ControlSocket.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <system_error>
#include <utility>

namespace vpnd
{
namespace
{

constexpr int kAcceptsInATurn = 8;
constexpr std::int64_t kAcceptPauseMs = 100;
// Clients that are being told that there are too many. More are closed without a word.
constexpr std::size_t kMaxTurnedAway = 16;
// One that has just come may have its request on the way.
constexpr std::int64_t kAtRestMs = 1000;
constexpr const char* kNotTaken = "a control connection could not be taken";

}  // namespace

ControlListener::ControlListener(EventLoop& loop, std::string path, IHttpHandler& handler,
                                 CountedLog& log)
    : m_loop(loop),
      m_path(std::move(path)),
      m_handler(handler),
      m_log(log),
      m_check(loop, [this] { checkTimes(); }),
      m_resume(loop, [this] { m_watch->setEvents(EPOLLIN); })
{
    IWatcher& watcher = *this;
    m_watch.emplace(loop, listenAt(m_path), EPOLLIN, watcher);
    struct stat status {
    };
    if (::lstat(m_path.c_str(), &status) == 0) {
        m_device = status.st_dev;
        m_inode = status.st_ino;
    }
}

ControlListener::~ControlListener() { stop(); }

void ControlListener::goOn()
{
    forEach([](HttpConnection& each) { each.goOn(); });
}

void ControlListener::stop()
{
    m_clients.clear();
    m_check.cancel();
    m_resume.cancel();
    if (!m_watch) return;
    m_watch.reset();
    struct stat status {
    };
    if (::lstat(m_path.c_str(), &status) == 0 && status.st_dev == m_device &&
        status.st_ino == m_inode) {
        ::unlink(m_path.c_str());
    }
}

void ControlListener::onReady(std::uint32_t)
{
    try {
        for (int i = 0; i < kAcceptsInATurn; ++i) {
            Descriptor socket(
                ::accept4(m_watch->descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
            if (socket) {
                admit(std::move(socket));
                continue;
            }
            if (errno == EAGAIN) return;
            if (errno == EINTR || errno == ECONNABORTED) continue;
            m_log.error(kNotTaken, std::generic_category().message(errno));
            m_watch->setEvents(0);
            m_resume.start(kAcceptPauseMs);
            return;
        }
    } catch (const std::exception& error) {
        m_log.error(kNotTaken, error.what());
    }
}

void ControlListener::remove(HttpConnection& connection)
{
    const auto found = std::find_if(m_clients.begin(), m_clients.end(),
                                    [&](HttpConnection& each) { return &each == &connection; });
    m_clients.erase(found);
}

void ControlListener::callBy(std::int64_t dueMs)
{
    if (m_checkAtMs && *m_checkAtMs <= dueMs) return;
    m_checkAtMs = dueMs;
    m_check.start(dueMs - m_loop.nowMs());
}

void ControlListener::admit(Descriptor socket)
{
    Caller caller = callerOf(socket.get());
    const bool hasRoom = makeRoom(caller);
    if (!hasRoom) {
        ++m_turnedAway;
        m_log.warn("a control connection is refused: too many are open", textOf(caller));
        if (m_clients.size() >= kMaxClients + kMaxTurnedAway) return;
    }
    m_clients.emplace_back(m_loop, std::move(socket), std::move(caller), m_handler,
                           static_cast<HttpConnection::IOwner&>(*this));
    if (!hasRoom) m_clients.back().turnAway(Refusal::kTooManyClients);
}

bool ControlListener::makeRoom(const Caller& caller)
{
    const bool isTrusted = caller.uid && (*caller.uid == 0 || *caller.uid == ::geteuid());
    const auto isSameUser = [&](const HttpConnection& each) {
        return each.caller().uid == caller.uid;
    };
    const auto ofUser =
        static_cast<std::size_t>(std::count_if(m_clients.begin(), m_clients.end(), isSameUser));
    const bool isUsersFull = !isTrusted && ofUser >= kMaxClientsOfAUser;
    if (!isUsersFull && m_clients.size() < kMaxClients) return true;
    HttpConnection* idle = nullptr;
    for (HttpConnection& each : m_clients) {
        if (!each.isIdle() || m_loop.nowMs() - each.sinceMs() < kAtRestMs) continue;
        if (isUsersFull && !isSameUser(each)) continue;
        if (idle == nullptr || each.sinceMs() < idle->sinceMs()) idle = &each;
    }
    if (idle == nullptr) return false;
    remove(*idle);
    return true;
}

void ControlListener::checkTimes()
{
    m_checkAtMs.reset();
    forEach([](HttpConnection& each) { each.checkTime(); });
}

// The action may end the connection that it is for, and no other.
template <class Action>
void ControlListener::forEach(Action action)
{
    for (auto each = m_clients.begin(); each != m_clients.end();) {
        HttpConnection& connection = *each++;
        action(connection);
    }
}

}  // namespace vpnd
