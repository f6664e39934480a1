#pragma once

#include "service/base/EventLoop.h"
#include "service/core/HistoryEntry.h"
#include "service/core/HistoryIds.h"
#include "service/core/IStore.h"

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <set>
#include <vector>

namespace vpnd
{

// Milliseconds since 1970; may be wrong, and jump.
using WallClock = std::function<std::int64_t()>;

struct HistoryBounds {
    std::size_t rows = 10000;
    // For entries that come by themselves. What clients change is stored with their change,
    // and is taken off this as well.
    std::uint64_t bytesADay = 8 * 1024 * 1024;
};

// What has happened: at once in memory and some time later, or with a change, in the store.
//
// Flash wears out. Entries wait until several can be written at once, and longer when the
// day's bytes are used up. One that says the same as the latest is counted in it and waits
// for the next one that is written. Requests, and states of the last hour, are also counted in
// one of the last kLookBack entries: neither a caller who is refused in several ways by turns
// nor a line that comes and goes fills the history.
//
// Numbers are reserved in the store, kReserved at a time, before anybody is told of them. When
// the store refuses that, or takes longer than kReserveWithinMs and the numbers have run out,
// the history gets another life(): within one life no number is given twice, whatever ends the
// service.
class History
{
public:
    static constexpr std::int64_t kFlushDelayMs = 5000;
    static constexpr std::size_t kLookBack = 64;
    static constexpr std::int64_t kStateCountedMs = 60 * 60 * 1000;
    // Entries that wait to be written; the oldest of more are never written.
    static constexpr std::size_t kMostUnwritten = 1000;
    static constexpr std::int64_t kReserved = 1000;
    static constexpr std::int64_t kReserveWithinMs = 2000;

    // Entries that are on their way to the store.
    struct Batch {
        std::vector<std::int64_t> own;  // of a change
        std::vector<std::int64_t> others;
    };

    // stored: what the store holds, oldest first. Borrows loop and store.
    History(EventLoop& loop, IStore& store, WallClock wallClock, HistoryBounds bounds,
            std::vector<HistoryEntry> stored, HistoryIds ids = {});

    void setBounds(HistoryBounds bounds);

    // At the present time; id, times and count are filled in.
    void add(HistoryEntry entry);

    // Entries of a change that is about to be stored: in the commit they are done, and here
    // pending until settle() says how it ended. What else is unwritten goes with them.
    [[nodiscard]] Batch addTo(Commit& commit, std::vector<HistoryEntry> entries);
    void settle(const Batch& batch, const CommitResult& result);
    // Those of the change, as long as they are there.
    [[nodiscard]] std::vector<HistoryEntry> entriesOf(const Batch& batch) const;
    // What the change has changed in truth: other values before, or more than its entries say.
    void correct(const Batch& batch, const std::vector<HistoryEntry>& truth);

    // Gives all that is unwritten to the store, whatever the day's bytes are.
    void flush();
    // The same for the end, after which nothing is added: numbers that were not used are free.
    void finish();

    // Oldest first.
    const std::deque<HistoryEntry>& entries() const { return m_entries; }
    // How many have been removed since the beginning: entries()[0] is the one of this place.
    std::size_t removed() const { return m_removed; }

    // Of the numbers.
    const std::string& life() const { return m_ids.life; }
    // Whether outcome and number of the entry are certain.
    bool isSettled(const HistoryEntry& entry) const;
    // What stands in the store of them; nothing where it knows nothing of this life.
    std::optional<StoredSetting> idsStored() const;

    // Called when entries were added or settled; must not touch the history.
    void onNews(std::function<void()> news) { m_news = std::move(news); }
    std::int64_t wallNowMs() const { return m_wallClock(); }

private:
    HistoryEntry& append(HistoryEntry entry);
    HistoryEntry* find(std::int64_t id);
    const HistoryEntry* find(std::int64_t id) const;
    HistoryEntry* sameAs(const HistoryEntry& entry);
    void trim();
    void mark(std::int64_t id);
    void markDue(std::int64_t id);
    void takeUnwritten(Commit& commit, Batch& batch);
    void flushWhenDue();
    void wait();
    double refill();
    void reserve();
    void loseLife();
    void tell();

    IStore& m_store;
    EventLoop& m_loop;
    WallClock m_wallClock;
    HistoryBounds m_bounds;
    std::deque<HistoryEntry> m_entries;
    HistoryIds m_ids;  // as they are stored, unless the life is lost
    bool m_isReserving = false;
    bool m_isLifeLost = false;  // the store knows nothing of it
    std::int64_t m_nextId = 1;
    std::size_t m_removed = 0;
    std::function<void()> m_news;
    std::set<std::int64_t> m_unwritten;
    bool m_isDue = false;  // one of them is more than another count
    bool m_isWriting = false;
    double m_bytesLeft;  // of the day's; below 0 after changes by clients
    std::int64_t m_refilledMs;
    double m_flushBytes;  // what the last one took
    Timer m_flush;
    Timer m_reserveLate;
};

}  // namespace vpnd
