#include "ChildProcess.h"
#include "StoreFixture.h"

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace
{

// Names, contents and times of all files of a folder.
std::map<std::string, std::pair<std::string, std::int64_t>> stateOf(const std::string& folder)
{
    std::map<std::string, std::pair<std::string, std::int64_t>> state;
    for (const std::string& name : namesIn(folder)) {
        struct stat status;
        ::stat((folder + "/" + name).c_str(), &status);
        state[name] = {contentOf(folder + "/" + name),
                       status.st_mtim.tv_sec * 1000000000 + status.st_mtim.tv_nsec};
    }
    return state;
}

class StoreReaderTest : public testing::Test
{
protected:
    std::string read(const std::string& where)
    {
        return textOf(vpnd::readStore(where, 100).settings);
    }

    TestFolder folder;
};

TEST_F(StoreReaderTest, ReadsBesideAServiceThatRunsAndChangesNothing)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    const auto before = stateOf(folder.path());
    EXPECT_EQ(read(folder.path()), "port=1");
    // Locks of a reader stand in the shared index, which is no part of what is stored.
    auto after = stateOf(folder.path());
    EXPECT_EQ(after["vpnd.db"], before.at("vpnd.db"));
    EXPECT_EQ(after["vpnd.db-wal"], before.at("vpnd.db-wal"));
    EXPECT_EQ(after.size(), before.size());
    EXPECT_TRUE(store.stores("port", "2"));
    EXPECT_EQ(read(folder.path()), "port=2");
}

TEST_F(StoreReaderTest, ReadsAfterAServiceThatHasEndedAndChangesNothing)
{
    {
        OpenStore store(folder.path());
        ASSERT_TRUE(store.stores("port", "1"));
    }
    const auto before = stateOf(folder.path());
    EXPECT_EQ(read(folder.path()), "port=1");
    EXPECT_EQ(stateOf(folder.path()), before);
}

// The files of a service in the midst of its work are those that a kill leaves behind.
TEST_F(StoreReaderTest, ReadsAfterAServiceThatWasKilledAndChangesNothing)
{
    TestFolder killed;
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    for (const char* name : {"vpnd.db", "vpnd.db-wal", "vpnd.db-shm"}) {
        putContent(killed / name, contentOf(folder / name));
    }
    const auto before = stateOf(killed.path());
    EXPECT_EQ(read(killed.path()), "port=1");
    EXPECT_EQ(stateOf(killed.path()), before);
}

// The index may have been in the making then.
TEST_F(StoreReaderTest, ReadsWithAnIndexOfAnyContentAndChangesNothing)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    const std::string whole = contentOf(folder / "vpnd.db-shm");
    std::string spoilt = whole;
    for (std::size_t i = 0; i < 136; i += 3) spoilt[i] = '\x5a';
    const std::vector<std::string> indexes = {
        {}, "abc", std::string(32768, '\0'), whole.substr(0, 4096), spoilt, whole + whole};
    for (const std::string& index : indexes) {
        SCOPED_TRACE(index.size());
        TestFolder killed;
        for (const char* name : {"vpnd.db", "vpnd.db-wal"}) {
            putContent(killed / name, contentOf(folder / name));
        }
        putContent(killed / "vpnd.db-shm", index);
        const auto before = stateOf(killed.path());
        EXPECT_NO_THROW(EXPECT_EQ(read(killed.path()), "port=1"));
        EXPECT_EQ(stateOf(killed.path()), before);
    }
}

// The head of the log is written first; SQLite itself waits for the rest in vain.
TEST_F(StoreReaderTest, ReadsAfterAKillThatLeftNoMoreThanTheHeadOfALog)
{
    {
        OpenStore store(folder.path());
        ASSERT_TRUE(store.stores("port", "1"));
    }
    TestFolder killed;
    OpenStore store(folder.path());
    putContent(killed / "vpnd.db", contentOf(folder / "vpnd.db"));
    putContent(killed / "vpnd.db-shm", contentOf(folder / "vpnd.db-shm"));
    ASSERT_TRUE(store.stores("port", "2"));
    putContent(killed / "vpnd.db-wal", contentOf(folder / "vpnd.db-wal").substr(0, 32));
    EXPECT_NO_THROW(EXPECT_EQ(read(killed.path()), "port=1"));
}

TEST_F(StoreReaderTest, ReadsFileAndLogThatWereCopiedWithoutTheirIndexAndChangesNothing)
{
    TestFolder copied;
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("port", "1"));
    for (const char* name : {"vpnd.db", "vpnd.db-wal"}) {
        putContent(copied / name, contentOf(folder / name));
    }
    const auto before = stateOf(copied.path());
    EXPECT_EQ(read(copied.path()), "port=1");
    EXPECT_EQ(stateOf(copied.path()), before);
}

