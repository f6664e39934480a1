#pragma once

#include "service/base/CountedLog.h"
#include "service/base/EventLoop.h"
#include "service/control/HttpConnection.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <optional>
#include <stdexcept>
#include <string>

namespace vpnd
{

// Why there is no control socket: a sentence for the administrator.
class ControlError : public std::runtime_error
{
public:
    explicit ControlError(const std::string& what) : std::runtime_error(what) {}
};

// Takes connections at a Unix socket and knows whose they are. Runs on the loop's one thread.
class ControlListener final : private IWatcher, private HttpConnection::IOwner
{
public:
    // Beyond them a new one takes the place of the one that has been idle for longest, else it
    // is told that there are too many. Of one user, who is not root or the service, fewer: one
    // user cannot keep all others out.
    static constexpr std::size_t kMaxClients = 64;
    static constexpr std::size_t kMaxClientsOfAUser = 24;

    // Listens from here on, at a socket that everybody may open. One that nobody listens at any
    // more is replaced. Borrows all but the path. Raises ControlError.
    ControlListener(EventLoop& loop, std::string path, IHttpHandler& handler, CountedLog& log);
    // Removes the socket, unless it is another's by now.
    ~ControlListener();
    ControlListener(const ControlListener&) = delete;
    ControlListener& operator=(const ControlListener&) = delete;

    const std::string& path() const { return m_path; }
    std::size_t clientCount() const { return m_clients.size(); }
    std::uint64_t turnedAway() const { return m_turnedAway; }

    // Bodies that are made piece by piece may have something.
    void goOn();
    // Closes everything. Not from within a request.
    void stop();

private:
    using Clients = std::list<HttpConnection>;

    void onReady(std::uint32_t events) override;
    void remove(HttpConnection& connection) override;
    void callBy(std::int64_t dueMs) override;
    void admit(Descriptor socket);
    bool makeRoom(const Caller& caller);
    void checkTimes();
    template <class Action>
    void forEach(Action action);

    EventLoop& m_loop;
    const std::string m_path;
    IHttpHandler& m_handler;
    CountedLog& m_log;
    std::optional<Watch> m_watch;
    dev_t m_device = 0;
    ino_t m_inode = 0;
    Clients m_clients;  // the one that came first at the front
    std::uint64_t m_turnedAway = 0;
    std::optional<std::int64_t> m_checkAtMs;
    Timer m_check;
    Timer m_resume;
};

}  // namespace vpnd
