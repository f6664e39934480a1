#include "service/core/History.h"

#include "tests/service/TestStore.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace
{

using vpnd::Commit;
using vpnd::EventKind;
using vpnd::History;
using vpnd::HistoryBounds;
using vpnd::HistoryEntry;
using vpnd::Outcome;

class HistoryTest : public testing::Test
{
protected:
    HistoryTest() { begin({}); }

    void begin(HistoryBounds bounds, std::vector<HistoryEntry> stored = {})
    {
        m_history.emplace(
            m_loop, store, [this] { return wallMs; }, bounds, std::move(stored));
    }
    static HistoryEntry entry(const std::string& subject, EventKind kind = EventKind::kState)
    {
        HistoryEntry entry;
        entry.kind = kind;
        entry.subject = subject;
        return entry;
    }
    void pass(std::int64_t ms)
    {
        m_nowMs += ms;
        wallMs += ms;
        m_loop.turn(0);
        store.answerAll();
    }
    History& history() { return *m_history; }

    TestStore store;
    std::int64_t wallMs = 1'000'000;

private:
    std::int64_t m_nowMs = 0;
    vpnd::EventLoop m_loop{[this] { return m_nowMs; }};
    std::optional<History> m_history;
};

TEST_F(HistoryTest, EntriesHaveRisingNumbersAndTheirTime)
{
    history().add(entry("a"));
    wallMs += 5;
    history().add(entry("b"));
    ASSERT_EQ(history().entries().size(), 2u);
    EXPECT_EQ(history().entries()[0].id, 1);
    EXPECT_EQ(history().entries()[1].id, 2);
    EXPECT_EQ(history().entries()[1].firstMs, 1'000'005);
    EXPECT_EQ(history().entries()[1].lastMs, 1'000'005);
}

TEST_F(HistoryTest, NumbersGoOnBehindWhatIsStored)
{
    HistoryEntry old = entry("old");
    old.id = 41;
    begin({}, {old});
    history().add(entry("new"));
    EXPECT_EQ(history().entries().back().id, 42);
}

TEST_F(HistoryTest, EqualOnesInARowAreCountedAndNotWritten)
{
    history().add(entry("a"));
    pass(History::kFlushDelayMs);
    ASSERT_EQ(store.history.size(), 1u);
    for (int i = 0; i < 1000; ++i) {
        history().add(entry("a"));
        pass(60 * 1000);
    }
    EXPECT_EQ(history().entries().size(), 1u);
    EXPECT_EQ(history().entries()[0].count, 1001u);
    EXPECT_GT(history().entries()[0].lastMs, history().entries()[0].firstMs);
    EXPECT_EQ(store.history.size(), 1u);
    history().add(entry("b"));
    pass(History::kFlushDelayMs);
    ASSERT_EQ(store.history.size(), 3u) << "the count goes with the next one that is written";
    EXPECT_EQ(store.history[1].count, 1001u);
    EXPECT_EQ(store.history[2].subject, "b");
}

TEST_F(HistoryTest, ByTurnsSettingsAreDifferentOnes)
{
    for (int i = 0; i < 10; ++i) history().add(entry(i % 2 == 0 ? "a" : "b", EventKind::kSetting));
    EXPECT_EQ(history().entries().size(), 10u);
}

TEST_F(HistoryTest, StatesThatComeAndGoAreCountedForAnHour)
{
    for (int i = 0; i < 3 * 3600; ++i) {
        history().add(entry(i % 2 == 0 ? "a" : "b"));
        pass(1000);
    }
    EXPECT_EQ(history().entries().size(), 6u);
    EXPECT_EQ(history().entries()[0].count, 1800u);
    wallMs -= 24 * 3600 * 1000;
    history().add(entry("a"));
    EXPECT_EQ(history().entries().size(), 7u) << "not counted in one of the future";
}

TEST_F(HistoryTest, ACountThatChangesWhileItIsWrittenWaitsForTheNextEntry)
{
    history().add(entry("a"));
    wallMs += 1;
    history().flush();
    for (int i = 0; i < 100; ++i) {
        history().add(entry("a"));
        pass(History::kFlushDelayMs);
    }
    EXPECT_EQ(store.history.size(), 1u);
}

TEST_F(HistoryTest, RequestsByTurnsAreCountedToo)
{
    for (int i = 0; i < 100; ++i) {
        history().add(entry(std::to_string(i % 10), EventKind::kRequest));
        if (i % 4 == 0) history().add(entry(std::to_string(i)));
    }
    std::size_t requests = 0;
    for (const HistoryEntry& each : history().entries()) {
        if (each.kind == EventKind::kRequest) ++requests;
    }
    EXPECT_EQ(requests, 10u);
}

TEST_F(HistoryTest, SeveralAreWrittenAtOnce)
{
    for (int i = 0; i < 50; ++i) history().add(entry(std::to_string(i)));
    EXPECT_TRUE(store.history.empty());
    pass(History::kFlushDelayMs);
    EXPECT_EQ(store.history.size(), 50u);
    pass(1000 * 1000);
    EXPECT_EQ(store.history.size(), 50u) << "each of them once";
}

TEST_F(HistoryTest, RowsAreBounded)
{
    begin({100, 1 << 30});
    for (int i = 0; i < 1000; ++i) history().add(entry(std::to_string(i)));
    EXPECT_EQ(history().entries().size(), 100u);
    EXPECT_EQ(history().entries().front().subject, "900");
    Commit commit;
    const History::Batch batch = history().addTo(commit, {entry("change")});
    EXPECT_EQ(commit.keepFromId, history().entries().front().id);
    EXPECT_EQ(commit.history.size(), 100u) << "what has gone is not written";
}

TEST_F(HistoryTest, FewerRowsCountAtOnce)
{
    for (int i = 0; i < 50; ++i) history().add(entry(std::to_string(i)));
    history().setBounds({10, 1 << 20});
    EXPECT_EQ(history().entries().size(), 10u);
}

TEST_F(HistoryTest, ADaysBytesAreKept)
{
    constexpr std::uint64_t kADay = 1 << 20;
    begin({10000, kADay});
    store.bytesOfACommit = 12 * 1024;
    std::uint64_t commits = 0;
    std::size_t seen = 0;
    int number = 0;
    for (int second = 0; second < 24 * 60 * 60; ++second) {
        history().add(entry(std::to_string(++number)));
        pass(1000);
        if (store.history.size() != seen) ++commits;
        seen = store.history.size();
    }
    // A full day's worth may wait at its beginning.
    EXPECT_LE(commits * store.bytesOfACommit, 2 * kADay + 2 * store.bytesOfACommit);
    EXPECT_GT(commits * store.bytesOfACommit, kADay / 2);
}

TEST_F(HistoryTest, WhatClientsChangeIsWrittenWhateverTheDaysBytesAre)
{
    begin({10000, 4096});
    store.bytesOfACommit = 4096;
    for (int i = 0; i < 10; ++i) {
        Commit commit;
        commit.settings.push_back({"port", std::to_string(i + 1)});
        const History::Batch batch = history().addTo(commit, {entry(std::to_string(i))});
        store.commit(std::move(commit), [&, batch](const vpnd::CommitResult& result) {
            history().settle(batch, result);
        });
        store.answerAll();
    }
    EXPECT_EQ(store.history.size(), 10u);
    history().add(entry("by itself"));
    pass(60 * 60 * 1000);
    EXPECT_EQ(store.history.size(), 10u) << "the day's bytes are used up";
    // However much that was, a day makes up for it.
    for (int i = 0; i < 2 * 24 + 1; ++i) pass(60 * 60 * 1000);
    EXPECT_EQ(store.history.size(), 11u);
}

TEST_F(HistoryTest, WhatCouldNotBeWrittenIsWrittenLater)
{
    history().add(entry("a"));
    store.fails = true;
    pass(History::kFlushDelayMs);
    pass(History::kFlushDelayMs);
    store.fails = false;
    EXPECT_TRUE(store.history.empty());
    pass(History::kFlushDelayMs);
    ASSERT_EQ(store.history.size(), 1u);
    EXPECT_EQ(store.history[0].subject, "a");
}

TEST_F(HistoryTest, TheCountOfAnEntryThatIsBeingWrittenIsNotLost)
{
    history().add(entry("a"));
    history().flush();
    history().add(entry("a"));
    store.answerAll();
    history().flush();
    store.answerAll();
    ASSERT_EQ(store.history.size(), 2u);
    EXPECT_EQ(store.history[1].count, 2u);
    EXPECT_EQ(store.history[1].id, store.history[0].id);
}

TEST_F(HistoryTest, MoreThanCanWaitAreNeverWritten)
{
    store.fails = true;
    for (std::size_t i = 0; i < History::kMostUnwritten + 10; ++i) {
        history().add(entry(std::to_string(i)));
    }
    store.fails = false;
    history().flush();
    store.answerAll();
    EXPECT_EQ(store.history.size(), History::kMostUnwritten);
    EXPECT_EQ(store.history.front().subject, "10");
}

TEST_F(HistoryTest, LongTextsAreCutAtACharacter)
{
    HistoryEntry long_ = entry("a");
    for (int i = 0; i < 400; ++i) long_.detail += "\xe4\xb8\xad";
    history().add(long_);
    const std::string& kept = history().entries().back().detail;
    EXPECT_LE(kept.size(), vpnd::kMaxHistoryTextBytes);
    EXPECT_GT(kept.size(), vpnd::kMaxHistoryTextBytes - 6);
    EXPECT_EQ(kept.size() % 3, 0u) << "whole characters and the dots";
    EXPECT_EQ(kept.substr(kept.size() - 3), "...");
}

}  // namespace
