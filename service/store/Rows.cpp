#include "service/store/Rows.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace vpnd
{
namespace
{

// Words, because numbers of an enumeration move; and here, because files hold them for ever.
template <class Value, std::size_t count>
using Words = std::array<std::pair<Value, const char*>, count>;

constexpr Words<EventKind, 6> kKinds = {{{EventKind::kService, "service"},
                                         {EventKind::kState, "state"},
                                         {EventKind::kSetting, "setting"},
                                         {EventKind::kRequest, "request"},
                                         {EventKind::kConfiguration, "configuration"},
                                         {EventKind::kStore, "store"}}};
constexpr Words<Interface, 3> kInterfaces = {
    {{Interface::kService, "service"}, {Interface::kRpc, "rpc"}, {Interface::kControl, "control"}}};
constexpr Words<Outcome, 6> kOutcomes = {{{Outcome::kDone, "done"},
                                          {Outcome::kInvalid, "invalid"},
                                          {Outcome::kNotNow, "not now"},
                                          {Outcome::kNotStored, "not stored"},
                                          {Outcome::kNotAllowed, "not allowed"},
                                          {Outcome::kPending, "pending"}}};

[[noreturn]] void raise(DatabaseError::Kind kind, const std::string& what)
{
    throw DatabaseError(kind, what);
}

template <class Value, std::size_t count>
const char* wordOf(const Words<Value, count>& words, Value value)
{
    for (const auto& [each, word] : words) {
        if (each == value) return word;
    }
    raise(DatabaseError::Kind::kOther, "a value that has no word");
}

// False for a word that this program does not know.
template <class Value, std::size_t count>
bool read(const Words<Value, count>& words, std::string_view text, Value& value)
{
    for (const auto& [each, word] : words) {
        if (text == word) {
            value = each;
            return true;
        }
    }
    return false;
}

// Numbers that this program cannot have written.
template <class Number>
bool read(std::int64_t stored, Number& number)
{
    if (stored < 0 || stored > std::int64_t{std::numeric_limits<Number>::max()}) return false;
    number = static_cast<Number>(stored);
    return true;
}

constexpr const char* kSelectHistory =
    "SELECT id, first_ms, last_ms, count, kind, subject, old_value, new_value,"
    " interface, uid, program, outcome, reason, detail"
    " FROM history ORDER BY id DESC LIMIT ?1";
constexpr const char* kInsertHistory =
    "INSERT OR REPLACE INTO history (id, first_ms, last_ms, count, kind, subject, old_value,"
    " new_value, interface, uid, program, outcome, reason, detail)"
    " VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8, ?9, ?10, ?11, ?12, ?13, ?14)";

std::optional<HistoryEntry> entryIn(const Statement& row)
{
    const auto text = [&row](int column) { return row.text(column, kMaxStoredTextBytes); };
    HistoryEntry entry;
    entry.id = row.number(0);
    if (entry.id < 1 || entry.id > kMaxHistoryId) {
        raise(DatabaseError::Kind::kDamaged, "an entry numbered " + std::to_string(entry.id));
    }
    entry.firstMs = row.number(1);
    entry.lastMs = row.number(2);
    entry.subject = text(5);
    entry.before = text(6);
    entry.after = text(7);
    entry.caller.program = text(10);
    entry.detail = text(13);
    uid_t uid = 0;
    std::int32_t reason = 0;
    const bool isUnderstood =
        read(row.number(3), entry.count) && read(kKinds, text(4), entry.kind) &&
        read(kInterfaces, text(8), entry.caller.interface) && read(row.number(9), uid) &&
        read(kOutcomes, text(11), entry.outcome) && read(row.number(12), reason) &&
        (reason == 0 || findReason(reason) != nullptr);
    if (!isUnderstood) return std::nullopt;
    entry.reason = static_cast<Reason>(reason);
    if (!row.isNothing(9)) entry.caller.uid = uid;
    return entry;
}

void require(bool fits, const char* what)
{
    if (!fits) raise(DatabaseError::Kind::kOther, what);
}

void write(Statement& row, const HistoryEntry& entry)
{
    require(entry.id >= 1 && entry.id <= kMaxHistoryId, "the number of an entry is out of range");
    for (const std::string* text :
         {&entry.subject, &entry.before, &entry.after, &entry.caller.program, &entry.detail}) {
        require(text->size() <= kMaxStoredTextBytes, "a text of an entry is too long");
    }
    row.bind(1, entry.id).bind(2, entry.firstMs).bind(3, entry.lastMs);
    row.bind(4, std::int64_t{entry.count}).bind(5, wordOf(kKinds, entry.kind));
    row.bind(6, entry.subject).bind(7, entry.before).bind(8, entry.after);
    row.bind(9, wordOf(kInterfaces, entry.caller.interface));
    if (entry.caller.uid) {
        row.bind(10, std::int64_t{*entry.caller.uid});
    } else {
        row.bindNothing(10);
    }
    row.bind(11, entry.caller.program).bind(12, wordOf(kOutcomes, entry.outcome));
    row.bind(13, static_cast<std::int64_t>(entry.reason)).bind(14, entry.detail);
    row.run();
}

}  // namespace

StoreContents readRows(Database& database, std::size_t historyRows)
{
    StoreContents contents;
    Statement settings(database, "SELECT key, value FROM setting ORDER BY key");
    while (settings.step()) {
        if (contents.settings.size() == kMostStoredSettings) {
            raise(DatabaseError::Kind::kDamaged, "more settings than there can be");
        }
        contents.settings.push_back(
            {settings.text(0, kMaxStoredKeyBytes), settings.text(1, kMaxStoredValueBytes)});
    }
    Statement history(database, kSelectHistory);
    history.bind(1, static_cast<std::int64_t>(historyRows));
    while (history.step()) {
        contents.oldestId = history.number(0);
        if (std::optional<HistoryEntry> entry = entryIn(history)) {
            contents.history.push_back(std::move(*entry));
        } else {
            ++contents.entriesLeftOut;
        }
    }
    std::reverse(contents.history.begin(), contents.history.end());
    return contents;
}

void writeRows(Database& database, const Commit& commit)
{
    Statement setting(database, "INSERT OR REPLACE INTO setting (key, value) VALUES (?1, ?2)");
    for (const StoredSetting& each : commit.settings) {
        require(each.key.size() <= kMaxStoredKeyBytes, "the key of a setting is too long");
        require(each.value.size() <= kMaxStoredValueBytes, "the value of a setting is too long");
        setting.bind(1, each.key).bind(2, each.value).run();
    }
    require(commit.settings.empty() || database.number("SELECT count(*) FROM setting") <=
                                           static_cast<std::int64_t>(kMostStoredSettings),
            "more settings than there can be");
    Statement entry(database, kInsertHistory);
    for (const HistoryEntry& each : commit.history) write(entry, each);
}

void removeEntriesBefore(Database& database, std::int64_t id)
{
    Statement(database, "DELETE FROM history WHERE id < ?1").bind(1, id).run();
}

std::size_t bytesOf(const Commit& commit)
{
    std::size_t bytes = sizeof commit;
    for (const StoredSetting& each : commit.settings) {
        bytes += sizeof each + each.key.size() + each.value.size();
    }
    for (const HistoryEntry& each : commit.history) {
        bytes += sizeof each + each.subject.size() + each.before.size() + each.after.size() +
                 each.caller.program.size() + each.detail.size();
    }
    return bytes;
}

}  // namespace vpnd
