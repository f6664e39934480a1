#include "ctl/commands/Commands.h"
#include "ctl/commands/Follow.h"
#include "ctl/report/Report.h"
#include "ctl/view/StatusView.h"
#include "service/core/States.h"

#include <poll.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

namespace ctl
{
namespace
{

using QZ::Net::Deadline;

constexpr int kNextTryMs = 200;
constexpr double kLongestWaitS = 86400;

std::int64_t stateNumber(const Json& status)
{
    return numberAt(status, "state.number").value_or(vpnd::kStateFaultBase);
}

std::vector<std::string> waitedFor()
{
    std::vector<std::string> names;
    for (const vpnd::StateText& each : vpnd::states()) names.emplace_back(each.name);
    names.emplace_back("fault");
    return names;
}

// "connected" counts when there is an address too.
bool isReached(const Json& status, const std::string& wanted)
{
    if (textAt(status, "state.name") != wanted) return false;
    return wanted != "connected" || !textAt(status, "vpn_address").empty();
}

unsigned int leftMs(const Deadline& end)
{
    return static_cast<unsigned int>(std::max(1, end.pollTimeoutMs()));
}

// Reads events until the state is there; false when the time is over. seen: what there was.
bool readUntil(const std::string& wanted, const Context& context, const Deadline& end,
               std::string& seen, Json& status)
{
    const ControlClient client(context.control, std::min(context.timeoutMs(), leftMs(end)),
                               context.language);
    EventStream stream = client.events({});
    while (const std::optional<Event> event = stream.next(end)) {
        if (event->name != "status") continue;
        status = parseJson(event->data);
        seen = statusLine(status, context.language, Style(false));
        if (isReached(status, wanted)) return true;
        // None ends by itself.
        if (exitCodeOf(stateNumber(status)) == kExitFault) {
            throw Failure(kExitFault, "waited for " + wanted + " and came to " + seen);
        }
    }
    return false;
}

void waitFor(const std::string& wanted, double timeoutS, Context& context)
{
    const Deadline end(static_cast<unsigned int>(timeoutS * 1000));
    std::string seen = "nothing";
    while (true) {
        Json status;
        try {
            if (readUntil(wanted, context, end, seen, status)) {
                context.exitCode = kExitDone;
                return printResult(context, status, [&] {
                    return statusLine(status, context.language, context.style) + "\n";
                });
            }
        } catch (const Failure& failure) {
            if (isFinal(failure)) throw;
            seen = failure.what();
        } catch (const std::invalid_argument& error) {
            seen = std::string("an event that is ") + error.what();
        }
        if (end.passed()) {
            const auto ms = static_cast<std::int64_t>(timeoutS * 1000);
            throw Failure(kExitTimeOver,
                          "not " + wanted + " within " +
                              (ms < 1000 ? std::to_string(ms) + " ms" : durationText(ms)) +
                              "; the last that was seen: " + seen);
        }
        ::poll(nullptr, 0, std::min(kNextTryMs, end.pollTimeoutMs()));
    }
}

}  // namespace

void addStatusCommand(CLI::App& app, Context& context)
{
    CLI::App* const command = app.add_subcommand(
        "status", "State, reason and remedy, switches, settings, traffic, certificates");
    command->footer(
        "Exit codes: by the state: 0 connected, 3 idle or stopping, 4 trying, 5 fault,\n"
        "6 disabled.\n"
        "Fields of --get: state.name, vpn_address, settings.server ... as in --json.");
    command->callback([&context] {
        const Json status = context.reportFile.empty()
                                ? clientOf(context).get("/v1/status")
                                : partOf(readReport(context.reportFile), "status");
        printResult(context, status,
                    [&] { return statusText(status, context.language, context.style); });
        context.exitCode = exitCodeOf(stateNumber(status));
    });
}

void addWaitCommand(CLI::App& app, Context& context)
{
    CLI::App* const command = app.add_subcommand(
        "wait", "Wait until the VPN is in a state; may begin before the service does");
    struct Wanted {
        std::string state = "connected";
        double timeoutS = 30;
    };
    const auto wanted = std::make_shared<Wanted>();
    command->add_option("--for", wanted->state, "The state; connected means with an address")
        ->type_name("STATE")
        ->check(CLI::IsMember(waitedFor()))
        ->capture_default_str();
    command->add_option("--timeout", wanted->timeoutS, "Seconds to wait")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.0, kLongestWaitS))
        ->capture_default_str();
    command->footer(
        "Exit codes: 0 the state is there, 9 the time is over, 5 a fault came first (none ends\n"
        "by itself), 7 not allowed, 10 a service of another version. A service that is not\n"
        "there, or stuck, is waited for.");
    command->callback([&context, wanted] { waitFor(wanted->state, wanted->timeoutS, context); });
}

}  // namespace ctl
