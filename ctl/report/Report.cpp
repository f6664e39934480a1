#include "ctl/report/Report.h"

#include "common/ReadFile.h"
#include "ctl/base/Failure.h"
#include "ctl/base/Words.h"
#include "ctl/report/Scrubber.h"

#include <stdexcept>
#include <utility>

namespace ctl
{
namespace
{

constexpr const char* kFormat = "orva-vpn-report";
constexpr int kFormatVersion = 1;

std::size_t bytesOf(const Json& value) { return printed(value, Layout::kOneLine).size(); }

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

// Takes the oldest rows away until the rest fits.
bool cutRows(Json& history)
{
    const auto rows = history.find("entries");
    if (rows == history.end() || !rows->is_array()) return false;
    std::size_t bytes = 0;
    std::size_t kept = 0;
    while (kept < rows->size()) {
        bytes += bytesOf((*rows)[rows->size() - 1 - kept]) + 1;
        if (bytes > kMaxHistoryBytes) break;
        ++kept;
    }
    if (kept == rows->size()) return false;
    Json newest = Json::array();
    for (std::size_t i = rows->size() - kept; i < rows->size(); ++i) newest.push_back((*rows)[i]);
    *rows = std::move(newest);
    return true;
}

void bound(ReportPart& part)
{
    if (part.content.is_null() || part.name == "log") return;  // the log was cut when it was read
    if (part.name == "history") part.isCut = cutRows(part.content) || part.isCut;
    const std::size_t most =
        part.name == "history" ? kMaxHistoryBytes + kMaxPartBytes : kMaxPartBytes;
    if (bytesOf(part.content) <= most) return;
    part.content = nullptr;
    part.problem = "larger than " + bytesText(static_cast<std::int64_t>(most));
}

}  // namespace

Json makeReport(std::int64_t nowMs, std::vector<ReportPart> parts,
                const std::vector<std::string>& secrets)
{
    Scrubber scrubber;
    for (const std::string& each : secrets) scrubber.learnSecret(each);
    for (const ReportPart& each : parts) scrubber.learn(each.content);

    Json report;
    report["manifest"] = {
        {"format", kFormat},       {"version", kFormatVersion},         {"made_ms", nowMs},
        {"made", timeText(nowMs)}, {"by", "orva-vpnctl " ORVA_VERSION}, {"parts", Json::array()}};
    for (ReportPart& each : parts) {
        Json content = scrubber.maskedJson(each.content);
        // Masked as one text: a key may go over several lines.
        if (each.name == "log" && content.is_string()) content = linesOf(content);
        each.content = std::move(content);
        bound(each);
        report["manifest"]["parts"].push_back(
            {{"name", each.name},
             {"bytes", each.content.is_null() ? 0 : bytesOf(each.content)},
             {"cut", each.isCut},
             {"problem",
              each.problem.empty() ? Json(nullptr) : Json(scrubber.masked(each.problem))}});
        report[each.name] = std::move(each.content);
    }
    return report;
}

Json readReport(const std::string& path)
{
    const common::FileContent file = common::readFile(path, kMaxReportBytes);
    if (!file.problem.empty()) {
        throw Failure(kExitUsage, "cannot read " + path + ": " + file.problem);
    }
    try {
        Json report = parseJson(std::string(file.bytes.begin(), file.bytes.end()));
        if (textAt(report, "manifest.format") != kFormat) {
            throw std::invalid_argument("JSON of another kind");
        }
        if (numberAt(report, "manifest.version") != kFormatVersion) {
            throw Failure(kExitOtherVersion,
                          path + " is a report of version " + textAt(report, "manifest.version") +
                              ", and this program reads version 1",
                          "Read it with the orva-vpnctl that has written it: " +
                              textAt(report, "manifest.by") + ".");
        }
        return report;
    } catch (const std::invalid_argument& error) {
        throw Failure(kExitUsage, path + " is no report of orva-vpnctl: " + error.what());
    }
}

Json partOf(const Json& report, const std::string& name)
{
    const Json* const part = find(report, name);
    if (part != nullptr && part->is_object()) return *part;
    std::string problem = "it is not in there";
    const Json* const parts = find(report, "manifest.parts");
    if (parts != nullptr && parts->is_array()) {
        for (const Json& each : *parts) {
            const std::string told = textAt(each, "problem");
            if (textAt(each, "name") == name && !told.empty()) problem = told;
        }
    }
    throw Failure(kExitNoService, "the report has no " + name + ": " + problem);
}

}  // namespace ctl
