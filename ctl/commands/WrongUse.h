#pragma once

#include <string>

namespace CLI
{
class App;
class ParseError;
}  // namespace CLI

namespace ctl
{

// What is wrong with the command line, on one line. Quotes nothing that was given to set and
// call: it may be a password.
[[nodiscard]] std::string wrongUse(const CLI::App& app, const CLI::ParseError& error);

}  // namespace ctl
