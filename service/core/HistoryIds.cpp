#include "service/core/HistoryIds.h"

#include <spdlog/fmt/fmt.h>

#include <charconv>
#include <cstddef>
#include <random>

namespace vpnd
{

HistoryIds HistoryIds::begun() { return {randomTag(), 0}; }

std::optional<HistoryIds> HistoryIds::parse(std::string_view text)
{
    constexpr std::size_t kTagBytes = 8;
    if (text.size() < kTagBytes + 2 || text[kTagBytes] != ':') return std::nullopt;
    HistoryIds ids;
    ids.life = text.substr(0, kTagBytes);
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data() + kTagBytes + 1, end, ids.reservedTo);
    const bool isHexadecimal = ids.life.find_first_not_of("0123456789abcdef") == std::string::npos;
    if (error != std::errc() || stopped != end || ids.reservedTo < 0 || !isHexadecimal) {
        return std::nullopt;
    }
    return ids;
}

std::string HistoryIds::text() const { return life + ":" + std::to_string(reservedTo); }

std::string randomTag() { return fmt::format("{:08x}", std::random_device()()); }

}  // namespace vpnd
