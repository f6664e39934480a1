#pragma once

#include "common/Descriptor.h"
#include "platform/Deadline.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace ctl
{

// A connection to a Unix socket. Every operation ends at its deadline. What stops one leaves
// as Failure: nobody there, not allowed, or stuck.
class LocalSocket
{
public:
    LocalSocket(const std::string& path, const QZ::Net::Deadline& deadline);

    void send(std::string_view bytes, const QZ::Net::Deadline& deadline);
    // As many bytes as there are, one at least; 0 when the other side has closed.
    std::size_t receive(char* bytes, std::size_t size, const QZ::Net::Deadline& deadline);
    // Whether the other side sends something, or closes, by then.
    bool hasMore(const QZ::Net::Deadline& deadline) const;

private:
    std::string m_path;
    common::Descriptor m_socket;
};

}  // namespace ctl
