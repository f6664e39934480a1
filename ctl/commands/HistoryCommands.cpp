#include "ctl/commands/Commands.h"
#include "ctl/commands/Follow.h"
#include "ctl/report/Report.h"
#include "ctl/view/HistoryView.h"
#include "ctl/view/StatusView.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <limits>
#include <memory>

namespace ctl
{
namespace
{

constexpr int kMaxRows = 1000;
constexpr std::int64_t kMaxNumber = std::numeric_limits<std::int64_t>::max();

std::int64_t nowMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// What cannot be followed without a gap, in words.
std::string gapText(const Event& event, const Json& data)
{
    if (event.name == "missed") return textAt(data, "count") + " rows were removed unread";
    return textAt(data, "why") == "other_life"
               ? "the history has begun anew; all of its rows follow"
               : "rows were removed unread; all that there are follow";
}

void tell(const std::string& text) { complain(Failure(kExitDone, text)); }

// Prints what comes, one line for each thing that is new.
class Monitor
{
public:
    Monitor(const Context& context, std::int64_t most) : m_context(context), m_left(most) {}

    bool take(const Event& event, const Json& data)
    {
        const Json whole = {{"event", event.name}, {"id", event.id}, {"data", data}};
        if (m_context.isJson || !m_context.get.empty()) {
            printOne(m_context, whole, [] { return std::string(); });
        } else if (event.name == "status") {
            const std::string line = statusLine(data, m_context.language, m_context.style);
            if (line == m_status) return true;
            m_status = line;
            print(timeText(numberAt(data, "now_ms").value_or(0)) + "  now " + line + "\n");
        } else if (event.name == "history") {
            print(historyLine(data, m_context.language));
        } else if (event.name == "reset" || event.name == "missed") {
            print(timeText(nowMs()) + "  " + gapText(event, data) + "\n");
        } else {
            return true;  // of a later version
        }
        return --m_left > 0;
    }

    void connection(bool isLost, const std::string& why)
    {
        const Json data = {{"lost", isLost}, {"why", why.empty() ? Json(nullptr) : Json(why)}};
        const Json whole = {{"event", "connection"}, {"id", ""}, {"data", data}};
        if (!m_context.get.empty()) return;
        printOne(m_context, whole, [&] {
            return timeText(nowMs()) + "  " +
                   m_context.style(isLost ? Colour::kBad : Colour::kGood,
                                   isLost ? "the service does not answer" : "the service is back") +
                   (why.empty() ? "" : ": " + masked(why)) + "\n";
        });
    }

private:
    static std::string masked(const std::string& text) { return textAt(Json(text), ""); }

    const Context& m_context;
    std::int64_t m_left;
    std::string m_status;
};

Json readHistory(const Context& context, int limit, std::int64_t after)
{
    if (!context.reportFile.empty()) return partOf(readReport(context.reportFile), "history");
    std::string target = "/v1/history?limit=" + std::to_string(limit);
    if (after >= 0) target += "&after=" + std::to_string(after);
    return clientOf(context).get(target);
}

void followHistory(const Context& context, const Json& history)
{
    const auto printRow = [&](const Json& row) {
        printOne(context, row, [&] { return historyLine(row, context.language); });
    };
    if (const Json* const rows = find(history, "entries")) {
        for (const Json& row : *rows) printRow(row);
    }
    const std::string from = textAt(history, "life") + "-" + textAt(history, "next_after");
    follow(context, from,
           {[&](const Event& event, const Json& data) {
                if (event.name == "history") printRow(data);
                if (event.name == "reset" || event.name == "missed") tell(gapText(event, data));
                return true;
            },
            [](const Failure& failure) { tell(failure.what()); },
            [] { tell("the service is back"); }});
}

}  // namespace

void addHistoryCommand(CLI::App& app, Context& context)
{
    CLI::App* const command =
        app.add_subcommand("history", "What has happened: states, changes, refused requests");
    struct Wanted {
        int limit = 50;
        std::int64_t after = -1;
        bool isFollowed = false;
    };
    const auto wanted = std::make_shared<Wanted>();
    command->add_option("--limit", wanted->limit, "Most rows, the newest")
        ->type_name("ROWS")
        ->check(CLI::Range(1, kMaxRows))
        ->capture_default_str();
    command->add_option("--after", wanted->after, "Only rows behind that of this number")
        ->type_name("ROW")
        ->check(CLI::Range(std::int64_t{0}, kMaxNumber));
    command->add_flag("--follow", wanted->isFollowed,
                      "Then print each new row, until Ctrl-C; connects anew after a loss");
    command->footer(
        "With --follow and --json each row is one line of JSON; gaps and losses are told on\n"
        "standard error. Exit codes: 0 done, and those of every command.");
    command->callback([&context, wanted] {
        if (wanted->isFollowed && !context.reportFile.empty()) {
            throw Failure(kExitUsage, "a report has no history that goes on: --follow or --from");
        }
        const Json history = readHistory(context, wanted->limit, wanted->after);
        if (wanted->isFollowed) return followHistory(context, history);
        printResult(context, history, [&] { return historyText(history, context.language); });
    });
}

void addMonitorCommand(CLI::App& app, Context& context)
{
    CLI::App* const command = app.add_subcommand(
        "monitor", "Print state and history as they change, until Ctrl-C; connects anew");
    const auto most = std::make_shared<std::int64_t>(kMaxNumber);
    command->add_option("--count", *most, "End after so many lines")
        ->type_name("LINES")
        ->check(CLI::Range(std::int64_t{1}, kMaxNumber));
    command->footer(
        "Each line begins with its time. With --json each event is one line:\n"
        "{\"event\": \"status\", \"id\": ..., \"data\": ...}; besides status, history, reset and "
        "missed\n"
        "there is connection, with lost true or false. No row is printed twice, and rows that\n"
        "were missed while the service was away are told.\n"
        "Exit codes: 0 --count is reached, 7 not allowed, 10 another version.");
    command->callback([&context, most] {
        Monitor monitor(context, *most);
        follow(context, {},
               {[&](const Event& event, const Json& data) { return monitor.take(event, data); },
                [&](const Failure& failure) { monitor.connection(true, failure.what()); },
                [&] { monitor.connection(false, {}); }});
    });
}

}  // namespace ctl
