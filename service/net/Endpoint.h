#pragma once

#include <sys/socket.h>

#include <optional>
#include <string>

namespace vpnd
{

// A numeric address with its port.
class Endpoint
{
public:
    // The address in a text such as "127.0.0.1:9009" or "[::1]:9009"; port 0 lets
    // the system choose. Nothing when it is neither; names are not resolved.
    [[nodiscard]] static std::optional<Endpoint> parse(const std::string& text);
    // Where a socket is bound.
    static Endpoint ofSocket(int descriptor);

    // As parse() reads it.
    std::string text() const;
    bool isLoopback() const;
    int family() const { return m_storage.ss_family; }
    // For the system's calls; valid as long as this is.
    const sockaddr* address() const;
    socklen_t size() const;

private:
    sockaddr_storage m_storage{};
};

}  // namespace vpnd
