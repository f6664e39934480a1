#include "common/NearestWord.h"
#include "panel/commands/Commands.h"
#include "panel/commands/ExitCodes.h"
#include "panel/runtime/ChannelTable.h"
#include "panel/runtime/CommandTable.h"
#include "panel/runtime/PanelError.h"
#include "panel/view/Columns.h"
#include "panel/view/Output.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <memory>

namespace panel
{

namespace
{

const char* kindText(ArgumentKind kind)
{
    switch (kind) {
        case ArgumentKind::kText:
        case ArgumentKind::kPlainText:
            return "text variable or text";
        case ArgumentKind::kNumber:
            return "numeric variable or number";
        case ArgumentKind::kSwitch:
        case ArgumentKind::kResult:
            return "numeric variable";
        case ArgumentKind::kTextVariable:
            break;
    }
    return "text variable";
}

std::string listOfCommands()
{
    std::size_t widest = 0;
    for (const CommandInfo& command : kCommands) {
        widest = std::max(widest, formOf(command).size());
    }
    std::string text;
    for (const CommandInfo& command : kCommands) {
        text += padToColumns(formOf(command), widest + 2) + command.help + "\n";
    }
    return text;
}

std::string oneCommand(const CommandInfo& command)
{
    std::string text = formOf(command) + "\n  " + command.help + ": " + command.service + "\n";
    for (std::size_t i = 0; i < command.count; ++i) {
        const ArgumentInfo& argument = command.arguments[i];
        text += "  " + padToColumns(argument.name, 13) + padToColumns(kindText(argument.kind), 28) +
                argument.values + (argument.mayBeEmpty ? "; empty: the service's own\n" : "\n");
    }
    return text + "  codes        1, " + command.codes + "\n";
}

std::string commandText(const std::string& word)
{
    if (word.empty()) return listOfCommands();
    if (const CommandInfo* command = findCommand(word)) return oneCommand(*command);
    std::vector<std::string> words;
    for (const CommandInfo& command : kCommands) words.emplace_back(command.word);
    const std::string nearest = common::nearestWord(word, words);
    throw PanelError(
        "'" + word + "' is no command" +
        (nearest.empty() ? "; orva-panel commands lists them" : "; the nearest is " + nearest));
}

const char* typeText(DATATYPE type) { return type == DATATYPE_STRING ? "text" : "number"; }

std::string listOfChannels()
{
    std::string text = " k  name              in projects     value   written\n";
    for (const ChannelInfo& channel : kChannels) {
        const std::string number = std::to_string(channel.number);
        text += std::string(2 - number.size(), ' ') + number + "  " +
                padToColumns(channel.name, 18) + padToColumns(channel.projectName, 16) +
                padToColumns(typeText(channel.type), 8) +
                (channel.write == nullptr ? "no" : channel.write->values) + "\n";
    }
    return text;
}

}  // namespace

void addCommandsCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command = app.add_subcommand("commands", "Show the text commands of the device");
    const auto word = std::make_shared<std::string>();
    command->add_option("word", *word, "Only this one, with its arguments")->type_name("WORD");
    command->footer(
        "The page of the commands tells what each code means.\n"
        "Exit codes: 0 done, 2 wrong use or a word that is no command.");
    command->callback([word, &exitCode] {
        Output(Output::DriverText::kMixedIn).write(commandText(*word));
        exitCode = kExitDone;
    });
}

void addChannelsCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command = app.add_subcommand("channels", "Show the channels of the device");
    command->footer("Exit codes: 0 done, 2 wrong use.");
    command->callback([&exitCode] {
        Output(Output::DriverText::kMixedIn).write(listOfChannels());
        exitCode = kExitDone;
    });
}

}  // namespace panel
