#pragma once

#include <cstdint>
#include <string>

namespace QZ::Net
{

// What every failed exchange raises. On purpose not derived from std::exception:
// a handler for that type must not swallow it.
class Exception
{
public:
    // Copies both texts; null becomes empty.
    Exception(const char* func, const char* info);

    const char* func() const { return m_func.c_str(); }
    const char* info() const { return m_info.c_str(); }

private:
    std::string m_func;
    std::string m_info;
};

// An IPv4 address with a port, from a text such as "127.0.0.1:9009".
class Address
{
public:
    // Raises Exception when the text is not a dotted quad, ":" and a port of 1 to 65535.
    explicit Address(const char* text);

    std::uint32_t ip() const { return m_ip; }      // host byte order
    std::uint16_t port() const { return m_port; }  // host byte order

private:
    std::uint32_t m_ip = 0;
    std::uint16_t m_port = 0;
};

// Makes the connected sockets of a client.
class IClientFactory
{
public:
    virtual ~IClientFactory() = default;
    // A connected stream socket in blocking mode, close-on-exec; the caller
    // closes it. -1 when there is no connection within timeOutMs milliseconds.
    virtual int connect(const Address& address, unsigned int timeOutMs) = 0;
};

class TCPClient
{
public:
    // A factory for TCP connections without delay; whoever takes it owns it.
    static IClientFactory* NewFactory();
};

}  // namespace QZ::Net
