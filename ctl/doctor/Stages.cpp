#include "ctl/doctor/Stages.h"

#include "ctl/view/StatusView.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <algorithm>
#include <array>
#include <utility>

namespace ctl
{
namespace
{

constexpr std::int64_t kMsPerDay = 24 * 3600 * 1000LL;
// 2026-01-01 and 2100-01-01: a panel without a battery for its clock begins long before.
constexpr std::int64_t kEarliestMs = 1767225600000;
constexpr std::int64_t kLatestMs = 4102444800000;

std::string text(const Json& status, const char* path) { return textAt(status, path); }
bool flag(const Json& status, const char* path) { return flagAt(status, path).value_or(false); }

// What the stages find, and what later ones need to know of earlier ones.
class Examination
{
public:
    Examination(const std::function<Answer()>& ask, ISurroundings& surroundings, Language language)
        : m_ask(ask), m_surroundings(surroundings), m_language(language)
    {
    }

    std::vector<Stage> run()
    {
        // "service" is told first, but what it finds is the caller's stage too.
        time("service", &Examination::service);
        time("caller", &Examination::caller);
        time("clock", &Examination::clock);
        time("store", &Examination::store);
        time("switches", &Examination::switches);
        time("settings", &Examination::settings);
        time("certificates", &Examination::certificates);
        time("name", &Examination::name);
        time("routes", &Examination::routes);
        time("program", &Examination::program);
        time("tunnel", &Examination::tunnel);
        return std::move(m_stages);
    }

private:
    void time(const char* stageName, void (Examination::*look)(Stage&))
    {
        const std::int64_t beganMs = m_surroundings.nowMs();
        Stage stage;
        stage.name = stageName;
        (this->*look)(stage);
        stage.tookMs = std::max<std::int64_t>(0, m_surroundings.nowMs() - beganMs);
        m_stages.push_back(std::move(stage));
    }

    static void good(Stage& stage, std::string found)
    {
        stage.verdict = Verdict::kGood;
        stage.text = std::move(found);
    }
    static void bad(Stage& stage, std::string found, std::string follows, std::string remedy)
    {
        stage.verdict = Verdict::kBad;
        stage.text = std::move(found);
        stage.follows = std::move(follows);
        stage.remedy = std::move(remedy);
    }
    static void unknown(Stage& stage, std::string why) { stage.text = std::move(why); }

    // Whether the service has told its status; if not, says so.
    bool hasStatus(Stage& stage) const
    {
        if (m_status.is_object()) return true;
        unknown(stage, "the service has not told");
        return false;
    }

    bool isGood(const char* stageName) const
    {
        const auto found = std::find_if(m_stages.begin(), m_stages.end(),
                                        [&](const Stage& each) { return each.name == stageName; });
        return found != m_stages.end() && found->verdict == Verdict::kGood;
    }

    void service(Stage& stage)
    {
        Answer answer = m_ask();
        m_failure = std::move(answer.failure);
        m_status = std::move(answer.status);
        if (m_failure && m_failure->exitCode() != kExitRefused) {
            return bad(stage, m_failure->what(),
                       "nobody switches the tunnel, and the panel's driver answers code 1 in "
                       "each cycle.",
                       m_failure->remedy());
        }
        if (m_failure) return good(stage, "it answers");
        good(stage, "orva-vpnd " + text(m_status, "version") + " answers");
    }

    void caller(Stage& stage)
    {
        if (m_failure && m_failure->exitCode() == kExitRefused) {
            return bad(stage, m_failure->what(), "this user sees nothing of the VPN here.",
                       m_failure->remedy());
        }
        if (!hasStatus(stage)) return;
        const std::string uid = text(m_status, "you.uid");
        const std::string who = uid.empty() ? "nobody known" : "uid " + uid;
        if (flag(m_status, "you.may_change")) return good(stage, who + " may read and change");
        good(stage,
             who + " may read and not change; that is " + text(m_status, "you.rules.change"));
    }

