#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace ctl
{

// Forms in which states and reasons are printed.
enum class Format {
    kText,      // for people
    kCsv,       // as RFC 4180, but for its line ends; first line: names of the columns
    kJson,      // {"states": [...], "reasons": [...]}
    kPo,        // gettext, English to Chinese
    kMarkdown,  // the tables of docs/reasons.md
};

[[nodiscard]] std::optional<Format> formatOf(std::string_view name);
[[nodiscard]] std::vector<std::string> formatNames();

// All states and reasons with their texts, UTF-8, whole lines.
[[nodiscard]] std::string textList(Format format);

}  // namespace ctl
