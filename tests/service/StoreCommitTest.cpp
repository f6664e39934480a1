#include "StoreFixture.h"

#include "service/store/NoStore.h"

#include <cstdint>
#include <string>
#include <vector>

namespace
{

using vpnd::Commit;
using vpnd::CommitResult;
using vpnd::StoreWorker;

class StoreCommitTest : public testing::Test
{
protected:
    std::string stored() { return textOf(vpnd::readStore(folder.path(), 100).settings); }

    TestFolder folder;
};

TEST_F(StoreCommitTest, WhatIsStoredIsThereAgainAfterwards)
{
    vpnd::HistoryEntry other = entryNumber(2);
    other.kind = vpnd::EventKind::kState;
    other.caller = {vpnd::Interface::kService, {}, {}};
    other.reason = vpnd::Reason::kNone;
    other.outcome = vpnd::Outcome::kNotAllowed;
    {
        OpenStore store(folder.path());
        EXPECT_EQ(store.said(Noted::kFresh), 1);
        Commit commit;
        commit.settings = {{"server", "vpn.example.com"},
                           {"deviceName", std::string("\0 \xe4\xb8\xad '\"", 8)}};
        commit.history = {entryNumber(1), other};
        EXPECT_TRUE(store.commit(commit).isStored);
    }
    OpenStore again(folder.path());
    EXPECT_TRUE(again.notes.empty()) << again.saidText();
    ASSERT_EQ(again.contents.settings.size(), 2u);
    EXPECT_EQ(again.contents.settings[0].value, std::string("\0 \xe4\xb8\xad '\"", 8));
    EXPECT_EQ(again.contents.settings[1].value, "vpn.example.com");
    ASSERT_EQ(again.contents.history.size(), 2u);
    const vpnd::HistoryEntry& first = again.contents.history[0];
    EXPECT_EQ(first.id, 1);
    EXPECT_EQ(first.firstMs, 1700000000001);
    EXPECT_EQ(first.lastMs, 1700000000006);
    EXPECT_EQ(first.count, 2u);
    EXPECT_EQ(first.kind, vpnd::EventKind::kSetting);
    EXPECT_EQ(first.subject, "server");
    EXPECT_EQ(first.before, "before 1");
    EXPECT_EQ(first.after, "after 1");
    EXPECT_TRUE(first.caller == entryNumber(1).caller);
    EXPECT_EQ(first.outcome, vpnd::Outcome::kDone);
    EXPECT_EQ(first.reason, vpnd::Reason::kServerSilent);
    EXPECT_EQ(first.detail, "detail");
    const vpnd::HistoryEntry& second = again.contents.history[1];
    EXPECT_EQ(second.kind, vpnd::EventKind::kState);
    EXPECT_TRUE(second.caller == other.caller);
    EXPECT_EQ(second.outcome, vpnd::Outcome::kNotAllowed);
    EXPECT_EQ(second.reason, vpnd::Reason::kNone);
}

TEST_F(StoreCommitTest, EveryKindInterfaceOutcomeAndReasonComesBackAsItWas)
{
    std::vector<vpnd::HistoryEntry> entries;
    const auto add = [&](auto change) {
        entries.push_back(entryNumber(static_cast<std::int64_t>(entries.size()) + 1));
        change(entries.back());
    };
    for (int kind = 0; kind <= static_cast<int>(vpnd::EventKind::kStore); ++kind) {
        add([&](auto& entry) { entry.kind = static_cast<vpnd::EventKind>(kind); });
    }
    for (int each = 0; each <= static_cast<int>(vpnd::Interface::kControl); ++each) {
        add([&](auto& entry) { entry.caller.interface = static_cast<vpnd::Interface>(each); });
    }
    for (int outcome = 0; outcome <= static_cast<int>(vpnd::Outcome::kPending); ++outcome) {
        add([&](auto& entry) { entry.outcome = static_cast<vpnd::Outcome>(outcome); });
    }
    for (const vpnd::ReasonText& reason : vpnd::reasons()) {
        add([&](auto& entry) { entry.reason = reason.reason; });
    }
    add([](auto& entry) { entry.caller.uid = uid_t{4294967295}; });
    add([](auto& entry) { entry.count = 4294967295; });
    {
        OpenStore store(folder.path());
        Commit commit;
        commit.history = entries;
        ASSERT_TRUE(store.commit(commit).isStored);
    }
    const vpnd::StoreContents contents = vpnd::readStore(folder.path(), 1000);
    EXPECT_EQ(contents.entriesLeftOut, 0u);
    ASSERT_EQ(contents.history.size(), entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(contents.history[i].kind, entries[i].kind);
        EXPECT_TRUE(contents.history[i].caller == entries[i].caller);
        EXPECT_EQ(contents.history[i].outcome, entries[i].outcome);
        EXPECT_EQ(contents.history[i].reason, entries[i].reason);
        EXPECT_EQ(contents.history[i].count, entries[i].count);
    }
}

TEST_F(StoreCommitTest, ASettingAndAnEntryReplaceWhatStoodUnderTheirNames)
{
    OpenStore store(folder.path());
    Commit commit = settingTo("port", "1194");
    commit.history = {entryNumber(7)};
    ASSERT_TRUE(store.commit(commit).isStored);
    commit = settingTo("port", "443");
    commit.history = {entryNumber(7)};
    commit.history[0].count = 9;
    ASSERT_TRUE(store.commit(commit).isStored);
    const vpnd::StoreContents contents = vpnd::readStore(folder.path(), 100);
    EXPECT_EQ(textOf(contents.settings), "port=443");
    ASSERT_EQ(contents.history.size(), 1u);
    EXPECT_EQ(contents.history[0].count, 9u);
}

TEST_F(StoreCommitTest, OlderEntriesGoWithTheCommitThatSaysSo)
{
    OpenStore store(folder.path());
    Commit commit;
    for (int id = 1; id <= 10; ++id) commit.history.push_back(entryNumber(id));
    ASSERT_TRUE(store.commit(commit).isStored);
    commit.history = {entryNumber(11)};
    commit.keepFromId = 9;
    ASSERT_TRUE(store.commit(commit).isStored);
    const vpnd::StoreContents contents = vpnd::readStore(folder.path(), 100);
    ASSERT_EQ(contents.history.size(), 3u);
    EXPECT_EQ(contents.history[0].id, 9);
}

TEST_F(StoreCommitTest, OnlyTheNewestEntriesAreReadAndTheOthersGoWithTheNextCommit)
{
    {
        OpenStore store(folder.path());
        Commit commit;
        for (int id = 1; id <= 30; ++id) commit.history.push_back(entryNumber(id));
        ASSERT_TRUE(store.commit(commit).isStored);
    }
    vpnd::StoreSetup setup = OpenStore::setupIn(folder.path());
    setup.historyRows = 10;
    OpenStore store(setup);
    ASSERT_EQ(store.contents.history.size(), 10u);
    EXPECT_EQ(store.contents.history.front().id, 21);
    EXPECT_EQ(store.contents.history.back().id, 30);
    ASSERT_TRUE(store.stores("port", "1"));
    EXPECT_EQ(vpnd::readStore(folder.path(), 100).history.size(), 10u);
}

TEST_F(StoreCommitTest, AnswersComeInTheOrderOfTheCommits)
{
    OpenStore store(folder.path());
    std::vector<int> answers;
    for (int i = 0; i < 200; ++i) {
        store.store->commit(settingTo("port", std::to_string(i)),
                            [&answers, i](const CommitResult& result) {
                                EXPECT_TRUE(result.isStored);
                                answers.push_back(i);
                            });
    }
    EXPECT_TRUE(answers.empty());
    ASSERT_TRUE(store.turnUntil([&] { return answers.size() == 200; }));
    for (int i = 0; i < 200; ++i) EXPECT_EQ(answers[static_cast<std::size_t>(i)], i);
    EXPECT_EQ(stored(), "port=199");
}

TEST_F(StoreCommitTest, ACommitThatCannotBeStoredDoesNotTakeTheOthersWithIt)
{
    OpenStore store(folder.path());
    const std::string tooLong(vpnd::kMaxStoredValueBytes + 1, 'x');
    std::string outcomes;
    const auto note = [&](const CommitResult& result) { outcomes += result.isStored ? 'y' : 'n'; };
    store.store->commit(settingTo("port", "1"), note);
    store.store->commit(settingTo("server", tooLong), note);
    store.store->commit(settingTo("enabled", "true"), note);
    ASSERT_TRUE(store.turnUntil([&] { return outcomes.size() == 3; }));
    EXPECT_EQ(outcomes, "yny");
    EXPECT_EQ(stored(), "enabled=true port=1");
    EXPECT_EQ(store.said(Noted::kCannotWrite), 0);
}

TEST_F(StoreCommitTest, NothingThatCouldNotBeReadAgainIsStored)
{
    OpenStore store(folder.path());
    EXPECT_TRUE(store.stores(std::string(vpnd::kMaxStoredKeyBytes, 'k'),
                             std::string(vpnd::kMaxStoredValueBytes, 'v')));
    EXPECT_FALSE(store.stores(std::string(vpnd::kMaxStoredKeyBytes + 1, 'k'), "v"));
    Commit commit;
    commit.history = {entryNumber(1)};
    commit.history[0].detail.assign(vpnd::kMaxStoredTextBytes + 1, 'd');
    EXPECT_FALSE(store.commit(commit).isStored);
    for (const std::int64_t id : {std::int64_t{0}, std::int64_t{-1}, vpnd::kMaxHistoryId + 1}) {
        commit.history = {entryNumber(1)};
        commit.history[0].id = id;
        EXPECT_FALSE(store.commit(commit).isStored) << id;
    }
    for (std::size_t i = 1; i < vpnd::kMostStoredSettings; ++i) {
        ASSERT_TRUE(store.stores("key" + std::to_string(i), ""));
    }
    EXPECT_FALSE(store.stores("one more", ""));
    EXPECT_EQ(vpnd::readStore(folder.path(), 10).settings.size(), vpnd::kMostStoredSettings);
}

TEST_F(StoreCommitTest, WhatWaitsIsBoundedAndTheRestFailsAtOnce)
{
    OpenStore store(folder.path());
    int storedCount = 0;
    int failedCount = 0;
    // So many at once that the thread cannot keep up with them.
    constexpr int kAll = 200;
    const std::string big(100 * 1024, 'x');
    for (int i = 0; i < kAll; ++i) {
        store.store->commit(settingTo("certificates", big), [&](const CommitResult& result) {
            (result.isStored ? storedCount : failedCount) += 1;
        });
    }
    ASSERT_TRUE(store.turnUntil([&] { return storedCount + failedCount == kAll; }));
    EXPECT_GE(storedCount, 40);
    EXPECT_GE(failedCount, 1);
    EXPECT_TRUE(store.stores("port", "1")) << "there is room again";
}

TEST_F(StoreCommitTest, BytesWrittenAreThoseTheLogGrowsBy)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    const std::string log = folder / "vpnd.db-wal";
    auto before = std::filesystem::file_size(log);
    for (const std::size_t size : {10u, 5000u, 60000u}) {
        const CommitResult result = store.commit(settingTo("certificates", std::string(size, 'x')));
        const auto after = std::filesystem::file_size(log);
        EXPECT_EQ(result.bytesWritten, after - before) << size;
        EXPECT_GE(result.bytesWritten, size);
        before = after;
    }
}