    void clock(Stage& stage)
    {
        const std::int64_t nowMs = m_status.is_object() ? numberAt(m_status, "now_ms").value_or(0)
                                                        : m_surroundings.nowMs();
        if (nowMs < kEarliestMs || nowMs > kLatestMs) {
            return bad(stage, "the panel's clock says " + timeText(nowMs) + ", which cannot be",
                       "certificates look expired, or not yet valid, though they are good.",
                       "Set the panel's clock, or let it follow a time server.");
        }
        good(stage, "the panel's clock says " + timeText(nowMs));
        stage.notLookedAt = "whether that is exact; no time server was asked";
    }

    void store(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        const std::string folder = text(m_status, "store.folder");
        if (folder.empty()) return good(stage, "nothing is kept; the configuration wants it so");
        const std::string problem = text(m_status, "store.problem");
        if (!flag(m_status, "store.stores")) {
            return bad(stage, folder + ": " + (problem.empty() ? "nothing is stored" : problem),
                       "settings cannot be changed, and switches are forgotten when the service "
                       "ends.",
                       "Look whether the disk is full or read-only; the service's log tells more.");
        }
        good(stage, folder + (problem.empty() ? "" : ": " + problem));
    }

    void switches(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        constexpr const char* kFollows = "the tunnel stays down.";
        if (!flag(m_status, "switches.enabled")) {
            return bad(stage, "the VPN is disabled", kFollows, "orva-vpnctl enable");
        }
        if (!flag(m_status, "switches.online")) {
            return bad(stage, "the device is off line", kFollows, "orva-vpnctl online");
        }
        if (!flag(m_status, "switches.connect") || flag(m_status, "switches.held")) {
            return bad(stage, "the tunnel is not started", kFollows, "orva-vpnctl start");
        }
        good(stage, "enabled, on line and started");
    }

    void settings(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        std::string missing;
        const auto miss = [&](bool isMissing, const char* what) {
            if (isMissing) missing += (missing.empty() ? "" : ", ") + std::string(what);
        };
        miss(text(m_status, "settings.server").empty(), "server");
        miss(text(m_status, "settings.user").empty(), "user");
        miss(!flag(m_status, "settings.password_set"), "password");
        if (missing.empty()) return good(stage, "server, user and password are set");
        bad(stage, "not set: " + missing, "the tunnel does not begin.",
            "orva-vpnctl set " + missing.substr(0, missing.find(',')) +
                " ...; the tunnel then starts by itself.");
    }

    void certificates(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        stage.notLookedAt = "the server's own certificate";
        const Json* const all = find(m_status, "certificates");
        if (all == nullptr || !all->is_array() || all->empty()) {
            return unknown(stage, "no CA certificate is set");
        }
        if (!isGood("clock")) return unknown(stage, "the clock is wrong");
        const std::int64_t nowMs = numberAt(m_status, "now_ms").value_or(0);
        std::int64_t firstEndMs = kLatestMs;
        for (const Json& each : *all) {
            const std::optional<std::int64_t> endMs = numberAt(each, "not_after_ms");
            if (!endMs) return unknown(stage, text(each, "subject") + " has no last day");
            if (*endMs < nowMs) {
                return bad(
                    stage, text(each, "subject") + " has expired on " + timeText(*endMs),
                    "the server's certificate is refused.",
                    "orva-vpnctl set ca FILE, with a new one of the server's administrator.");
            }
            firstEndMs = std::min(firstEndMs, *endMs);
        }
        good(stage, "CA certificates are valid for " +
                        std::to_string((firstEndMs - nowMs) / kMsPerDay) + " more days");
    }

    void name(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        const std::string server = text(m_status, "settings.server");
        if (server.empty()) return unknown(stage, "no server is set");
        in6_addr address = {};
        if (::inet_pton(AF_INET, server.c_str(), &address) == 1 ||
            ::inet_pton(AF_INET6, server.c_str(), &address) == 1) {
            m_serverAddress = server;
            return good(stage, server + " is an address");
        }
        const ISurroundings::Name found = m_surroundings.resolve(server, kResolveTimeoutMs);
        if (!found.addresses.empty()) {
            m_serverAddress = found.addresses.front();
            return good(stage, server + " is " + m_serverAddress);
        }
        if (!found.wasAnswered) {
            return unknown(stage, server + ": no name server has answered within " +
                                      durationText(kResolveTimeoutMs));
        }
        if (text(m_status, "tunnel.kind") == "simulated") {
            return unknown(
                stage, server + ": " + found.problem + "; a simulated tunnel does not ask for it");
        }
        bad(stage, server + ": " + found.problem, "the tunnel does not find its server.",
            "Check the server's name, the panel's network cable and its name server.");
    }

