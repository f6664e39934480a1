#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace vpnd
{

// Over which interface something is asked for.
enum class Interface {
    kService,  // the service itself: its start, its end, its configuration
    kRpc,      // docs/rpc-protocol.md
    kControl,
};

// "service", "rpc", "control": as in log and history.
[[nodiscard]] const char* nameOf(Interface interface);

// Who asks for something, as the kernel tells it.
struct Caller {
    Interface interface = Interface::kRpc;
    std::optional<uid_t> uid;  // nothing: nobody that is known
    std::string program;       // name of the process, where that can be known; else empty
};

[[nodiscard]] Caller theService();

[[nodiscard]] bool operator==(const Caller& a, const Caller& b);

// "uid 1000 over rpc", "nobody known over rpc", "the service".
[[nodiscard]] std::string textOf(const Caller& caller);

}  // namespace vpnd
