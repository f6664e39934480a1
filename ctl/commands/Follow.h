#pragma once

#include "ctl/client/ControlClient.h"
#include "ctl/commands/Context.h"

#include <functional>
#include <string>

namespace ctl
{

// The service's control interface, as the options in front of the command name it.
[[nodiscard]] ControlClient clientOf(const Context& context);

// Whether waiting makes no difference: not allowed, another version, wrong use.
[[nodiscard]] bool isFinal(const Failure& failure);

// Who reads the service's events.
struct Reader {
    // False ends it.
    std::function<bool(const Event& event, const Json& data)> take;
    // The service is gone, or not there yet; once until it is back.
    std::function<void(const Failure& failure)> lost;
    std::function<void()> back;
};

// Reads events, behind the row of lastEventId where that is not empty, until the reader has
// enough. Connects anew after a loss and goes on where it was. Raises what isFinal().
void follow(const Context& context, std::string lastEventId, const Reader& reader);

}  // namespace ctl