TEST_F(StoreCommitTest, TheLogIsCopiedToTheFileFromTimeToTime)
{
    OpenStore store(folder.path());
    const auto fresh = std::filesystem::file_size(folder / "vpnd.db");
    std::uint64_t bytes = 0;
    for (int i = 0; i < 200; ++i) {
        bytes += store.commit(settingTo("certificates", std::string(60000, 'x'))).bytesWritten;
    }
    EXPECT_GT(std::filesystem::file_size(folder / "vpnd.db"), fresh);
    EXPECT_LT(std::filesystem::file_size(folder / "vpnd.db-wal"), 4u * 1024 * 1024);
    EXPECT_GT(bytes, 200u * 60000);
}

TEST_F(StoreCommitTest, FinishStoresWhatWaitsAndAnswersIt)
{
    int answers = 0;
    OpenStore store(folder.path());
    for (int i = 0; i < 50; ++i) {
        store.store->commit(settingTo("port", std::to_string(i)), [&](const CommitResult& result) {
            EXPECT_TRUE(result.isStored);
            ++answers;
        });
    }
    store.store->finish(std::chrono::seconds(60));
    EXPECT_EQ(answers, 50);
    store.store->commit(settingTo("port", "later"), [&](const CommitResult& result) {
        EXPECT_FALSE(result.isStored);
        ++answers;
    });
    ASSERT_TRUE(store.turnUntil([&] { return answers == 51; }));
    store.store.reset();
    EXPECT_EQ(stored(), "port=49");
    EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"vpnd.db"}) << "closed in order";
}

