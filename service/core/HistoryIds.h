#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>

namespace vpnd
{

// Which numbers of the history are in use, stored before they are: a number that somebody has
// seen must not be given again after a crash that lost the row.
struct HistoryIds {
    // Under this key among the stored settings; it is none of them.
    static constexpr const char* kKey = "history-ids";

    std::string life = "0";                                              // of the numbers
    std::int64_t reservedTo = std::numeric_limits<std::int64_t>::max();  // nothing to store

    // A life that there has not been, with no number in use.
    [[nodiscard]] static HistoryIds begun();

    // "7f3a9c21:2000", as it is stored; nothing for anything else.
    [[nodiscard]] static std::optional<HistoryIds> parse(std::string_view text);
    [[nodiscard]] std::string text() const;
};

// Eight hexadecimal digits that nobody foresees.
[[nodiscard]] std::string randomTag();

}  // namespace vpnd
