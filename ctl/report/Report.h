#pragma once

#include "ctl/base/Json.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ctl
{

// Largest parts of a report, and largest report that is read.
constexpr std::size_t kMaxLogBytes = 512 * 1024;
constexpr std::size_t kMaxHistoryBytes = 1024 * 1024;
constexpr std::size_t kMaxPartBytes = 256 * 1024;
constexpr std::size_t kMaxReportBytes = 8 * 1024 * 1024;

// One thing that belongs to a report.
struct ReportPart {
    std::string name;     // "status", "settings", "history", "doctor", "log", "versions"
    Json content;         // null where there is none
    std::string problem;  // why there is none
    bool isCut = false;   // its oldest part is missing
};

// {"manifest": ..., and each part by its name}: what the parts hold, without secrets and within
// the bounds; what is too large loses its oldest rows or lines, or is left out. secrets: values
// that must not appear besides those that the parts themselves show to be secret.
[[nodiscard]] Json makeReport(std::int64_t nowMs, std::vector<ReportPart> parts,
                              const std::vector<std::string>& secrets);

// A report that was written before. Raises Failure when the file is none.
[[nodiscard]] Json readReport(const std::string& path);

// One part of it. Raises Failure where the report has none, with the reason that it tells.
[[nodiscard]] Json partOf(const Json& report, const std::string& name);

// The end of the service's log: of the file if one is named, else of the journal. Waits for at
// most ten seconds.
[[nodiscard]] ReportPart readLog(const std::string& file);

}  // namespace ctl
