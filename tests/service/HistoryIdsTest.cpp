#include "service/core/History.h"
#include "tests/service/ServiceFixture.h"

#include <limits>
#include <string>
#include <vector>

namespace
{

using vpnd::HistoryIds;

// A history whose numbers are reserved in a store that answers when the test says so.
class HistoryIdsTest : public testing::Test
{
protected:
    void start(HistoryIds ids, std::vector<vpnd::HistoryEntry> stored = {})
    {
        history.reset();
        store = {};
        history.emplace(
            m_loop, store, [] { return 0; }, vpnd::HistoryBounds(), std::move(stored),
            std::move(ids));
    }
    void add()
    {
        vpnd::HistoryEntry entry;
        entry.subject = "thing " + std::to_string(++m_things);
        history->add(entry);
    }
    bool isLastSettled() { return history->isSettled(history->entries().back()); }
    void pass(std::int64_t ms)
    {
        m_nowMs += ms;
        m_loop.turn(0);
    }

    // Keeps what is reserved.
    class Store final : public vpnd::IStore
    {
    public:
        void commit(vpnd::Commit commit,
                    std::function<void(const vpnd::CommitResult&)> done) override
        {
            m_waiting.push_back({std::move(commit), std::move(done)});
        }
        void answer(bool stores)
        {
            for (const Waiting& each : std::exchange(m_waiting, {})) {
                for (const vpnd::StoredSetting& setting : each.commit.settings) {
                    if (stores) kept = setting.value;
                }
                each.done({stores, 1});
            }
        }
        std::string kept;

    private:
        struct Waiting {
            vpnd::Commit commit;
            std::function<void(const vpnd::CommitResult&)> done;
        };
        std::vector<Waiting> m_waiting;
    };

    Store store;

private:
    std::int64_t m_nowMs = 1000;
    vpnd::EventLoop m_loop{[this] { return m_nowMs; }};
    int m_things = 0;

protected:
    std::optional<vpnd::History> history;
};

TEST_F(HistoryIdsTest, NumbersAreCertainOnceTheyAreReserved)
{
    start(HistoryIds::begun());
    const std::string life = history->life();
    add();
    EXPECT_FALSE(isLastSettled());
    store.answer(true);
    EXPECT_TRUE(isLastSettled());
    EXPECT_EQ(history->life(), life);
    EXPECT_EQ(store.kept, life + ":1000");
}

TEST_F(HistoryIdsTest, AfterACrashNoNumberIsGivenAgain)
{
    start(HistoryIds::begun());
    add();
    store.answer(true);
    for (int i = 0; i < 300; ++i) add();
    const std::int64_t last = history->entries().back().id;
    ASSERT_TRUE(isLastSettled());
    // None of the rows was written.
    start(*HistoryIds::parse(store.kept));
    add();
    EXPECT_GT(history->entries().back().id, last);
}

TEST_F(HistoryIdsTest, TheyAreReservedAnewBeforeTheyRunOut)
{
    start(HistoryIds::begun());
    const std::string life = history->life();
    for (int i = 0; i < 5000; ++i) {
        add();
        if (i % 400 == 0) store.answer(true);
        EXPECT_LE(history->entries().back().id, i + 1);
        if (i > 0) {
            ASSERT_TRUE(isLastSettled()) << i;
        }
    }
    EXPECT_EQ(history->life(), life);
}

TEST_F(HistoryIdsTest, AnEndThatIsNoCrashLeavesNoGap)
{
    start(HistoryIds::begun());
    add();
    store.answer(true);
    add();
    std::vector<vpnd::HistoryEntry> stored(history->entries().begin(), history->entries().end());
    history->finish();
    store.answer(true);
    start(*HistoryIds::parse(store.kept), stored);
    add();
    EXPECT_EQ(history->entries().back().id, 3);
}

TEST_F(HistoryIdsTest, WhenTheyCannotBeReservedTheLifeIsAnother)
{
    start(HistoryIds::begun());
    const std::string life = history->life();
    add();
    store.answer(false);
    EXPECT_NE(history->life(), life);
    EXPECT_TRUE(isLastSettled()) << "nobody waits for a disk for ever";
    EXPECT_FALSE(history->idsStored());
    // The next change that is stored brings them back.
    const std::string other = history->life();
    history->flush();
    store.answer(true);
    store.answer(true);
    EXPECT_EQ(store.kept.substr(0, 8), other);
    EXPECT_TRUE(isLastSettled());
    EXPECT_TRUE(history->idsStored());
}

TEST_F(HistoryIdsTest, ADiskThatHangsIsWaitedForTwoSeconds)
{
    start(HistoryIds::begun());
    const std::string life = history->life();
    add();
    pass(vpnd::History::kReserveWithinMs - 1);
    EXPECT_EQ(history->life(), life);
    EXPECT_FALSE(isLastSettled());
    pass(1);
    EXPECT_NE(history->life(), life);
    EXPECT_TRUE(isLastSettled());
    // What was on its way belongs to the life before.
    store.answer(true);
    store.answer(true);
    EXPECT_EQ(store.kept.substr(0, 8), history->life());
}

TEST_F(HistoryIdsTest, WhatIsNoReservationIsNone)
{
    EXPECT_EQ(HistoryIds::parse("0123abcd:17")->reservedTo, 17);
    for (const char* text : {"", "0123abcd", "0123abcd:", "0123abcd:-1", "0123abcd:1x",
                             "0123abcx:1", "123:1", "0123abcd:99999999999999999999"}) {
        EXPECT_FALSE(HistoryIds::parse(text)) << text;
    }
    const HistoryIds ids = HistoryIds::begun();
    EXPECT_EQ(HistoryIds::parse(ids.text())->life, ids.life);
    EXPECT_NE(HistoryIds::begun().life, ids.life);
}

}  // namespace
