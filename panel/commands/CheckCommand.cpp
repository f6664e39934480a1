#include "panel/check/LibraryCheck.h"
#include "panel/check/Processor.h"
#include "panel/commands/Commands.h"
#include "panel/commands/ExitCodes.h"
#include "panel/commands/OptionChecks.h"
#include "panel/runtime/DisplayText.h"
#include "panel/view/Complaint.h"
#include "panel/view/JsonLines.h"
#include "panel/view/Output.h"
#include "panel/view/TimeStamp.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstdio>
#include <memory>

namespace panel
{

namespace
{

struct CheckCommandOptions {
    CheckOptions check;
    std::string file;
    std::string stringAbi;
    bool noDryCycle = false;
    bool json = false;
};

const char* gradeText(Grade grade)
{
    switch (grade) {
        case Grade::kFine:
            return "ok";
        case Grade::kNote:
            return "note";
        case Grade::kWarning:
            return "warning";
        case Grade::kWrong:
            break;
    }
    return "WRONG";
}

std::string findingText(const Finding& finding)
{
    std::array<char, 48> head{};
    std::snprintf(head.data(), head.size(), "  %-8s %-11s ", gradeText(finding.grade),
                  finding.subject.c_str());
    return head.data() + displayText(std::string_view(finding.text)) + "\n";
}

int check(CheckCommandOptions options)
{
    options.check.dryCycle = !options.noDryCycle;
    if (!options.stringAbi.empty()) {
        options.check.stringAbi = options.stringAbi == "new" ? StringAbi::kNew : StringAbi::kOld;
    }
    const std::vector<Finding> findings = checkLibrary(options.file, options.check);
    Output output(Output::DriverText::kMixedIn);
    if (!options.json) output.write(stamped(displayText(std::string_view(options.file))));
    for (const Finding& finding : findings) {
        output.write(options.json ? findingJson(options.file, gradeText(finding.grade),
                                                finding.subject, finding.text)
                                  : stamped(findingText(finding)));
    }

    const auto wrong = std::find_if(findings.begin(), findings.end(), [](const Finding& finding) {
        return finding.grade == Grade::kWrong;
    });
    if (wrong == findings.end()) return kExitDone;
    complain("'" + options.file + "' cannot be used as a driver: " + wrong->subject + ": " +
             displayText(std::string_view(wrong->text)));
    return kExitFailed;
}

}  // namespace

void addCheckCommand(CLI::App& app, int& exitCode)
{
    CLI::App* command =
        app.add_subcommand("check", "Look at a driver library before a panel has to load it");
    const auto options = std::make_shared<CheckCommandOptions>();
    command->add_option("library", options->file, "The library")->required()->type_name("LIB");
    command
        ->add_option("--target", options->check.target,
                     "What the library is for; the PC that this runs on unless given")
        ->check(CLI::IsMember(targetNames()));
    command->add_option("--string-abi", options->stringAbi, "The runtime's std::string")
        ->check(CLI::IsMember({"new", "old"}));
    command
        ->add_option(
            "--library-path", options->check.folders,
            "Look here first for the libraries it needs, for example in a copy of the panel's")
        ->type_name("DIR")
        ->check(CLI::Validator(CLI::ExistingDirectory).description(""))
        ->allow_extra_args(false);
    command
        ->add_option("--runtime", options->check.runtime,
                     "The program that will load it: does it export what the library asks for?")
        ->type_name("PROGRAM")
        ->check(notEmpty("the runtime's program"));
    command->add_flag("--json", options->json, "One JSON object for each finding");
    command->add_flag("--no-dry-cycle", options->noDryCycle, "Do not load the library");
    command->footer(
        "ok: as it should be; note: for information; warning: loads, but is not as a driver should "
        "be;\nWRONG: the runtime cannot use it.\n"
        "The dry cycle loads the library in a process of its own and polls once; it happens only\n"
        "where the library is for this PC's processor. The exit code is 2 when something is "
        "wrong,\n"
        "also with the use or the file, 0 otherwise.");
    command->callback([options, &exitCode] { exitCode = check(*options); });
}

}  // namespace panel
