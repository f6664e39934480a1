#pragma once

#include "service/control/ControlFacts.h"
#include "service/control/Json.h"
#include "service/core/Controller.h"
#include "service/core/History.h"

#include <cstdint>
#include <string>

namespace vpnd
{

// What is told of the present: status, settings, state. Borrows everything.
class StatusDocument
{
public:
    StatusDocument(const ControlFacts& facts, Controller& controller, const History& history,
                   const EventLoop& loop);

    // As GET /v1/status shows it.
    [[nodiscard]] std::string status(const Caller& caller);
    // As the answer to a switch shows it.
    [[nodiscard]] Json state() const;
    [[nodiscard]] Json simulation() const;
    // As GET /v1/settings shows them; with the password or without.
    [[nodiscard]] Json settings(bool withSecrets) const;
    // Of the settings: "5f0c81d2-3".
    [[nodiscard]] std::string version() const;
    // Which key of which file would allow it.
    [[nodiscard]] const ControlFacts::Rules& rules() const { return m_facts.rules; }

private:
    const Json& certificates();

    const ControlFacts& m_facts;
    Controller& m_controller;
    const History& m_history;
    const EventLoop& m_loop;
    const std::string m_run;             // of the service
    std::uint64_t m_certificatesOf = 0;  // version of the settings
    Json m_certificates;
};

}  // namespace vpnd
