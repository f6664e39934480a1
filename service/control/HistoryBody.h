#pragma once

#include "service/control/HttpReply.h"
#include "service/core/History.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace vpnd
{

// The place of the first entry behind the one of this number: removed() for the first one.
[[nodiscard]] std::size_t placeBehind(const History& history, std::int64_t id);

// The answer to GET /v1/history. Rows that are removed while it is sent are left out.
class HistoryBody final : public IBodySource
{
public:
    static constexpr std::size_t kMaxRows = 1000;
    static constexpr std::size_t kUsualRows = 100;

    // Borrows the history. after: nothing for the newest rows.
    HistoryBody(const History& history, std::optional<std::int64_t> after, std::size_t limit);

    More write(std::string& to) override;

private:
    std::string headOf(std::optional<std::int64_t> after) const;

    const History& m_history;
    std::size_t m_next;  // places
    std::size_t m_end;
    std::string m_head;
    bool m_hasRows = false;
};

}  // namespace vpnd
