#include "ctl/commands/WrongUse.h"

#include "common/NearestWord.h"

#include <CLI/CLI.hpp>

#include <vector>

namespace ctl
{
namespace
{

std::string nearest(const CLI::App& app, const std::string& word)
{
    std::vector<std::string> words;
    for (const CLI::App* each : app.get_subcommands([](const CLI::App*) { return true; })) {
        words.push_back(each->get_name());
    }
    const std::string found = common::nearestWord(word, words);
    return found.empty() ? "" : "; the nearest is '" + found + "'";
}

}  // namespace

std::string wrongUse(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<const CLI::App*> given = [&] {
        std::vector<const CLI::App*> all;
        for (const CLI::App* each : app.get_subcommands()) all.push_back(each);
        return all;
    }();
    const std::string text = error.what();
    const std::string line = text.substr(0, text.find('\n'));
    if (given.empty()) {
        const std::vector<std::string> more = app.remaining(true);
        if (more.empty()) return line;
        return "unknown command '" + more.front() + "'" + nearest(app, more.front());
    }
    const std::string name = given.front()->get_name();
    const bool isTooMuch = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
    if (name != "set" && name != "call") return line;
    if (isTooMuch) return name + ": an unknown option, or more arguments than expected";
    return name + ": a missing argument, or one that is not of those in its --help";
}

}  // namespace ctl
