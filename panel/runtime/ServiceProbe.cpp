#include "panel/runtime/ServiceProbe.h"

#include "common/Descriptor.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <mutex>

namespace panel
{

namespace
{

constexpr int kLongestProbeMs = 500;

// 0 or what went wrong.
int connectError()
{
    const common::Descriptor probe(
        ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!probe) return errno;
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(kServicePort);
    ::inet_pton(AF_INET, kServiceAddress, &address.sin_addr);
    if (::connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return 0;
    }
    if (errno != EINPROGRESS) return errno;
    pollfd entry = {probe.get(), POLLOUT, 0};
    if (::poll(&entry, 1, kLongestProbeMs) <= 0) return ETIMEDOUT;
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(probe.get(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

std::string look()
{
    const std::string where = std::string(kServiceAddress) + ":" + std::to_string(kServicePort);
    const int error = connectError();
    if (error == 0) return "somebody listens at " + where + ", but does not answer as the service";
    if (error == ECONNREFUSED) return "nobody listens at " + where + "; is orva-vpnd running?";
    return "no way to " + where + ": " + std::strerror(error);
}

}  // namespace

std::string lookAtService()
{
    // Devices that all fail in every cycle must not become a burden for the service.
    constexpr std::chrono::seconds kFresh{1};
    static std::mutex mutex;
    static std::chrono::steady_clock::time_point looked;
    static std::string said;
    const std::lock_guard<std::mutex> lock(mutex);
    const auto now = std::chrono::steady_clock::now();
    if (said.empty() || now - looked >= kFresh) {
        said = look();
        looked = now;
    }
    return said;
}

}  // namespace panel
