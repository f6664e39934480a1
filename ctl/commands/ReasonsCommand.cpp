#include "ctl/commands/Commands.h"
#include "ctl/view/TextList.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace ctl
{

void addReasonsCommand(CLI::App& app, Context& context)
{
    CLI::App* const command =
        app.add_subcommand("reasons", "All states and reasons of the VPN with their texts");
    const auto format = std::make_shared<std::string>("text");
    command
        ->add_option("--format", *format,
                     "text, markdown; for HMI projects csv, json or po (gettext)")
        ->check(CLI::IsMember(formatNames()))
        ->capture_default_str();
    command->footer("Asks no service. Exit codes: 0 done.");
    command->callback([&context, format] {
        if (!context.isJson && context.get.empty()) return print(textList(*formatOf(*format)));
        printResult(context, parseJson(textList(Format::kJson)), [] { return std::string(); });
    });
}

}  // namespace ctl
