#include "ctl/commands/Follow.h"

#include <poll.h>

#include <stdexcept>

namespace ctl
{
namespace
{

using QZ::Net::Deadline;

constexpr int kNextTryMs = 500;
// Any wait for an event; the stream itself says when nobody is there any more.
constexpr unsigned int kWaitMs = 60 * 1000;

Json dataOf(const Event& event)
{
    try {
        return parseJson(event.data);
    } catch (const std::invalid_argument& error) {
        throw Failure(kExitStuck, std::string("an event of the service is ") + error.what());
    }
}

}  // namespace

ControlClient clientOf(const Context& context)
{
    return ControlClient(context.control, context.timeoutMs(), context.language);
}

bool isFinal(const Failure& failure)
{
    return failure.exitCode() != kExitNoService && failure.exitCode() != kExitStuck;
}

void follow(const Context& context, std::string lastEventId, const Reader& reader)
{
    bool isLost = false;
    while (true) {
        try {
            EventStream stream = clientOf(context).events(lastEventId);
            while (!stream.isDead()) {
                const std::optional<Event> event = stream.next(Deadline(kWaitMs));
                if (!event) continue;
                if (isLost) reader.back();
                isLost = false;
                if (!reader.take(*event, dataOf(*event))) return;
                lastEventId = event->id;
            }
            throw Failure(kExitStuck, "the service at " + context.control + " is silent");
        } catch (const Failure& failure) {
            if (isFinal(failure)) throw;
            if (!isLost) reader.lost(failure);
            isLost = true;
        }
        ::poll(nullptr, 0, kNextTryMs);
    }
}

}  // namespace ctl
