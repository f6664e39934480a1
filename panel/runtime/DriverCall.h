#pragma once

#include "panel/runtime/PanelError.h"

#include <exception>
#include <string>

namespace panel
{

// Calls into a driver. What it throws leaves as PanelError, whatever its type: the
// type may be the library's own, which is gone when the library is unloaded.
template <class Call>
auto callDriver(const std::string& library, const char* name, Call call)
{
    const auto raised = [&](const std::string& what) {
        return PanelError("driver '" + library + "': " + name + " raised " + what);
    };
    try {
        return call();
    } catch (const std::exception& error) {
        throw raised(std::string("an exception: ") + error.what());
    } catch (...) {
        throw raised("an exception of unknown type");
    }
}

}  // namespace panel
