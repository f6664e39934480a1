#pragma once

#include "service/control/ControlService.h"

#include <chrono>

namespace vpnd
{

// A request on its way through the service.
struct ControlService::Request {
    const Caller& seen;    // as the kernel tells it
    const Caller& caller;  // as it stands in log and history
    const HttpRequest& http;
    const HttpAnswer& answer;
};

struct ControlService::Route {
    const char* request;  // "GET /v1/status": also its name in the history
    Right right;
    const char* parameters;  // of the query, with "," around each
    void (ControlService::*run)(const Request&);

    std::string_view method() const;
    std::string_view path() const;
};

struct ControlService::Calls {
    std::vector<CallCounter> counters;  // by place in kRoutes
};

}  // namespace vpnd