    void routes(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        stage.notLookedAt = "routes that the server has not given yet";
        const std::string vpnAddress = text(m_status, "vpn_address");
        if (vpnAddress.empty()) return unknown(stage, "there is no VPN address while it is down");
        if (const auto network = overlapping(vpnAddress)) {
            return bad(stage,
                       "the VPN's address " + vpnAddress + " lies in the network " +
                           network->address + "/" + std::to_string(network->prefix) + " of " +
                           network->interface,
                       "packets for the one go to the other.",
                       "Have the server give addresses of another network.");
        }
        if (m_serverAddress.empty()) return unknown(stage, "the server's address is not known");
        const std::string source = m_surroundings.sourceTowards(m_serverAddress);
        if (source == vpnAddress) {
            return bad(stage, "the way to the server " + m_serverAddress + " leads into the tunnel",
                       "the tunnel carries its own packets and comes to a stop.",
                       "Have the server's routes changed.");
        }
        if (source.empty()) return unknown(stage, "there is no way to " + m_serverAddress);
        good(stage, "the way to " + m_serverAddress + " leads past the tunnel");
    }

    // The network of another interface in which the address lies.
    std::optional<ISurroundings::Network> overlapping(const std::string& vpnAddress)
    {
        in_addr vpn = {};
        if (::inet_pton(AF_INET, vpnAddress.c_str(), &vpn) != 1) return std::nullopt;
        for (const ISurroundings::Network& each : m_surroundings.networks()) {
            in_addr own = {};
            if (each.address == vpnAddress || each.prefix < 1 || each.prefix > 32 ||
                ::inet_pton(AF_INET, each.address.c_str(), &own) != 1) {
                continue;
            }
            const std::uint32_t mask = ~std::uint32_t{0} << (32 - each.prefix);
            if (((ntohl(own.s_addr) ^ ntohl(vpn.s_addr)) & mask) == 0) return each;
        }
        return std::nullopt;
    }

    void program(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        const std::string kind = text(m_status, "tunnel.kind");
        if (kind == "simulated") return good(stage, "a simulated tunnel needs none");
        if (kind != "openvpn") return unknown(stage, "the tunnel is of an unknown kind: " + kind);
        const std::string path = m_surroundings.findProgram("openvpn");
        stage.notLookedAt = "its version";
        if (!path.empty()) return good(stage, path);
        bad(stage, "there is no program openvpn", "the tunnel cannot begin.",
            "Install openvpn 2.6.11 or newer.");
    }

    void tunnel(Stage& stage)
    {
        if (!hasStatus(stage)) return;
        const std::string line = statusLine(m_status, m_language, Style(false));
        const Json* const reason = find(m_status, "reason");
        const bool hasReason = reason != nullptr && reason->is_object();
        switch (exitCodeOf(numberAt(m_status, "state.number").value_or(-1))) {
            case kExitDone:
                return good(stage, line);
            case kExitTrying:
                if (!hasReason) return unknown(stage, line + ": it is on its way");
                break;
            case kExitFault:
                break;
            default:
                return unknown(stage, line);
        }
        const char* const remedy =
            m_language == Language::kChinese ? "remedy_chinese" : "remedy_english";
        bad(stage, line, "there is no tunnel.", hasReason ? textAt(*reason, remedy) : "");
    }

    const std::function<Answer()>& m_ask;
    ISurroundings& m_surroundings;
    Language m_language;
    std::vector<Stage> m_stages;
    std::optional<Failure> m_failure;
    Json m_status;
    std::string m_serverAddress;
};

}  // namespace

std::vector<Stage> examine(const std::function<Answer()>& ask, ISurroundings& surroundings,
                           Language language)
{
    return Examination(ask, surroundings, language).run();
}

}  // namespace ctl
