#pragma once

#include "tests/ctl/FakeService.h"

#include <string>

// Answers of docs/control-api.md, for tests that need whole ones.
namespace scripts
{

// GET /v1/status; changes: fields of it that are otherwise, such as
// R"({"reason": null, "settings": {"port": 1}})".
std::string status(const std::string& changes = "{}");
// The same at fault 101, and while it tries again after name-not-resolved.
std::string faultStatus();
std::string retryingStatus();
std::string disabledStatus();
std::string idleStatus();
std::string reachingStatus();

std::string settings(const std::string& changes = "{}");
std::string history();
// Its rows as events use them.
std::string row(int id);
std::string change(bool isDry, bool drops, const std::string& fields);
std::string switched(const std::string& state);
std::string error(const std::string& code, const std::string& field, const std::string& detail);

// Answers everything that a command of the list may ask, with the tunnel connected.
void play(FakeService& service);

constexpr const char* kPassword = "Tr0ub4dor-9";

}  // namespace scripts
