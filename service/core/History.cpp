#include "service/core/History.h"

#include "common/Utf8.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

namespace vpnd
{
namespace
{

constexpr std::int32_t kDayMs = 24 * 60 * 60 * 1000;
constexpr double kUsualFlushBytes = 16 * 1024;

// Cut at a character.
void limit(std::string& text)
{
    constexpr std::string_view kCut = "...";
    if (text.size() <= kMaxHistoryTextBytes) return;
    std::size_t bytes = 0;
    for (std::string_view rest = text;;) {
        const std::size_t next = bytes + common::firstCharacter(rest).bytes;
        if (next + kCut.size() > kMaxHistoryTextBytes) break;
        rest.remove_prefix(next - bytes);
        bytes = next;
    }
    text.resize(bytes);
    text += kCut;
}

}  // namespace

History::History(EventLoop& loop, IStore& store, WallClock wallClock, HistoryBounds bounds,
                 std::vector<HistoryEntry> stored, HistoryIds ids)
    : m_store(store),
      m_loop(loop),
      m_wallClock(std::move(wallClock)),
      m_bounds(bounds),
      m_entries(std::make_move_iterator(stored.begin()), std::make_move_iterator(stored.end())),
      m_ids(std::move(ids)),
      m_bytesLeft(static_cast<double>(bounds.bytesADay)),
      m_refilledMs(loop.nowMs()),
      m_flushBytes(kUsualFlushBytes),
      m_flush(loop, [this] { flushWhenDue(); }),
      m_reserveLate(loop, [this] { loseLife(); })
{
    if (!m_entries.empty()) m_nextId = m_entries.back().id + 1;
    if (m_ids.reservedTo != HistoryIds().reservedTo) {
        m_nextId = std::max(m_nextId, m_ids.reservedTo + 1);
    }
    trim();
}

void History::setBounds(HistoryBounds bounds)
{
    refill();
    m_bounds = bounds;
    m_bytesLeft = std::min(m_bytesLeft, static_cast<double>(bounds.bytesADay));
    trim();
}

void History::add(HistoryEntry entry)
{
    limit(entry.before);
    limit(entry.after);
    limit(entry.detail);
    if (HistoryEntry* const same = sameAs(entry)) {
        if (same->count < std::numeric_limits<std::uint32_t>::max()) ++same->count;
        same->lastMs = m_wallClock();
        mark(same->id);
        return;
    }
    markDue(append(std::move(entry)).id);
    tell();
}

History::Batch History::addTo(Commit& commit, std::vector<HistoryEntry> entries)
{
    Batch batch;
    for (HistoryEntry& entry : entries) {
        limit(entry.before);
        limit(entry.after);
        limit(entry.detail);
        HistoryEntry& added = append(std::move(entry));
        added.outcome = Outcome::kDone;
        commit.history.push_back(added);
        added.outcome = Outcome::kPending;
        batch.own.push_back(added.id);
    }
    takeUnwritten(commit, batch);
    commit.keepFromId = m_entries.empty() ? 0 : m_entries.front().id;
    tell();
    return batch;
}

void History::settle(const Batch& batch, const CommitResult& result)
{
    refill();
    const auto perDay = static_cast<double>(m_bounds.bytesADay);
    m_bytesLeft = std::max(m_bytesLeft - static_cast<double>(result.bytesWritten), -perDay);
    for (const std::int64_t id : batch.own) {
        HistoryEntry* const entry = find(id);
        if (entry == nullptr) continue;
        entry->outcome = result.isStored ? Outcome::kDone : Outcome::kNotStored;
        if (!result.isStored) markDue(id);
    }
    tell();
    if (result.isStored && m_isLifeLost) reserve();
    if (result.isStored) return;
    for (const std::int64_t id : batch.others) {
        if (find(id) != nullptr) markDue(id);
    }
}

std::vector<HistoryEntry> History::entriesOf(const Batch& batch) const
{
    std::vector<HistoryEntry> entries;
    for (const std::int64_t id : batch.own) {
        if (const HistoryEntry* const entry = find(id)) entries.push_back(*entry);
    }
    return entries;
}

void History::correct(const Batch& batch, const std::vector<HistoryEntry>& truth)
{
    std::set<std::string> told;
    for (const std::int64_t id : batch.own) {
        HistoryEntry* const entry = find(id);
        if (entry == nullptr) continue;
        told.insert(entry->subject);
        const auto real = std::find_if(truth.begin(), truth.end(), [&](const HistoryEntry& each) {
            return each.subject == entry->subject;
        });
        const std::string& before = real == truth.end() ? entry->after : real->before;
        if (before == entry->before) continue;
        entry->before = before;
        markDue(id);
    }
    for (const HistoryEntry& each : truth) {
        if (told.count(each.subject) == 0) add(each);
    }
}

void History::flush()
{
    Commit commit;
    Batch batch;
    takeUnwritten(commit, batch);
    if (commit.history.empty()) return;
    commit.keepFromId = m_entries.front().id;
    m_isWriting = true;
    m_store.commit(std::move(commit), [this, batch](const CommitResult& result) {
        m_isWriting = false;
        if (result.bytesWritten > 0) m_flushBytes = static_cast<double>(result.bytesWritten);
        settle(batch, result);
        if (m_isDue) wait();
    });
}

void History::finish()
{
    flush();
    if (!idsStored()) return;
    Commit commit;
    commit.settings.push_back({HistoryIds::kKey, HistoryIds{m_ids.life, m_nextId - 1}.text()});
    m_store.commit(std::move(commit), [](const CommitResult&) {});
}

std::optional<StoredSetting> History::idsStored() const
{
    if (m_ids.reservedTo == HistoryIds().reservedTo) return std::nullopt;
    return StoredSetting{HistoryIds::kKey, m_ids.text()};
}

bool History::isSettled(const HistoryEntry& entry) const
{
    return entry.outcome != Outcome::kPending && entry.id <= m_ids.reservedTo;
}

HistoryEntry& History::append(HistoryEntry entry)
{
    // In good time before they run out.
    if (m_nextId > m_ids.reservedTo - kReserved / 2) reserve();
    entry.id = m_nextId++;
    if (entry.id > m_ids.reservedTo && !m_reserveLate.isRunning()) {
        m_reserveLate.start(kReserveWithinMs);
    }
    entry.firstMs = entry.lastMs = m_wallClock();
    entry.count = 1;
    m_entries.push_back(std::move(entry));
    trim();
    return m_entries.back();
}

const HistoryEntry* History::find(std::int64_t id) const
{
    const auto found = std::lower_bound(
        m_entries.begin(), m_entries.end(), id,
        [](const HistoryEntry& entry, std::int64_t wanted) { return entry.id < wanted; });
    return found != m_entries.end() && found->id == id ? &*found : nullptr;
}

HistoryEntry* History::find(std::int64_t id)
{
    return const_cast<HistoryEntry*>(std::as_const(*this).find(id));
}

// The one that can count it.
HistoryEntry* History::sameAs(const HistoryEntry& entry)
{
    const std::int64_t nowMs = m_wallClock();
    std::size_t place = 0;  // from the latest on
    for (auto each = m_entries.rbegin(); each != m_entries.rend() && place < kLookBack; ++each) {
        const bool isNear = ++place == 1 || entry.kind == EventKind::kRequest ||
                            (entry.kind == EventKind::kState &&
                             nowMs - each->firstMs < kStateCountedMs && nowMs >= each->firstMs);
        if (isNear && saysTheSame(*each, entry)) return &*each;
    }
    return nullptr;
}

void History::trim()
{
    while (m_entries.size() > m_bounds.rows) {
        m_unwritten.erase(m_entries.front().id);
        m_entries.pop_front();
        ++m_removed;
    }
}

void History::markDue(std::int64_t id)
{
    mark(id);
    m_isDue = true;
    wait();
}

void History::mark(std::int64_t id)
{
    m_unwritten.insert(id);
    if (m_unwritten.size() > kMostUnwritten) m_unwritten.erase(m_unwritten.begin());
}

void History::takeUnwritten(Commit& commit, Batch& batch)
{
    m_isDue = false;
    for (const std::int64_t id : std::exchange(m_unwritten, {})) {
        const HistoryEntry* const entry = find(id);
        if (entry == nullptr) continue;
        commit.history.push_back(*entry);
        batch.others.push_back(id);
    }
}

void History::flushWhenDue()
{
    if (m_isWriting || !m_isDue) return;
    const auto perDay = static_cast<double>(m_bounds.bytesADay);
    const double missing = std::min(m_flushBytes, perDay) - refill();
    if (missing <= 0) return flush();
    const double delayMs = std::min(missing / perDay * kDayMs + 1, double{kDayMs});
    m_flush.start(std::max(kFlushDelayMs, static_cast<std::int64_t>(delayMs)));
}

void History::wait()
{
    if (!m_flush.isRunning() && !m_isWriting) m_flush.start(kFlushDelayMs);
}

void History::reserve()
{
    if (m_isReserving) return;
    const HistoryIds ids{m_ids.life, m_nextId - 1 + kReserved};
    Commit commit;
    commit.settings.push_back({HistoryIds::kKey, ids.text()});
    m_isReserving = true;
    m_store.commit(std::move(commit), [this, ids](const CommitResult& result) {
        m_isReserving = false;
        m_reserveLate.cancel();
        refill();
        m_bytesLeft -= static_cast<double>(result.bytesWritten);
        if (!result.isStored) return loseLife();
        // It took too long: this life counts no more, or more numbers than these are known.
        if (ids.life != m_ids.life) return reserve();
        if (m_isLifeLost && m_nextId - 1 > ids.reservedTo) {
            m_ids.life = randomTag();
            return reserve();
        }
        m_ids.reservedTo = ids.reservedTo;
        m_isLifeLost = false;
        tell();
    });
}

// From here on numbers are told that the store does not know of: they are another life's.
void History::loseLife()
{
    if (m_isLifeLost) return;
    m_ids = {randomTag(), HistoryIds().reservedTo};
    m_isLifeLost = true;
    tell();
}

void History::tell()
{
    if (m_news) m_news();
}

// The bytes that may be written now.
double History::refill()
{
    const auto perDay = static_cast<double>(m_bounds.bytesADay);
    const std::int64_t nowMs = m_loop.nowMs();
    const double days = static_cast<double>(nowMs - std::exchange(m_refilledMs, nowMs)) / kDayMs;
    m_bytesLeft = std::min(m_bytesLeft + days * perDay, perDay);
    return m_bytesLeft;
}

}  // namespace vpnd
