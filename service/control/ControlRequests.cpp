#include "service/control/ControlRoutes.h"
#include "service/control/HistoryBody.h"
#include "service/control/MetricsText.h"
#include "service/control/SettingsPatch.h"
#include "service/core/ISimulation.h"
#include "service/core/States.h"

#include <spdlog/fmt/fmt.h>

#include <charconv>
#include <optional>
#include <string>
#include <utility>

namespace vpnd
{
namespace
{

HttpReply replyWith(std::string text)
{
    HttpReply reply;
    reply.body = std::move(text) + "\n";
    return reply;
}

HttpReply replyWith(const Json& json) { return replyWith(toText(json)); }

// Of the query; nothing when it is not there or no whole number.
std::optional<std::int64_t> numberOf(const HttpRequest& request, const char* name)
{
    const auto found = request.query.find(name);
    if (found == request.query.end()) return std::nullopt;
    const std::string& text = found->second;
    std::int64_t number = -1;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? number : -1;
}

std::optional<TunnelStage> stageOf(const std::string& name)
{
    for (const TunnelStage each :
         {TunnelStage::kReaching, TunnelStage::kAuthenticating, TunnelStage::kConfiguring,
          TunnelStage::kReconnecting, TunnelStage::kConnected}) {
        if (name == nameOf(each)) return each;
    }
    return std::nullopt;
}

// What the body makes of it; otherwise the field that is wrong, and what would be right.
struct SimulationPatch {
    Simulation simulation;
    std::string field;
    const char* right = nullptr;
    bool isUnknown = false;
};

SimulationPatch patchOf(const Json& json, const Simulation& present)
{
    SimulationPatch patch{present, {}, nullptr, false};
    for (const auto& [name, value] : json.items()) {
        patch.field = name;
        if (name == "reason") {
            const ReasonText* const reason =
                value.is_string() ? findReason(value.get_ref<const std::string&>()) : nullptr;
            patch.simulation.reason = reason == nullptr ? Reason::kNone : reason->reason;
            if (reason == nullptr && !value.is_null()) patch.right = "null, or a reason's name";
        } else if (name == "stage") {
            patch.simulation.stage = value.is_string() ? stageOf(value) : std::nullopt;
            if (!patch.simulation.stage && !value.is_null()) {
                patch.right =
                    "null, reaching, authenticating, configuring, reconnecting or connected";
            }
        } else if (name == "speed") {
            const double speed = value.is_number() ? value.get<double>() : 0;
            patch.simulation.speed = speed;
            if (!(speed >= kMinSimulationSpeed && speed <= kMaxSimulationSpeed)) {
                patch.right = "a number from 0.01 to 100";
            }
        } else {
            patch.isUnknown = true;
        }
        if (patch.right != nullptr || patch.isUnknown) return patch;
    }
    return patch;
}

}  // namespace

// --- what is read ---

void ControlService::getStatus(const Request& request)
{
    request.answer.finish(replyWith(m_document.status(request.seen)));
}

void ControlService::getSettings(const Request& request)
{
    const auto secrets = request.http.query.find("secrets");
    const bool withSecrets = secrets != request.http.query.end() && secrets->second == "1";
    if (secrets != request.http.query.end() && !withSecrets && secrets->second != "0") {
        return refuse(request, Refusal::kInvalidValue, "secrets", "0 or 1");
    }
    if (withSecrets && !m_controller.access().maySeeSecrets(request.caller)) {
        m_controller.refused(request.caller, "GET /v1/settings?secrets=1", Outcome::kNotAllowed);
        return refuse(request, Refusal::kNotAllowed, "secrets.show-to", m_facts.rules.secrets);
    }
    HttpReply reply = replyWith(m_document.settings(withSecrets));
    reply.headers.emplace_back("ETag", '"' + m_document.version() + '"');
    request.answer.finish(std::move(reply));
}

void ControlService::getHistory(const Request& request)
{
    const std::optional<std::int64_t> after = numberOf(request.http, "after");
    const std::int64_t limit = numberOf(request.http, "limit").value_or(HistoryBody::kUsualRows);
    if (after && *after < 0) {
        return refuse(request, Refusal::kInvalidValue, "after", "the number of a row, or 0");
    }
    if (limit < 1 || limit > static_cast<std::int64_t>(HistoryBody::kMaxRows)) {
        return refuse(request, Refusal::kInvalidValue, "limit", "a whole number from 1 to 1000");
    }
    HttpReply reply;
    reply.source = std::make_unique<HistoryBody>(m_history, after, static_cast<std::size_t>(limit));
    request.answer.finish(std::move(reply));
}

void ControlService::getEvents(const Request& request)
{
    const auto after = request.http.query.find("after");
    const bool isInQuery = after != request.http.query.end();
    // A program that reconnects by itself sends the header with the path of the first time.
    const bool isInHeader = !request.http.lastEventId.empty();
    std::optional<EventPlace> from;
    if (isInQuery || isInHeader) {
        from = EventPlace::parse(isInHeader ? request.http.lastEventId : after->second);
        if (!from) {
            return refuse(request, Refusal::kInvalidValue, isInHeader ? "Last-Event-ID" : "after",
                          "the id of an event, or the number of a row");
        }
    }
    HttpReply reply;
    reply.type = "text/event-stream";
    reply.source = std::make_unique<EventBody>(
        EventBody::Parts{m_document, m_controller, m_history, m_statusNumber}, request.seen, from);
    request.answer.finish(std::move(reply));
}

void ControlService::getReasons(const Request& request)
{
    static const std::string all = toText(catalogue());
    request.answer.finish(replyWith(all));
}

void ControlService::getMetrics(const Request& request)
{
    HttpReply reply;
    reply.type = "application/openmetrics-text; version=1.0.0; charset=utf-8";
    reply.body = metricsText(m_facts, m_controller, m_history, m_calls->counters, m_refused);
    request.answer.finish(std::move(reply));
}

// --- what is changed ---

void ControlService::patchSettings(const Request& request)
{
    constexpr const char* kName = "PATCH /v1/settings";
    const SettingsPatch patch = SettingsPatch::read(request.http.body);
    if (patch.refusal) {
        m_controller.refused(request.caller, kName, Outcome::kInvalid, patch.field);
        return refuse(request, *patch.refusal, patch.field, patch.detail);
    }
    const std::string& wanted = request.http.ifMatch;
    const bool isPresent = !m_controller.isChanging() && wanted == '"' + m_document.version() + '"';
    if (!wanted.empty() && wanted != "*" && !isPresent) {
        return refuse(request, Refusal::kSettingsChanged, "If-Match",
                      "the present version is " + m_document.version());
    }
    const Controller::Effect effect = m_controller.effectOf(patch.change);
    Json json = {{"dry_run", patch.isDryRun}, {"changed", Json::array()}};
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        if (effect.changed[i]) json["changed"].push_back(fieldNameOf(settingFields()[i]));
    }
    json["tunnel_drops"] = effect.dropsTunnel;
    if (patch.isDryRun) {
        json["version"] = m_document.version();
        return request.answer.finish(replyWith(json));
    }
    m_controller.change(
        request.caller, patch.change,
        [this, answer = request.answer, json = std::move(json)](Outcome outcome) mutable {
            if (outcome != Outcome::kDone) return answer.finish(replyOf(Refusal::kNotStored));
            json["version"] = m_document.version();
            HttpReply reply = replyWith(json);
            reply.headers.emplace_back("ETag", '"' + m_document.version() + '"');
            answer.finish(std::move(reply));
        });
}

