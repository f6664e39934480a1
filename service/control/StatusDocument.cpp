#include "service/control/StatusDocument.h"

#include "service/control/SettingsPatch.h"
#include "service/core/ISimulation.h"
#include "service/core/States.h"
#include "service/pki/Pem.h"

#include <unistd.h>

#include <ctime>
#include <utility>

namespace vpnd
{
namespace
{

Json orNull(const std::optional<std::string>& text) { return text ? Json(*text) : Json(); }

Json textOrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

// Of "2036-01-31 23:59:59 UTC"; null for a date that is none.
Json millisecondsOf(const std::string& notAfter)
{
    std::tm parts{};
    const char* const end = ::strptime(notAfter.c_str(), "%Y-%m-%d %H:%M:%S UTC", &parts);
    if (end == nullptr || *end != '\0') return nullptr;
    return std::int64_t{::timegm(&parts)} * 1000;
}

}  // namespace

StatusDocument::StatusDocument(const ControlFacts& facts, Controller& controller,
                               const History& history, const EventLoop& loop)
    : m_facts(facts), m_controller(controller), m_history(history), m_loop(loop), m_run(randomTag())
{
}

std::string StatusDocument::status(const Caller& caller)
{
    const VpnSettings& settings = m_controller.settings();
    const TunnelState& tunnel = m_controller.tunnel();
    const AccessRules& access = m_controller.access();
    Json json;
    json["version"] = m_facts.version;
    json["api"] = 1;
    json["pid"] = ::getpid();
    json["started_ms"] = m_facts.startedWallMs;
    json["now_ms"] = m_history.wallNowMs();
    json["uptime_s"] = (m_loop.nowMs() - m_facts.startedMs) / 1000;
    json["switches"] = {{"enabled", settings.enabled},
                        {"online", settings.online},
                        {"connect", settings.connect},
                        {"held", m_controller.isHeld()}};
    json["state"] = state();
    const ReasonText* const reason = findReason(static_cast<std::int32_t>(tunnel.reason));
    json["reason"] = reason == nullptr || !settings.enabled ? Json() : textsOf(*reason);
    json["server_words"] = tunnel.serverWords;
    json["vpn_address"] = textOrNull(tunnel.vpnIp);
    json["traffic"] = {{"received_bytes", m_controller.traffic().receivedBytes},
                       {"sent_bytes", m_controller.traffic().sentBytes}};
    json["settings"] = {{"version", version()},
                        {"server", settings.server},
                        {"port", settings.port},
                        {"user", settings.userName},
                        {"password_set", !settings.password.empty()},
                        {"device_number", m_controller.serialNumber()},
                        {"device_name", m_controller.deviceName()},
                        {"beat_interval", settings.beatIntervalS}};
    json["certificates"] = certificates();
    json["store"] = {{"folder", orNull(m_facts.stateFolder)},
                     {"stores", m_facts.stateFolder && !m_facts.storeProblem},
                     {"problem", orNull(m_facts.storeProblem)}};
    json["tunnel"] = {{"kind", m_facts.tunnel}, {"simulation", simulation()}};
    json["listen"] = m_facts.listen;
    json["configuration_file"] = orNull(m_facts.configurationFile);
    json["you"] = {{"uid", caller.uid ? Json(*caller.uid) : Json()},
                   {"program", caller.program},
                   {"may_read", access.mayRead(caller)},
                   {"may_change", access.mayChange(caller)},
                   {"may_see_secrets", access.maySeeSecrets(caller)},
                   {"rules",
                    {{"read", m_facts.rules.read},
                     {"change", m_facts.rules.change},
                     {"secrets", m_facts.rules.secrets}}}};
    return toText(json);
}

Json StatusDocument::state() const
{
    const std::int32_t number = m_controller.stateNumber();
    Json json = {{"number", number}};
    if (const ReasonText* const fault = findReason(number - kStateFaultBase)) {
        json["name"] = nameOf(TunnelStage::kFault);
        json["english"] = fault->english;
        json["chinese"] = fault->chinese;
    } else {
        const StateText& text = states().at(static_cast<std::size_t>(number));
        json["name"] = text.name;
        json["english"] = text.english;
        json["chinese"] = text.chinese;
    }
    json["since_ms"] = m_controller.stateSinceWallMs();
    json["since_s"] = (m_loop.nowMs() - m_controller.stateSinceMs()) / 1000;
    return json;
}

Json StatusDocument::simulation() const
{
    const ISimulation* const simulated = m_controller.simulation();
    if (simulated == nullptr) return nullptr;
    const Simulation& plays = simulated->simulation();
    const ReasonText* const reason = findReason(static_cast<std::int32_t>(plays.reason));
    return {{"reason", reason == nullptr ? Json() : Json(reason->name)},
            {"stage", plays.stage ? Json(nameOf(*plays.stage)) : Json()},
            {"speed", plays.speed}};
}

Json StatusDocument::settings(bool withSecrets) const
{
    const VpnSettings& settings = m_controller.settings();
    Json fields;
    for (const SettingField& field : settingFields()) {
        const std::string name = fieldNameOf(field);
        if (field.isSecret) fields[name + "_set"] = !field.text(settings).empty();
        if (!field.isSecret || withSecrets) fields[name] = valueOf(field, settings);
    }
    return {{"version", version()}, {"settings", std::move(fields)}};
}

std::string StatusDocument::version() const
{
    return m_run + "-" + std::to_string(m_controller.version());
}

// They take longer to read than all the rest to write.
const Json& StatusDocument::certificates()
{
    if (std::exchange(m_certificatesOf, m_controller.version()) == m_controller.version()) {
        return m_certificates;
    }
    m_certificates = Json::array();
    const std::string& pem = m_controller.settings().certificates;
    if (pem.empty()) return m_certificates;
    for (const CertificateSummary& each : readCertificates(pem).summaries) {
        m_certificates.push_back({{"subject", each.subject},
                                  {"not_after", each.notAfter},
                                  {"not_after_ms", millisecondsOf(each.notAfter)},
                                  {"is_authority", each.isAuthority}});
    }
    return m_certificates;
}

}  // namespace vpnd
