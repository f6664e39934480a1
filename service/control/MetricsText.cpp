#include "service/control/MetricsText.h"

#include "service/core/States.h"

#include <spdlog/fmt/fmt.h>

#include <algorithm>
#include <string_view>

namespace vpnd
{
namespace
{

class Writer
{
public:
    void family(std::string_view name, std::string_view type, std::string_view help)
    {
        m_name = name;
        text += fmt::format("# TYPE orva_vpn_{0} {1}\n# HELP orva_vpn_{0} {2}\n", name, type, help);
    }
    // labels: {a="b"} or nothing. No value holds a quote, a backslash or a line end.
    template <class Value>
    void sample(std::string_view suffix, const std::string& labels, Value value)
    {
        text += fmt::format("orva_vpn_{}{}{} {}\n", m_name, suffix, labels, value);
    }
    template <class Value>
    void counter(std::string_view name, std::string_view help, Value value)
    {
        family(name, "counter", help);
        sample("_total", "", value);
    }

    std::string text;

private:
    std::string_view m_name;
};

double seconds(std::int64_t us) { return static_cast<double>(us) / 1e6; }

void write(Writer& writer, const char* interface, const std::vector<CallCounter>& calls)
{
    for (const CallCounter& call : calls) {
        const Latencies& latencies = call.latencies;
        const std::string which =
            fmt::format("interface=\"{}\",method=\"{}\"", interface, call.method);
        std::uint64_t sum = 0;
        for (std::size_t i = 0; i < latencies.counts.size(); ++i) {
            sum += latencies.counts[i];
            const bool isLast = i == Latencies::kBoundsUs.size();
            const std::string bound =
                isLast ? "+Inf" : fmt::format("{}", seconds(Latencies::kBoundsUs[i]));
            writer.sample("_bucket", fmt::format("{{{},le=\"{}\"}}", which, bound), sum);
        }
        writer.sample("_count", "{" + which + "}", latencies.count);
        writer.sample("_sum", "{" + which + "}",
                      fmt::format("{:.6f}", static_cast<double>(latencies.sumUs) / 1e6));
    }
}

}  // namespace

std::string metricsText(const ControlFacts& facts, const Controller& controller,
                        const History& history, const std::vector<CallCounter>& controlCalls,
                        std::uint64_t controlRefused)
{
    const Counters& counters = controller.counters();
    Writer writer;
    writer.text = fmt::format(
        "# TYPE orva_vpn info\n# HELP orva_vpn Version and kind of tunnel.\n"
        "orva_vpn_info{{version=\"{}\",tunnel=\"{}\"}} 1\n",
        facts.version, facts.tunnel);
    writer.family("start_time_seconds", "gauge", "When the service began, since 1970.");
    writer.sample("", "", fmt::format("{:.3f}", static_cast<double>(facts.startedWallMs) / 1e3));

    writer.family("state", "stateset", "The present state.");
    const std::int32_t number = controller.stateNumber();
    for (const StateText& each : states()) {
        writer.sample("", fmt::format("{{orva_vpn_state=\"{}\"}}", each.name),
                      each.number == number ? 1 : 0);
    }
    writer.sample("", "{orva_vpn_state=\"fault\"}", number > kStateFaultBase ? 1 : 0);

    writer.counter("setting_changes", "Settings that were changed and stored.",
                   counters.settingChanges);
    writer.counter("changes_not_stored", "Changes that could not be stored.",
                   counters.changesNotStored);
    writer.counter("attempts", "Attempts to reach the server.", counters.attempts);
    writer.counter("connections", "Attempts that came to a connection.", counters.connections);
    writer.family("faults", "counter", "Attempts and connections that failed.");
    for (const ReasonText& each : reasons()) {
        writer.sample("_total", fmt::format("{{reason=\"{}\"}}", each.name),
                      counters.faults.at(static_cast<std::size_t>(each.number())));
    }
    writer.family("traffic_bytes", "counter", "Bytes through the tunnel.");
    writer.sample("_total", "{direction=\"received\"}", counters.receivedBytes);
    writer.sample("_total", "{direction=\"sent\"}", counters.sentBytes);

    writer.family("call_seconds", "histogram", "From the request to its answer.");
    write(writer, "rpc", *facts.rpcCalls);
    write(writer, "control", controlCalls);
    writer.family("clients", "gauge", "Open connections.");
    writer.sample("", "{interface=\"rpc\"}", facts.rpcClients());
    writer.sample("", "{interface=\"control\"}", facts.controlClients());
    writer.family("refused_calls", "counter", "Requests that are none, or not allowed.");
    writer.sample("_total", "{interface=\"rpc\"}", facts.rpcRefused() + counters.notAllowedRpc);
    writer.sample("_total", "{interface=\"control\"}",
                  controlRefused + facts.controlTurnedAway() + counters.notAllowedControl);
    writer.family("history_rows", "gauge", "Rows of the history.");
    writer.sample("", "", history.entries().size());
    writer.text += "# EOF\n";
    return writer.text;
}

}  // namespace vpnd
