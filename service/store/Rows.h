#pragma once

#include "service/core/IStore.h"
#include "service/store/Database.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace vpnd
{

// Longest texts that are stored, and that are believed when they are read.
constexpr std::size_t kMaxStoredKeyBytes = 64;
constexpr std::size_t kMaxStoredValueBytes = 128 * 1024;
constexpr std::size_t kMaxStoredTextBytes = 4096;
constexpr std::size_t kMostStoredSettings = 64;
// Ids of the history go up to here.
constexpr std::int64_t kMaxHistoryId = std::int64_t{1} << 53;

// What a file holds.
struct StoreContents {
    std::vector<StoredSetting> settings;
    std::vector<HistoryEntry> history;  // oldest first
    // Entries that this program does not understand: of a newer one with the same tables.
    std::size_t entriesLeftOut = 0;
    std::int64_t oldestId = 0;  // of the entries that were read; 0 if there are none
};

// The newest rows of the history, as many as that. Raises DatabaseError, kDamaged, for what
// cannot have been written here.
[[nodiscard]] StoreContents readRows(Database& database, std::size_t historyRows);

// Within a transaction of the caller. Raises DatabaseError, kOther, when something in it is
// longer than what could be read again. Leaves keepFromId to removeEntriesBefore().
void writeRows(Database& database, const Commit& commit);
void removeEntriesBefore(Database& database, std::int64_t id);

// About what it takes of memory while it waits.
[[nodiscard]] std::size_t bytesOf(const Commit& commit);

}  // namespace vpnd
