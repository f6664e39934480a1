#include "service/daemon/Readiness.h"

#include "common/Descriptor.h"

#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <optional>
#include <string_view>

namespace vpnd
{
namespace
{

constexpr timeval kLongestWait = {0, 500 * 1000};
constexpr std::int64_t kUsInMs = 1000;

std::string environment(const char* name)
{
    const char* const value = std::getenv(name);
    return value == nullptr ? "" : value;
}

std::optional<std::int64_t> numberIn(const std::string& text)
{
    std::int64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stop != end || number <= 0) return std::nullopt;
    return number;
}

// How often the watchdog wants to be fed; 0 for never.
std::int64_t feedMs(const std::string& usec, const std::string& pid)
{
    if (!pid.empty() && numberIn(pid) != ::getpid()) return 0;
    const std::optional<std::int64_t> allowed = numberIn(usec);
    return allowed ? std::max(*allowed / 2 / kUsInMs, std::int64_t{1}) : 0;
}

// A message's values are single lines.
std::string firstLine(const std::string& text) { return text.substr(0, text.find('\n')); }

}  // namespace

// The socket of the service manager.
class Readiness::Manager
{
public:
    // Nothing when there is none at such an address: a path from "/" on, or a name from "@" on.
    static std::unique_ptr<Manager> at(const std::string& address)
    {
        if (address.size() < 2 || (address[0] != '/' && address[0] != '@')) return nullptr;
        sockaddr_un name{};
        if (address.size() >= sizeof name.sun_path) return nullptr;
        name.sun_family = AF_UNIX;
        std::memcpy(name.sun_path, address.data(), address.size());
        if (address[0] == '@') name.sun_path[0] = '\0';
        common::Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
        if (!socket) return nullptr;
        ::setsockopt(socket.get(), SOL_SOCKET, SO_SNDTIMEO, &kLongestWait, sizeof kLongestWait);
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
        return std::unique_ptr<Manager>(new Manager(std::move(socket), name, size));
    }

    void send(std::string_view message, int flags = 0) const
    {
        const void* const name = &m_name;
        ::sendto(m_socket.get(), message.data(), message.size(), MSG_NOSIGNAL | flags,
                 static_cast<const sockaddr*>(name), m_size);
    }

private:
    Manager(common::Descriptor socket, const sockaddr_un& name, socklen_t size)
        : m_socket(std::move(socket)), m_name(name), m_size(size)
    {
    }

    common::Descriptor m_socket;
    sockaddr_un m_name;
    socklen_t m_size;
};

Readiness::Readiness(EventLoop& loop)
    : m_manager(Manager::at(environment("NOTIFY_SOCKET"))), m_watchdog(loop, [this] { feed(); })
{
    if (m_manager) m_feedMs = feedMs(environment("WATCHDOG_USEC"), environment("WATCHDOG_PID"));
}

Readiness::~Readiness() = default;

void Readiness::ready(const std::string& status)
{
    if (!m_manager) return;
    m_manager->send("READY=1\nSTATUS=" + firstLine(status));
    if (!m_watchdog.isRunning()) feed();
}

void Readiness::reloading()
{
    if (!m_manager) return;
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    const std::chrono::nanoseconds since =
        std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
    // The time tells the manager which of its requests is meant.
    m_manager->send(
        "RELOADING=1\nMONOTONIC_USEC=" +
        std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(since).count()));
}

void Readiness::stopping()
{
    if (m_manager) m_manager->send("STOPPING=1");
}

void Readiness::tellFailure(const std::string& why)
{
    const std::unique_ptr<Manager> manager = Manager::at(environment("NOTIFY_SOCKET"));
    if (manager) manager->send("STATUS=" + firstLine(why));
}

void Readiness::feed()
{
    if (m_feedMs == 0) return;
    m_manager->send("WATCHDOG=1", MSG_DONTWAIT);
    m_watchdog.start(m_feedMs);
}

}  // namespace vpnd
