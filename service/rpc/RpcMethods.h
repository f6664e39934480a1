#pragma once

#include "service/core/Controller.h"

#include <cstddef>
#include <string_view>

namespace vpnd
{

struct Request;  // RpcCall.h

// One of the 21 methods.
struct MethodEntry {
    const char* name;
    Right right;
    const char* (*run)(const Request&);
};

constexpr std::size_t kMethodCount = 21;
// The first of them all.
[[nodiscard]] const MethodEntry* methods();
// Null when there is none of this name.
[[nodiscard]] const MethodEntry* findMethod(std::string_view name);

}  // namespace vpnd
