#include "StoreFixture.h"

#include <algorithm>
#include <string>
#include <vector>

namespace
{

using vpnd::CommitResult;

// Linked with DiskRules.cpp: the disk under the store does what the test says.
class StoreDiskTest : public testing::Test
{
protected:
    StoreDiskTest()
    {
        ::setenv("ORVA_DISK_RULES", rules.c_str(), 1);
        disk("ok");
    }
    ~StoreDiskTest() override { ::unsetenv("ORVA_DISK_RULES"); }

    void disk(const std::string& word)
    {
        putContent(rules + ".new", folder.path() + " " + word + "\n");
        std::filesystem::rename(rules + ".new", rules);
    }
    std::string stored() { return textOf(vpnd::readStore(folder.path(), 100).settings); }

    // Turns the loop, which has a timer of a millisecond, until the condition holds. Returns
    // the longest time between two calls of the timer.
    static std::int64_t longestTurnMs(OpenStore& store, const std::function<bool()>& condition)
    {
        std::int64_t longestMs = 0;
        std::int64_t lastMs = steadyMs();
        vpnd::Timer* self = nullptr;
        vpnd::Timer timer(store.loop, [&] {
            longestMs = std::max(longestMs, steadyMs() - lastMs);
            lastMs = steadyMs();
            self->start(1);
        });
        self = &timer;
        timer.start(1);
        store.turnUntil(condition);
        return std::max(longestMs, steadyMs() - lastMs);
    }

    TestFolder other;
    const std::string rules = other / "rules";
    TestFolder folder;
};

TEST_F(StoreDiskTest, ASlowDiskKeepsTheLoopFromNothing)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    // Other programs may keep it as well: but not each time.
    bool isFree = false;
    for (int tries = 0; tries < 3 && !isFree; ++tries) {
        const std::int64_t endMs = steadyMs() + 2000;
        const std::int64_t referenceMs = longestTurnMs(store, [&] { return steadyMs() >= endMs; });
        disk("slow");
        const std::int64_t beginMs = steadyMs();
        int answers = 0;
        for (int i = 0; i < 10; ++i) {
            store.store->commit(settingTo("port", std::to_string(i)),
                                [&](const CommitResult& result) {
                                    EXPECT_TRUE(result.isStored);
                                    ++answers;
                                });
        }
        const std::int64_t commitsMs = steadyMs() - beginMs;
        const std::int64_t slowMs = longestTurnMs(store, [&] { return answers == 10; });
        EXPECT_GE(steadyMs() - beginMs, 2000) << "the disk was not slow";
        disk("ok");
        isFree = std::max(slowMs, commitsMs) <= referenceMs + 20;
        RecordProperty("longest_turn_ms", static_cast<int>(slowMs));
        RecordProperty("reference_ms", static_cast<int>(referenceMs));
    }
    EXPECT_TRUE(isFree);
    EXPECT_EQ(stored(), "port=9");
}

TEST_F(StoreDiskTest, OnAFullDiskCommitsFailAndWorkAgainAfterwards)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    disk("full");
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(store.stores("port", "2"));
    EXPECT_EQ(store.said(Noted::kCannotWrite), 1) << store.saidText();
    EXPECT_EQ(stored(), "port=1");
    disk("ok");
    EXPECT_TRUE(store.stores("server", "a"));
    EXPECT_EQ(store.said(Noted::kWritesAgain), 1) << store.saidText();
    EXPECT_EQ(stored(), "port=1 server=a") << "what failed is not stored";
    EXPECT_EQ(store.said(Noted::kSetAside), 0);
}

TEST_F(StoreDiskTest, OnADiskThatTurnsReadOnlyCommitsFailAndWorkAgainAfterwards)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    disk("readonly");
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(store.stores("port", "2"));
    EXPECT_EQ(store.said(Noted::kCannotWrite), 1) << store.saidText();
    disk("ok");
    EXPECT_TRUE(store.stores("server", "a"));
    EXPECT_EQ(stored(), "port=1 server=a");
}

// The commit stands in the log in full, and only its sync has failed.
TEST_F(StoreDiskTest, WhatCannotBeSyncedIsNotStored)
{
    {
        OpenStore store(folder.path());
        ASSERT_TRUE(store.stores("port", "1"));
        disk("broken");
        for (int i = 0; i < 5; ++i) EXPECT_FALSE(store.stores("deviceName", "x")) << i;
        disk("ok");
        EXPECT_TRUE(store.stores("server", "a"));
        EXPECT_EQ(stored(), "port=1 server=a");
    }
    EXPECT_EQ(stored(), "port=1 server=a");
}

TEST_F(StoreDiskTest, ADiskThatWasTakenAwayForAWhileIsOpenedAgain)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    disk("gone");
    EXPECT_FALSE(store.stores("port", "2"));
    EXPECT_TRUE(store.stores("server", "a")) << store.saidText();
    EXPECT_EQ(store.said(Noted::kCannotWrite), 1);
    EXPECT_EQ(store.said(Noted::kWritesAgain), 1);
    EXPECT_EQ(stored(), "port=1 server=a");
}

