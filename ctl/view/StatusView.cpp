#include "ctl/view/StatusView.h"

#include "service/core/ITunnel.h"
#include "service/core/Reasons.h"
#include "service/core/States.h"

namespace ctl
{
namespace
{

using vpnd::TunnelStage;

constexpr std::size_t kLabelColumns = 13;
constexpr std::int64_t kMsPerDay = 24 * 3600 * 1000LL;
constexpr std::int64_t kSoonMs = 30 * kMsPerDay;

const char* fieldIn(Language language, const char* english, const char* chinese)
{
    return language == Language::kChinese ? chinese : english;
}

std::string line(const std::string& label, const std::string& value)
{
    return padded(label, kLabelColumns) + value + "\n";
}

std::string orNotSet(const std::string& value) { return value.empty() ? "not set" : value; }

std::string switchesText(const Json& status)
{
    const auto on = [&](const char* name) {
        return flagAt(status, std::string("switches.") + name).value_or(false);
    };
    return std::string(on("enabled") ? "enabled" : "disabled") +
           (on("online") ? ", on line" : ", off line") +
           (on("connect") ? ", started" : ", stopped") +
           (on("held") ? ", held until it is started" : "");
}

std::string certificateText(const Json& certificate, std::int64_t nowMs, const Style& style)
{
    std::string text =
        textAt(certificate, "subject") + ", until " + textAt(certificate, "not_after");
    const std::optional<std::int64_t> end = numberAt(certificate, "not_after_ms");
    if (!end) return text;
    if (*end < nowMs) return text + ", " + style(Colour::kBad, "expired");
    if (*end - nowMs < kSoonMs) {
        text += ", " + style(Colour::kMiddle, durationText(*end - nowMs) + " left");
    }
    return text;
}

std::string certificatesText(const Json& status, const Style& style)
{
    const Json* const all = find(status, "certificates");
    if (all == nullptr || !all->is_array() || all->empty()) return line("certificate", "not set");
    std::string text;
    for (const Json& each : *all) {
        text += line("certificate",
                     certificateText(each, numberAt(status, "now_ms").value_or(0), style));
    }
    return text;
}

std::string storeText(const Json& status, const Style& style)
{
    const std::string folder = textAt(status, "store.folder");
    const std::string problem = textAt(status, "store.problem");
    std::string text = folder.empty() ? "nowhere" : folder;
    if (!folder.empty() && !flagAt(status, "store.stores").value_or(true)) {
        text = style(Colour::kBad, "not at present") + " in " + folder;
    }
    return line("stored", problem.empty() ? text : text + ": " + problem);
}

}  // namespace

ExitCode exitCodeOf(std::int64_t stateNumber)
{
    switch (stateNumber) {
        case vpnd::kStateDisabled:
            return kExitDisabled;
        case static_cast<std::int64_t>(TunnelStage::kIdle):
        case static_cast<std::int64_t>(TunnelStage::kStopping):
            return kExitIdle;
        case static_cast<std::int64_t>(TunnelStage::kReaching):
        case static_cast<std::int64_t>(TunnelStage::kAuthenticating):
        case static_cast<std::int64_t>(TunnelStage::kConfiguring):
        case static_cast<std::int64_t>(TunnelStage::kReconnecting):
            return kExitTrying;
        case static_cast<std::int64_t>(TunnelStage::kConnected):
            return kExitDone;
        default:
            return kExitFault;
    }
}

Colour colourOf(std::int64_t stateNumber)
{
    const ExitCode code = exitCodeOf(stateNumber);
    return code == kExitDone ? Colour::kGood : code == kExitFault ? Colour::kBad : Colour::kMiddle;
}

std::string reasonText(const Json& reason, Language language)
{
    const char* const text = fieldIn(language, "english", "chinese");
    const char* const remedy = fieldIn(language, "remedy_english", "remedy_chinese");
    std::string what = textAt(reason, text);
    std::string then = textAt(reason, remedy);
    if (what.empty()) {
        // A row of the history has the name alone.
        if (const vpnd::ReasonText* known = vpnd::findReason(textAt(reason, "name"))) {
            what = fieldIn(language, known->english, known->chinese);
            then = fieldIn(language, known->remedyEnglish, known->remedyChinese);
        }
    }
    std::string shown = textAt(reason, "name");
    if (!what.empty()) shown += ": " + what;
    if (!then.empty()) shown += " " + then;
    return shown;
}

std::string statusText(const Json& status, Language language, const Style& style)
{
    const std::int64_t number = numberAt(status, "state.number").value_or(vpnd::kStateFaultBase);
    std::string text =
        line("state", style(colourOf(number), textAt(status, "state.name")) + ": " +
                          textAt(status, fieldIn(language, "state.english", "state.chinese")));
    if (const auto since = numberAt(status, "state.since_ms")) {
        const std::int64_t forMs = numberAt(status, "state.since_s").value_or(0) * 1000;
        text += line("since", timeText(*since) + ", for " + durationText(forMs));
    }
    const Json* const reason = find(status, "reason");
    if (reason != nullptr && reason->is_object()) {
        text += line("reason", reasonText(*reason, language));
    }
    const std::string words = textAt(status, "server_words");
    if (!words.empty()) text += line("server says", words);
    const std::string address = textAt(status, "vpn_address");
    text += line("address", address.empty() ? "none" : address);
    text += line("traffic",
                 bytesText(numberAt(status, "traffic.received_bytes").value_or(0)) + " received, " +
                     bytesText(numberAt(status, "traffic.sent_bytes").value_or(0)) + " sent");
    text += line("switches", switchesText(status));
    const std::string server = textAt(status, "settings.server");
    text += line("server",
                 server.empty() ? "not set" : server + ", port " + textAt(status, "settings.port"));
    text += line("user", orNotSet(textAt(status, "settings.user")));
    text += line("password",
                 flagAt(status, "settings.password_set").value_or(false) ? "set" : "not set");
    text += certificatesText(status, style);
    text += line("device", orNotSet(textAt(status, "settings.device_name")) + ", number " +
                               orNotSet(textAt(status, "settings.device_number")));
    text += line("heartbeat", textAt(status, "settings.beat_interval") + " s");
    text += storeText(status, style);
    text += line("service", "orva-vpnd " + textAt(status, "version") + ", process " +
                                textAt(status, "pid") + ", " + textAt(status, "tunnel.kind") +
                                " tunnel, up for " +
                                durationText(numberAt(status, "uptime_s").value_or(0) * 1000));
    return text;
}

std::string statusLine(const Json& status, Language language, const Style& style)
{
    const std::int64_t number = numberAt(status, "state.number").value_or(vpnd::kStateFaultBase);
    std::string text = style(colourOf(number), textAt(status, "state.name"));
    const std::string address = textAt(status, "vpn_address");
    if (!address.empty()) text += ", " + address;
    const Json* const reason = find(status, "reason");
    if (reason != nullptr && reason->is_object()) text += ", " + reasonText(*reason, language);
    return text;
}

}  // namespace ctl
