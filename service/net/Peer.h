#pragma once

#include <sys/types.h>

#include <optional>

namespace vpnd
{

// Who is at the other end of a connection, as the kernel tells it.
struct Peer {
    std::optional<uid_t> uid;  // nothing: nobody that is known
};

}  // namespace vpnd