// What is stored can be read from the file alone, and where it was not copied to the file yet
// from its log.
TEST_F(StoreDiskTest, WhatIsStoredIsLoadedFromAReadOnlyOrFullDisk)
{
    TestFolder killed;
    {
        OpenStore store(folder.path());
        vpnd::Commit commit = settingTo("port", "1");
        commit.history = {entryNumber(1)};
        ASSERT_TRUE(store.commit(commit).isStored);
        for (const char* name : {"vpnd.db", "vpnd.db-wal", "vpnd.db-shm"}) {
            putContent(killed / name, contentOf(folder / name));
        }
    }
    for (const bool wasKilled : {false, true}) {
        for (const char* word : {"readonly", "full"}) {
            SCOPED_TRACE(std::string(word) + (wasKilled ? " after a kill" : ""));
            TestFolder copy;
            const TestFolder& from = wasKilled ? killed : folder;
            for (const std::string& name : namesIn(from.path())) {
                putContent(copy / name, contentOf(from / name));
            }
            putContent(rules, copy.path() + " " + word);
            OpenStore store(copy.path());
            EXPECT_EQ(textOf(store.contents.settings), "port=1") << store.saidText();
            EXPECT_EQ(store.contents.history.size(), 1u);
            EXPECT_EQ(store.said(Noted::kSetAside), 0) << store.saidText();
            const bool isStored = store.stores("port", "2");
            if (std::string(word) == "readonly") {
                EXPECT_FALSE(isStored);
                EXPECT_EQ(store.said(Noted::kCannotWrite), 1) << store.saidText();
            }
            putContent(rules, copy.path() + " ok");
            EXPECT_TRUE(store.stores("server", "a")) << store.saidText();
            EXPECT_EQ(textOf(vpnd::readStore(copy.path(), 10).settings),
                      isStored ? "port=2 server=a" : "port=1 server=a");
        }
    }
}

TEST_F(StoreDiskTest, WithoutRoomForAFileTheServiceBeginsAndStoresLater)
{
    disk("full");
    OpenStore store(folder.path());
    EXPECT_EQ(store.said(Noted::kCannotWrite), 1) << store.saidText();
    EXPECT_FALSE(store.stores("port", "1"));
    store.known = settingTo("deviceName", "initial");
    disk("ok");
    EXPECT_TRUE(store.stores("port", "2")) << store.saidText();
    EXPECT_EQ(stored(), "deviceName=initial port=2") << "with all that the service knows";
    EXPECT_EQ(store.said(Noted::kWritesAgain), 1);
}

TEST_F(StoreDiskTest, AFolderThatCannotBeMadeOnAReadOnlyDiskIsNamed)
{
    disk("readonly");
    try {
        OpenStore store(folder / "state");
        FAIL() << "was opened";
    } catch (const vpnd::StoreError& error) {
        EXPECT_NE(std::string(error.what()).find("Read-only file system"), std::string::npos)
            << error.what();
    }
}

TEST_F(StoreDiskTest, ADamagedFileOnAReadOnlyDiskIsLeftAndTheServiceBegins)
{
    putContent(folder / "vpnd.db", "no database, and nobody can rename it");
    disk("readonly");
    OpenStore store(folder.path());
    EXPECT_EQ(store.said(Noted::kCannotWrite), 1) << store.saidText();
    EXPECT_FALSE(store.stores("port", "1"));
    disk("ok");
    EXPECT_TRUE(store.stores("port", "2")) << store.saidText();
    EXPECT_EQ(store.said(Noted::kSetAside), 1);
    EXPECT_EQ(stored(), "port=2");
}

TEST_F(StoreDiskTest, ADiskThatHangsHoldsUpNeitherTheLoopNorTheEnd)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    disk("hangs");
    int answers = 0;
    const auto count = [&](const CommitResult&) { ++answers; };
    store.store->commit(settingTo("port", "2"), count);
    std::size_t refused = 0;
    // More than there is room for: those fail at once, while the others wait.
    for (std::size_t i = 0; i < vpnd::StoreWorker::kMostCommits + 50; ++i) {
        store.store->commit(settingTo("port", "3"), [&](const CommitResult& result) {
            EXPECT_FALSE(result.isStored);
            ++refused;
        });
    }
    ASSERT_TRUE(store.turnUntil([&] { return refused == 51; }));
    EXPECT_EQ(answers, 0);
    const std::int64_t beginMs = steadyMs();
    store.store->finish(std::chrono::milliseconds(100));
    store.store.reset();
    EXPECT_GE(steadyMs() - beginMs, 90);
    EXPECT_LT(steadyMs() - beginMs, 10000);
    EXPECT_EQ(answers, 0) << "it is not known what becomes of it";
    EXPECT_EQ(refused, 51u);
    // Whoever comes next does not write beside the thread that still hangs.
    EXPECT_THROW(OpenStore again(folder.path()), vpnd::StoreError);
    disk("ok");
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

}  // namespace
