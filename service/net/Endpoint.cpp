#include "service/net/Endpoint.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

namespace vpnd
{
namespace
{

// The system has one name for addresses of all families, and other sizes behind it.
sockaddr* plain(sockaddr_storage& storage)
{
    void* const any = &storage;
    return static_cast<sockaddr*>(any);
}

const sockaddr* plain(const sockaddr_storage& storage)
{
    const void* const any = &storage;
    return static_cast<const sockaddr*>(any);
}

template <class Address>
Address as(const sockaddr_storage& storage)
{
    Address address;
    std::memcpy(&address, &storage, sizeof address);
    return address;
}

bool readAddress(const std::string& host, bool isV6, sockaddr_storage& storage)
{
    // Reads "127.1" too, which looks like an address and is more likely a slip.
    in_addr strict;
    if (!isV6 && ::inet_pton(AF_INET, host.c_str(), &strict) != 1) return false;
    addrinfo hints{};
    hints.ai_family = isV6 ? AF_INET6 : AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICHOST;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), nullptr, &hints, &found) != 0) return false;
    const std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)> owner(found, &::freeaddrinfo);
    std::memcpy(&storage, found->ai_addr, found->ai_addrlen);
    return true;
}

}  // namespace

std::optional<Endpoint> Endpoint::parse(const std::string& text)
{
    const std::size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) return std::nullopt;
    std::string host = text.substr(0, colon);
    const bool bracketed = host.size() >= 2 && host.front() == '[' && host.back() == ']';
    if (bracketed) host = host.substr(1, host.size() - 2);

    const char* portEnd = text.data() + text.size();
    std::uint16_t port = 0;
    const auto [end, portError] = std::from_chars(text.data() + colon + 1, portEnd, port);
    if (portError != std::errc() || end != portEnd) return std::nullopt;

    Endpoint endpoint;
    if (!readAddress(host, bracketed, endpoint.m_storage)) return std::nullopt;
    // At the same place in both families.
    static_assert(offsetof(sockaddr_in, sin_port) == offsetof(sockaddr_in6, sin6_port));
    sockaddr_in head = as<sockaddr_in>(endpoint.m_storage);
    head.sin_port = htons(port);
    std::memcpy(&endpoint.m_storage, &head, sizeof head);
    return endpoint;
}

Endpoint Endpoint::ofSocket(int descriptor)
{
    Endpoint endpoint;
    socklen_t size = sizeof endpoint.m_storage;
    ::getsockname(descriptor, plain(endpoint.m_storage), &size);
    return endpoint;
}

std::string Endpoint::text() const
{
    char host[NI_MAXHOST] = {};
    char port[NI_MAXSERV] = {};
    ::getnameinfo(address(), size(), host, sizeof host, port, sizeof port,
                  NI_NUMERICHOST | NI_NUMERICSERV);
    return (family() == AF_INET6 ? "[" + std::string(host) + "]:" : std::string(host) + ":") + port;
}

bool Endpoint::isLoopback() const
{
    if (family() == AF_INET6) {
        const in6_addr address = as<sockaddr_in6>(m_storage).sin6_addr;
        return IN6_IS_ADDR_LOOPBACK(&address);
    }
    return ntohl(as<sockaddr_in>(m_storage).sin_addr.s_addr) >> 24 == IN_LOOPBACKNET;
}

const sockaddr* Endpoint::address() const { return plain(m_storage); }

socklen_t Endpoint::size() const
{
    return family() == AF_INET6 ? sizeof(sockaddr_in6) : sizeof(sockaddr_in);
}

}  // namespace vpnd
