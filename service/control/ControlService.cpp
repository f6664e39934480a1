#include "service/control/ControlService.h"

#include "service/control/ControlRoutes.h"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

namespace vpnd
{
namespace
{

// Changes in quick succession become one event.
constexpr std::int64_t kNewsMs = 5;

std::int64_t nowUs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

}  // namespace

std::string_view ControlService::Route::method() const
{
    const std::string_view text = request;
    return text.substr(0, text.find(' '));
}

std::string_view ControlService::Route::path() const
{
    const std::string_view text = request;
    return text.substr(text.find(' ') + 1);
}

const ControlService::Route ControlService::kRoutes[] = {
    {"GET /v1/status", Right::kRead, "", &ControlService::getStatus},
    {"GET /v1/settings", Right::kRead, ",secrets,", &ControlService::getSettings},
    {"PATCH /v1/settings", Right::kChange, "", &ControlService::patchSettings},
    {"GET /v1/history", Right::kRead, ",after,limit,", &ControlService::getHistory},
    {"GET /v1/events", Right::kRead, ",after,", &ControlService::getEvents},
    {"GET /v1/reasons", Right::kRead, "", &ControlService::getReasons},
    {"GET /metrics", Right::kRead, "", &ControlService::getMetrics},
    {"POST /v1/start", Right::kChange, "", &ControlService::postStart},
    {"POST /v1/stop", Right::kChange, "", &ControlService::postSwitch<kConnect, false>},
    {"POST /v1/enable", Right::kChange, "", &ControlService::postSwitch<kEnabled, true>},
    {"POST /v1/disable", Right::kChange, "", &ControlService::postSwitch<kEnabled, false>},
    {"POST /v1/online", Right::kChange, "", &ControlService::postSwitch<kOnline, true>},
    {"POST /v1/offline", Right::kChange, "", &ControlService::postSwitch<kOnline, false>},
    {"POST /v1/check", Right::kChange, "", &ControlService::postCheck},
    {"POST /v1/simulate", Right::kChange, "", &ControlService::postSimulate},
};

ControlService::ControlService(EventLoop& loop, Controller& controller, History& history,
                               CountedLog& log, const ControlFacts& facts)
    : m_loop(loop),
      m_controller(controller),
      m_history(history),
      m_log(log),
      m_facts(facts),
      m_document(facts, controller, history, loop),
      m_calls(std::make_shared<Calls>()),
      m_wake(loop, [this] {
          if (m_news) m_news();
      })
{
    for (const Route& each : kRoutes) m_calls->counters.push_back({each.request, {}});
    m_controller.onNews([this] { tellStatus(); });
    m_history.onNews([this] { wakeReaders(); });
}

ControlService::~ControlService()
{
    m_controller.onNews({});
    m_history.onNews({});
}

std::vector<std::string> ControlService::requests()
{
    std::vector<std::string> all;
    for (const Route& each : kRoutes) all.emplace_back(each.request);
    return all;
}

void ControlService::handle(const Caller& caller, const HttpRequest& http, const HttpAnswer& answer)
{
    // Whoever may not change anything could fill the history with programs' names.
    Caller noted = caller;
    if (!m_controller.access().mayChange(caller)) noted.program.clear();
    const Request request{caller, noted, http, answer};
    try {
        HttpReply refusal;
        if (const Route* const route = find(request, refusal)) return run(request, *route);
        ++m_refused;
        answer.finish(std::move(refusal));
    } catch (const std::exception& error) {
        // Out of memory, at most; the other clients go on.
        m_log.error("a control request failed", error.what());
        answer.finish(replyOf(Refusal::kInternal));
    }
}

void ControlService::refused(Refusal refusal)
{
    ++m_refused;
    m_log.warn("a control connection is closed", common::textOf(refusal).code);
}

void ControlService::tellStatus()
{
    ++m_statusNumber;
    wakeReaders();
}

// Never from within: whoever changes something is not in the midst of it when readers look.
void ControlService::wakeReaders()
{
    if (!m_wake.isRunning()) m_wake.start(kNewsMs);
}

// Null, with the answer, when there is no such request.
const ControlService::Route* ControlService::find(const Request& request, HttpReply& refusal)
{
    const HttpRequest& http = request.http;
    if (http.isForeign) {
        refusal = replyOf(Refusal::kBrowser);
        return nullptr;
    }
    std::string allowed;
    for (const Route& each : kRoutes) {
        if (each.path() != http.path) continue;
        if (each.method() == http.method) {
            for (const auto& [name, value] : http.query) {
                if (std::string_view(each.parameters).find("," + name + ",") ==
                    std::string_view::npos) {
                    refusal = replyOf(Refusal::kUnknownField, name.substr(0, kMaxEchoBytes));
                    return nullptr;
                }
            }
            return &each;
        }
        allowed += (allowed.empty() ? "" : ", ") + std::string(each.method());
    }
    refusal = replyOf(allowed.empty() ? Refusal::kUnknownPath : Refusal::kWrongMethod);
    if (!allowed.empty()) refusal.headers.emplace_back("Allow", allowed);
    return nullptr;
}

void ControlService::run(const Request& request, const Route& route)
{
    const std::int64_t beganUs = nowUs();
    const auto place = static_cast<std::size_t>(&route - kRoutes);
    // Counted when it is answered, however much later that is.
    request.answer.onFinish([calls = m_calls, place, beganUs] {
        calls->counters[place].latencies.add(nowUs() - beganUs);
    });
    if (!m_controller.admits(request.caller, route.right, route.request)) {
        const bool isRead = route.right == Right::kRead;
        return refuse(request, Refusal::kNotAllowed, isRead ? "callers.read" : "callers.change",
                      isRead ? m_facts.rules.read : m_facts.rules.change);
    }
    (this->*route.run)(request);
}

void ControlService::refuse(const Request& request, Refusal refusal, std::string_view field,
                            std::string_view detail)
{
    request.answer.finish(replyOf(refusal, field, detail));
}

}  // namespace vpnd