// False, and answered, when the body is more than nothing.
bool ControlService::takesNothing(const Request& request)
{
    const std::optional<Json> json = readObject(request.http.body);
    if (!json) {
        refuse(request, Refusal::kNotJson);
    } else if (!json->empty()) {
        refuse(request, Refusal::kUnknownField,
               json->items().begin().key().substr(0, kMaxEchoBytes));
    }
    return json && json->empty();
}

// Answers what has become of a switch.
Controller::Done ControlService::answering(const Request& request)
{
    return [this, answer = request.answer](Outcome outcome) {
        if (outcome == Outcome::kDone) {
            return answer.finish(
                replyWith({{"outcome", nameOf(outcome)}, {"state", m_document.state()}}));
        }
        if (outcome == Outcome::kNotStored) return answer.finish(replyOf(Refusal::kNotStored));
        const VpnSettings& settings = m_controller.settings();
        if (!settings.enabled) {
            return answer.finish(replyOf(Refusal::kNotNow, "enabled", "the VPN is disabled"));
        }
        if (!settings.online) {
            return answer.finish(replyOf(Refusal::kNotNow, "online", "the device is off line"));
        }
        answer.finish(replyOf(Refusal::kNotNow, "settings",
                              common::textOf(Reason::kSettingsMissing).english));
    };
}

void ControlService::postStart(const Request& request)
{
    if (takesNothing(request))
        m_controller.start(request.caller, "POST /v1/start", {}, answering(request));
}

template <SettingPlace Place, bool Value>
void ControlService::postSwitch(const Request& request)
{
    if (!takesNothing(request)) return;
    const Controller::Done done = answering(request);
    if constexpr (Place == kConnect) {
        m_controller.stop(request.caller, done);
    } else if constexpr (Place == kEnabled) {
        m_controller.setEnabled(request.caller, Value, done);
    } else {
        m_controller.setOnline(request.caller, Value, done);
    }
}

template void ControlService::postSwitch<kConnect, false>(const Request&);
template void ControlService::postSwitch<kEnabled, true>(const Request&);
template void ControlService::postSwitch<kEnabled, false>(const Request&);
template void ControlService::postSwitch<kOnline, true>(const Request&);
template void ControlService::postSwitch<kOnline, false>(const Request&);

void ControlService::postCheck(const Request& request)
{
    if (!takesNothing(request)) return;
    m_controller.lookAfterConnection();
    answering(request)(Outcome::kDone);
}

void ControlService::postSimulate(const Request& request)
{
    ISimulation* const tunnel = m_controller.simulation();
    if (tunnel == nullptr) return refuse(request, Refusal::kRealTunnel);
    const std::optional<Json> json = readObject(request.http.body);
    if (!json) return refuse(request, Refusal::kNotJson);
    const SimulationPatch patch = patchOf(*json, tunnel->simulation());
    if (patch.isUnknown) {
        return refuse(request, Refusal::kUnknownField, patch.field.substr(0, kMaxEchoBytes));
    }
    if (patch.right != nullptr) {
        return refuse(request, Refusal::kInvalidValue, patch.field, patch.right);
    }
    tunnel->simulate(patch.simulation);
    m_controller.beginAgain(request.caller, toText(m_document.simulation()));
    tellStatus();
    request.answer.finish(replyWith(m_document.simulation()));
}

}  // namespace vpnd
