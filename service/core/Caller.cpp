#include "service/core/Caller.h"

#include <tuple>

namespace vpnd
{

const char* nameOf(Interface interface)
{
    switch (interface) {
        case Interface::kRpc:
            return "rpc";
        case Interface::kControl:
            return "control";
        case Interface::kService:
            break;
    }
    return "service";
}

Caller theService() { return {Interface::kService, std::nullopt, {}}; }

bool operator==(const Caller& a, const Caller& b)
{
    return std::tie(a.interface, a.uid, a.program) == std::tie(b.interface, b.uid, b.program);
}

std::string textOf(const Caller& caller)
{
    if (caller.interface == Interface::kService) return "the service";
    std::string text = caller.uid ? "uid " + std::to_string(*caller.uid) : "nobody known";
    if (!caller.program.empty()) text += " (" + caller.program + ")";
    return text + " over " + nameOf(caller.interface);
}

}  // namespace vpnd
