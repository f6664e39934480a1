#include "ctl/commands/Commands.h"
#include "ctl/commands/Follow.h"
#include "ctl/doctor/Surroundings.h"
#include "ctl/report/FileOutput.h"
#include "ctl/report/Report.h"

#include <sys/utsname.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <fstream>
#include <memory>

namespace ctl
{
namespace
{

constexpr int kReportRows = 1000;

Answer askStatus(const Context& context)
{
    Answer answer;
    try {
        answer.status = clientOf(context).get("/v1/status");
    } catch (const Failure& failure) {
        answer.failure = failure;
    }
    return answer;
}

Json diagnose(const Context& context)
{
    Surroundings surroundings;
    return diagnosisOf(examine([&] { return askStatus(context); }, surroundings, context.language));
}

// Where the service could not be asked, by the reason for that.
ExitCode exitCodeOf(const Json& diagnosis, const std::optional<Failure>& failure)
{
    const std::string first = textAt(diagnosis, "first_bad");
    if (first.empty()) return kExitDone;
    if ((first == "service" || first == "caller") && failure) return failure->exitCode();
    return kExitFault;
}

ReportPart part(const std::string& name, const std::function<Json()>& ask)
{
    ReportPart result;
    result.name = name;
    try {
        result.content = ask();
    } catch (const Failure& failure) {
        result.problem = failure.what();
    }
    return result;
}

Json versions()
{
    Json all = {{"orva-vpnctl", ORVA_VERSION}};
    utsname system = {};
    if (::uname(&system) == 0) {
        all["kernel"] = std::string(system.sysname) + " " + system.release + " " + system.machine;
    }
    std::ifstream release("/etc/os-release");
    std::string line;
    for (int i = 0; i < 50 && std::getline(release, line) && line.size() < 1000; ++i) {
        constexpr std::string_view kName = "PRETTY_NAME=";
        if (line.compare(0, kName.size(), kName) != 0) continue;
        line.erase(std::remove(line.begin(), line.end(), '"'), line.end());
        all["system"] = line.substr(kName.size());
    }
    return all;
}

// Those who may see the password know what must not be in the report.
std::vector<std::string> knownSecrets(const ControlClient& client)
{
    try {
        const Json settings = client.get("/v1/settings?secrets=1");
        const Json* const password = find(settings, "settings.password");
        if (password != nullptr && password->is_string()) return {password->get<std::string>()};
    } catch (const Failure&) {
        // Nobody told it to us, so nobody wrote it from us.
    }
    return {};
}

std::string summaryOf(const std::string& path, std::size_t bytes, const Json& manifest)
{
    std::string text =
        "written: " + path + ", " + bytesText(static_cast<std::int64_t>(bytes)) + "\n";
    for (const Json& each : manifest.at("parts")) {
        const std::string problem = textAt(each, "problem");
        text += "  " + padded(textAt(each, "name"), 10) +
                (problem.empty() ? bytesText(numberAt(each, "bytes").value_or(0)) +
                                       (flagAt(each, "cut").value_or(false) ? ", its end" : "")
                                 : "missing: " + problem) +
                "\n";
    }
    return text;
}

void writeReport(const Context& context, const std::string& path, const std::string& logFile)
{
    const ControlClient client = clientOf(context);
    std::vector<ReportPart> parts;
    parts.push_back(part("versions", [] { return versions(); }));
    parts.push_back(part("status", [&] { return client.get("/v1/status"); }));
    parts.push_back(part("settings", [&] { return client.get("/v1/settings"); }));
    parts.push_back(part(
        "history", [&] { return client.get("/v1/history?limit=" + std::to_string(kReportRows)); }));
    parts.push_back(part("doctor", [&] { return diagnose(context); }));
    parts.push_back(readLog(logFile));
    const Json report = makeReport(Surroundings().nowMs(), std::move(parts), knownSecrets(client));
    const std::string text = printed(report, Layout::kLines) + "\n";
    writePrivateFile(path, text);
    printResult(context, report.at("manifest"),
                [&] { return summaryOf(path, text.size(), report.at("manifest")); });
}

}  // namespace

void addDoctorCommand(CLI::App& app, Context& context)
{
    CLI::App* const command = app.add_subcommand(
        "doctor", "Look at everything that the tunnel needs, and name the first thing that fails");
    command->footer(
        "Looks, in this order, at the service, the caller's rights, the clock, the store, the\n"
        "switches, the settings, the CA certificates, the server's name, routes, the tunnel's\n"
        "program and the tunnel itself. Each is good, bad or unknown; unknown is neither good\n"
        "nor bad. Changes nothing and takes a few seconds at most.\n"
        "Exit codes: 0 nothing bad, 5 something is bad, 7, 8, 10, 11 the service cannot be asked.");
    command->callback([&context] {
        std::optional<Failure> failure;
        Json diagnosis;
        if (context.reportFile.empty()) {
            Surroundings surroundings;
            diagnosis = diagnosisOf(examine(
                [&] {
                    Answer answer = askStatus(context);
                    failure = answer.failure;
                    return answer;
                },
                surroundings, context.language));
        } else {
            diagnosis = partOf(readReport(context.reportFile), "doctor");
        }
        printResult(context, diagnosis, [&] { return diagnosisText(diagnosis, context.style); });
        context.exitCode = exitCodeOf(diagnosis, failure);
    });
}

void addReportCommand(CLI::App& app, Context& context)
{
    CLI::App* const command = app.add_subcommand(
        "report", "Write a file for support: status, settings, history, diagnosis, log, versions");
    struct Wanted {
        std::string path;
        std::string logFile;
    };
    const auto wanted = std::make_shared<Wanted>();
    command->add_option("file", wanted->path, "The file; replaced when it is there")
        ->type_name("FILE")
        ->required();
    command
        ->add_option("--log", wanted->logFile, "The service's log, where it is not in the journal")
        ->type_name("FILE");
    command->footer(
        "The file is JSON with a manifest, has mode 0600 and a few MiB at most. Passwords, keys\n"
        "and certificates are masked; names and addresses are not. What cannot be read is\n"
        "named in the manifest, and the report is written all the same.\n"
        "orva-vpnctl --from FILE status, history and doctor show it at home.\n"
        "Exit codes: 0 written, 1 it cannot be written.");
    command->callback([&context, wanted] { writeReport(context, wanted->path, wanted->logFile); });
}

}  // namespace ctl
