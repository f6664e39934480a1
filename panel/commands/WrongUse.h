#pragma once

#include <string>

namespace CLI
{
class App;
class ParseError;
}  // namespace CLI

namespace panel
{

// What is wrong with the use of the program, on one line. Quotes nothing that was given
// to send and write: it may be a password.
std::string wrongUse(const CLI::App& app, const CLI::ParseError& error);

// The same of a word that stands where a command belongs.
std::string unknownCommand(const CLI::App& app, const std::string& word);

// "; the nearest is '--driver'", or nothing when no option of the command comes near.
std::string nearestOption(const CLI::App& command, const std::string& given);

}  // namespace panel
