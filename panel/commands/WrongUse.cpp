#include "panel/commands/WrongUse.h"

#include "common/NearestWord.h"

#include <CLI/CLI.hpp>
#include <algorithm>

namespace panel
{

namespace
{

std::string nearestOf(const std::string& word, const std::vector<std::string>& words,
                      const std::string& dashes)
{
    const std::string nearest = common::nearestWord(word, words);
    return nearest.empty() ? "" : "; the nearest is '" + dashes + nearest + "'";
}

bool isOption(const std::string& text)
{
    return text.size() > 1 && text.front() == '-' && text != "--";
}

}  // namespace

std::string wrongUse(const CLI::App& app, const CLI::ParseError& error)
{
    const std::vector<CLI::App*> given = app.get_subcommands();
    const std::vector<std::string> more = app.remaining(true);
    const auto option = std::find_if(more.begin(), more.end(), isOption);
    // An option without a command is looked at before the command is missed.
    const bool tooMuch = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr ||
                         (given.empty() && option != more.end());
    if (!tooMuch || more.empty()) {
        const std::string text = error.what();
        return text.substr(0, text.find('\n'));
    }
    const bool inFront = given.empty() || !app.remaining().empty();
    const CLI::App& command = inFront ? app : *given.front();
    const std::string nearest = option == more.end() ? "" : nearestOption(command, *option);
    if (app.got_subcommand("write") || app.got_subcommand("send")) {
        return "an unknown option, or more arguments than expected" + nearest;
    }
    if (option != more.end()) {
        return "unknown option '" + *option + "'" +
               (inFront && !given.empty() ? " in front of the command" : "") + nearest;
    }
    return "'" + more.front() + "' was not expected";
}

std::string unknownCommand(const CLI::App& app, const std::string& word)
{
    std::vector<std::string> words;
    for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
        words.push_back(command->get_name());
    }
    return "unknown command '" + word + "'" + nearestOf(word, words, "");
}

std::string nearestOption(const CLI::App& command, const std::string& given)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options()) {
        const std::vector<std::string>& more = option->get_lnames();
        names.insert(names.end(), more.begin(), more.end());
    }
    const std::size_t begin = std::min(given.find_first_not_of('-'), given.size());
    return nearestOf(given.substr(begin, given.find('=') - begin), names, "--");
}

}  // namespace panel