TEST_F(StoreReaderTest, AFolderWithoutAFileIsNamedAndStaysEmpty)
{
    EXPECT_THROW(read(folder.path()), vpnd::StoreError);
    EXPECT_TRUE(namesIn(folder.path()).empty());
    EXPECT_THROW(read(folder / "none"), vpnd::StoreError);
}

TEST_F(StoreReaderTest, ADamagedFileIsNamedAndStaysAsItIs)
{
    putContent(folder / "vpnd.db", "no database at all, but some text");
    try {
        read(folder.path());
        FAIL() << "was read";
    } catch (const vpnd::StoreError& error) {
        EXPECT_EQ(std::string(error.what()).find((folder / "vpnd.db") + " cannot be read: "), 0u);
    }
    EXPECT_EQ(contentOf(folder / "vpnd.db"), "no database at all, but some text");
}

// Setting and entry of one commit carry the same number: a reader that sees only one of them
// has read in the midst of a commit. It is another process, as it is for an administrator.
TEST_F(StoreReaderTest, SeesWholeCommitsOnlyAndKeepsNoneWaiting)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("number", "0"));
    ChildProcess reader(storeChild({"read", folder.path()}));
    for (int i = 1; i <= 100 || reader.out().size() < 20; ++i) {
        vpnd::Commit commit = settingTo("number", std::to_string(i));
        commit.settings.push_back({"certificates", std::string(20000, 'x')});
        commit.history = {entryNumber(i)};
        ASSERT_TRUE(store.commit(commit).isStored) << store.saidText();
        ASSERT_LT(i, 100000) << "nothing is read";
    }
    EXPECT_EQ(reader.out().find_first_not_of("."), std::string::npos) << reader.out();
    EXPECT_EQ(reader.err(), "");
}

// One that somebody has stopped in the midst of its reading, say.
TEST_F(StoreReaderTest, AReaderThatDoesNotEndLetsTheLogGrowOnlySoFar)
{
    OpenStore store(folder.path());
    ASSERT_TRUE(store.stores("number", "0"));
    std::optional<vpnd::Database> reader(std::in_place, folder / "vpnd.db",
                                         vpnd::Database::Access::kWrite);
    reader->run("BEGIN");
    EXPECT_EQ(reader->number("SELECT count(*) FROM setting"), 1);
    const std::string big(vpnd::kMaxStoredValueBytes, 'x');
    int stored = 0;
    while (stored < 1000 && store.stores("certificates", big)) ++stored;
    EXPECT_GT(stored, 100) << "it keeps nobody waiting for long";
    EXPECT_LT(stored, 300);
    EXPECT_LT(std::filesystem::file_size(folder / "vpnd.db-wal"), 40u * 1024 * 1024);
    EXPECT_NE(store.saidText().find("a reader that does not end"), std::string::npos)
        << store.saidText();
    const auto size = std::filesystem::file_size(folder / "vpnd.db-wal");
    for (int i = 0; i < 5; ++i) EXPECT_FALSE(store.stores("certificates", big));
    EXPECT_EQ(std::filesystem::file_size(folder / "vpnd.db-wal"), size);
    reader.reset();
    EXPECT_TRUE(store.stores("number", "1"));
    EXPECT_EQ(store.said(Noted::kWritesAgain), 1);
    EXPECT_LT(std::filesystem::file_size(folder / "vpnd.db-wal"), 2u * 1024 * 1024);
}

TEST_F(StoreReaderTest, ReadsWhileServicesBeginAndEnd)
{
    {
        OpenStore store(folder.path());
        ASSERT_TRUE(store.stores("number", "0"));
    }
    ChildProcess reader(storeChild({"read", folder.path()}));
    for (int i = 1; i <= 40 || reader.out().size() < 20; ++i) {
        OpenStore store(folder.path());
        ASSERT_TRUE(store.notes.empty()) << store.saidText();
        vpnd::Commit commit = settingTo("number", std::to_string(i));
        commit.history = {entryNumber(i)};
        ASSERT_TRUE(store.commit(commit).isStored) << store.saidText();
        ASSERT_LT(i, 10000) << "nothing is read";
    }
    EXPECT_EQ(reader.out().find_first_not_of("."), std::string::npos) << reader.out();
    EXPECT_EQ(reader.err(), "");
}

}  // namespace