TEST_F(StoreCommitTest, NobodyIsAnsweredOnceTheStoreIsGone)
{
    bool isAnswered = false;
    vpnd::EventLoop loop(steadyMs);
    {
        vpnd::SqliteStore store(loop, OpenStore::setupIn(folder.path()));
        store.commit(settingTo("port", "1"), [&](const CommitResult&) { isAnswered = true; });
    }
    loop.turn(0);
    EXPECT_FALSE(isAnswered);
    // The thread may still be at it.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (std::chrono::steady_clock::now() < deadline) {
        try {
            OpenStore again(folder.path());
            return;
        } catch (const vpnd::StoreError&) {
            ::usleep(1000);
        }
    }
    FAIL() << "the folder is never free again";
}

TEST(NoStoreTest, SaysThatAllIsStoredAtTheNextTurn)
{
    vpnd::EventLoop loop([] { return std::int64_t{0}; });  // a clock that stands still
    vpnd::NoStore store(loop);
    std::vector<int> answers;
    store.commit({}, [&](const CommitResult& result) {
        EXPECT_TRUE(result.isStored);
        EXPECT_EQ(result.bytesWritten, 0u);
        answers.push_back(1);
        store.commit({}, [&](const CommitResult&) { answers.push_back(3); });
    });
    store.commit({}, [&](const CommitResult&) { answers.push_back(2); });
    EXPECT_TRUE(answers.empty());
    loop.turn(0);
    EXPECT_EQ(answers, (std::vector<int>{1, 2}));
    loop.turn(0);
    EXPECT_EQ(answers, (std::vector<int>{1, 2, 3}));
}

}  // namespace
