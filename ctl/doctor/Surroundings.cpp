#include "ctl/doctor/Surroundings.h"

#include "common/Descriptor.h"

#include <arpa/inet.h>
#include <ifaddrs.h>
#include <net/if.h>
#include <netdb.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <system_error>
#include <thread>

namespace ctl
{
namespace
{

constexpr std::size_t kMaxAddresses = 16;
constexpr std::uint16_t kAnyPort = 9;

// Both families: the address of whichever there is.
std::string addressText(const sockaddr* address)
{
    char text[INET6_ADDRSTRLEN] = {};
    const void* bytes = nullptr;
    sockaddr_in four = {};
    sockaddr_in6 six = {};
    if (address->sa_family == AF_INET) {
        std::memcpy(&four, address, sizeof four);
        bytes = &four.sin_addr;
    } else if (address->sa_family == AF_INET6) {
        std::memcpy(&six, address, sizeof six);
        bytes = &six.sin6_addr;
    }
    if (bytes == nullptr || ::inet_ntop(address->sa_family, bytes, text, sizeof text) == nullptr) {
        return {};
    }
    return text;
}

ISurroundings::Name askNameServers(const std::string& host)
{
    ISurroundings::Name name;
    addrinfo hints = {};
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (error != 0) {
        name.problem = ::gai_strerror(error);
        return name;
    }
    for (const addrinfo* each = found; each != nullptr && name.addresses.size() < kMaxAddresses;
         each = each->ai_next) {
        std::string text = addressText(each->ai_addr);
        if (!text.empty()) name.addresses.push_back(std::move(text));
    }
    ::freeaddrinfo(found);
    if (name.addresses.empty()) name.problem = "it has no address";
    return name;
}

}  // namespace

std::int64_t Surroundings::nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

ISurroundings::Name Surroundings::resolve(const std::string& host, unsigned int timeoutMs)
{
    // The thread's too: it may live longer than whoever waits.
    struct Shared {
        std::mutex mutex;
        std::condition_variable changed;
        std::optional<Name> name;
    };
    const auto shared = std::make_shared<Shared>();
    try {
        std::thread([shared, host] {
            Name name = askNameServers(host);
            const std::lock_guard<std::mutex> lock(shared->mutex);
            shared->name = std::move(name);
            shared->changed.notify_one();
        }).detach();
    } catch (const std::system_error& error) {
        Name name;
        name.problem = error.what();
        name.wasAnswered = false;
        return name;
    }
    std::unique_lock<std::mutex> lock(shared->mutex);
    if (!shared->changed.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                                  [&] { return shared->name.has_value(); })) {
        Name name;
        name.wasAnswered = false;
        return name;
    }
    return *shared->name;
}

std::string Surroundings::sourceTowards(const std::string& address)
{
    sockaddr_storage storage = {};
    socklen_t length = 0;
    sockaddr_in four = {};
    sockaddr_in6 six = {};
    if (::inet_pton(AF_INET, address.c_str(), &four.sin_addr) == 1) {
        four.sin_family = AF_INET;
        four.sin_port = htons(kAnyPort);
        length = sizeof four;
        std::memcpy(&storage, &four, length);
    } else if (::inet_pton(AF_INET6, address.c_str(), &six.sin6_addr) == 1) {
        six.sin6_family = AF_INET6;
        six.sin6_port = htons(kAnyPort);
        length = sizeof six;
        std::memcpy(&storage, &six, length);
    } else {
        return {};
    }
    // Connecting a datagram socket looks the way up and sends nothing.
    const common::Descriptor socket(::socket(storage.ss_family, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const auto* const to = reinterpret_cast<const sockaddr*>(&storage);
    if (!socket || ::connect(socket.get(), to, length) != 0) return {};
    length = sizeof storage;
    auto* const own = reinterpret_cast<sockaddr*>(&storage);
    return ::getsockname(socket.get(), own, &length) == 0 ? addressText(own) : std::string();
}

std::vector<ISurroundings::Network> Surroundings::networks()
{
    std::vector<Network> all;
    ifaddrs* first = nullptr;
    if (::getifaddrs(&first) != 0) return all;
    for (const ifaddrs* each = first; each != nullptr; each = each->ifa_next) {
        if (each->ifa_addr == nullptr || each->ifa_netmask == nullptr ||
            each->ifa_addr->sa_family != AF_INET || (each->ifa_flags & IFF_LOOPBACK) != 0) {
            continue;
        }
        sockaddr_in mask = {};
        std::memcpy(&mask, each->ifa_netmask, sizeof mask);
        Network network;
        network.interface = each->ifa_name;
        network.address = addressText(each->ifa_addr);
        network.prefix = __builtin_popcount(mask.sin_addr.s_addr);
        all.push_back(std::move(network));
    }
    ::freeifaddrs(first);
    return all;
}

std::string Surroundings::findProgram(const std::string& name)
{
    // Where the service looks; a user's own PATH may lack the folders of the system.
    for (const char* folder :
         {"/usr/local/sbin/", "/usr/local/bin/", "/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
        const std::string path = folder + name;
        if (::access(path.c_str(), X_OK) == 0) return path;
    }
    return {};
}

}  // namespace ctl
