#pragma once

#include "common/Descriptor.h"
#include "service/net/Endpoint.h"

#include <stdexcept>
#include <string>
#include <system_error>

namespace vpnd
{

// Why the sockets that this process was started with are not those that it wants: a sentence
// for the administrator.
class InheritedSocketError : public std::runtime_error
{
public:
    explicit InheritedSocketError(const std::string& what) : std::runtime_error(what) {}
};

// The address cannot be listened at.
class ListenError : public std::system_error
{
public:
    using std::system_error::system_error;
};

// A socket that listens there: the one that a socket unit has opened for this process
// ($LISTEN_PID, $LISTEN_FDS), else a new one. Called once in a process: that socket is the
// caller's then.
// Raises InheritedSocketError when there is one that listens elsewhere, or more than one,
// and ListenError when the system refuses.
[[nodiscard]] common::Descriptor listeningSocket(const Endpoint& where);

}  // namespace vpnd
