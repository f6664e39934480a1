#pragma once

#include "service/base/CountedLog.h"
#include "service/base/EventLoop.h"
#include "service/control/ControlFacts.h"
#include "service/control/EventBody.h"
#include "service/control/HttpAnswer.h"
#include "service/control/StatusDocument.h"
#include "service/core/Controller.h"
#include "service/core/History.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vpnd
{

// The requests of docs/control-api.md over a controller. One thread.
class ControlService final : public IHttpHandler
{
public:
    // Borrows all of it. Nobody else may ask controller and history for their news.
    ControlService(EventLoop& loop, Controller& controller, History& history, CountedLog& log,
                   const ControlFacts& facts);
    ~ControlService();

    void handle(const Caller& caller, const HttpRequest& request,
                const HttpAnswer& answer) override;
    void refused(Refusal refusal) override;

    // Told, at a later turn of the loop, that readers of events may have something to read.
    void onNews(std::function<void()> news) { m_news = std::move(news); }
    // The facts have changed.
    void tellStatus();

    // "GET /v1/status" and so on, in the order of the page.
    [[nodiscard]] static std::vector<std::string> requests();

private:
    struct Request;
    struct Route;
    struct Calls;
    static const Route kRoutes[];

    static const Route* find(const Request& request, HttpReply& refusal);
    void run(const Request& request, const Route& route);
    [[nodiscard]] Controller::Done answering(const Request& request);
    bool takesNothing(const Request& request);
    static void refuse(const Request& request, Refusal refusal, std::string_view field = {},
                       std::string_view detail = {});
    void wakeReaders();

    void getStatus(const Request& request);
    void getSettings(const Request& request);
    void patchSettings(const Request& request);
    void getHistory(const Request& request);
    void getEvents(const Request& request);
    void getReasons(const Request& request);
    void getMetrics(const Request& request);
    void postStart(const Request& request);
    template <SettingPlace Place, bool Value>
    void postSwitch(const Request& request);
    void postCheck(const Request& request);
    void postSimulate(const Request& request);

    EventLoop& m_loop;
    Controller& m_controller;
    History& m_history;
    CountedLog& m_log;
    const ControlFacts& m_facts;
    StatusDocument m_document;
    std::uint64_t m_statusNumber = 1;
    std::uint64_t m_refused = 0;
    std::shared_ptr<Calls> m_calls;  // answers that come later count in them too
    std::function<void()> m_news;
    Timer m_wake;
};

}  // namespace vpnd
