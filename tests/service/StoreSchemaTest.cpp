#include "StoreFixture.h"

#include <string>
#include <vector>

namespace
{

using vpnd::Database;
using vpnd::SchemaSteps;
using vpnd::StoreError;

// A step of the future.
constexpr const char* kStep2 =
    "ALTER TABLE history ADD COLUMN extra TEXT NOT NULL DEFAULT '';"
    "UPDATE setting SET value = value || '!' WHERE key = 'server';";

SchemaSteps twoSteps()
{
    SchemaSteps steps = vpnd::schemaSteps();
    steps.push_back(kStep2);
    return steps;
}

class StoreSchemaTest : public testing::Test
{
protected:
    void make(const std::string& sql)
    {
        putContent(path, {});
        Database(path, Database::Access::kWrite).run(sql.c_str());
    }
    static std::string golden() { return contentOf(ORVA_STORE_SCHEMAS "/store_schema_1.sql"); }
    vpnd::StoreSetup setup(SchemaSteps steps) const
    {
        vpnd::StoreSetup made = OpenStore::setupIn(folder.path());
        made.steps = std::move(steps);
        return made;
    }
    void expectGoldenContent(const vpnd::StoreContents& contents, const std::string& server)
    {
        EXPECT_EQ(textOf(contents.settings), "port=443 server=" + server + " userName=panel");
        ASSERT_EQ(contents.history.size(), 4u);
        EXPECT_EQ(contents.history[1].count, 3u);
        EXPECT_EQ(contents.history[1].caller.uid, uid_t{1000});
        EXPECT_EQ(contents.history[2].reason, vpnd::Reason::kServerSilent);
        EXPECT_EQ(contents.history[3].outcome, vpnd::Outcome::kNotAllowed);
    }

    TestFolder folder;
    const std::string path = folder / "vpnd.db";
};

TEST_F(StoreSchemaTest, AFileOfSchema1IsReadAndWritten)
{
    make(golden());
    OpenStore store(folder.path());
    EXPECT_TRUE(store.notes.empty()) << store.saidText();
    expectGoldenContent(store.contents, "vpn.example.com");
    EXPECT_TRUE(store.stores("port", "1194"));
}

TEST_F(StoreSchemaTest, ThisServiceMakesTheTablesOfTheGoldenFile)
{
    make(golden());
    Database file(path, Database::Access::kWrite);
    EXPECT_EQ(vpnd::schemaOf(file), 1);
    EXPECT_NO_THROW(vpnd::checkTables(file, {vpnd::schemaSteps()[0]}));
}

TEST_F(StoreSchemaTest, AnOlderFileIsBroughtUpToDateWithAllItHolds)
{
    make(golden());
    {
        OpenStore store(setup(twoSteps()));
        EXPECT_EQ(store.said(Noted::kMigrated), 1) << store.saidText();
        expectGoldenContent(store.contents, "vpn.example.com!");
    }
    OpenStore again(setup(twoSteps()));
    EXPECT_TRUE(again.notes.empty()) << again.saidText();
    expectGoldenContent(again.contents, "vpn.example.com!");
}

TEST_F(StoreSchemaTest, AnOlderFileIsReadWithoutBeingChanged)
{
    make(golden());
    const std::string before = contentOf(path);
    expectGoldenContent(vpnd::readDatabase(path, 100, twoSteps()), "vpn.example.com!");
    EXPECT_EQ(contentOf(path), before);
    EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"vpnd.db"});
}

TEST_F(StoreSchemaTest, AStepThatFailsHalfwayLeavesNothingBehind)
{
    make(golden());
    Database file(path, Database::Access::kWrite);
    SchemaSteps steps = vpnd::schemaSteps();
    steps.push_back("UPDATE setting SET value = 'lost'; CREATE TABLE setting (oops TEXT);");
    EXPECT_THROW(vpnd::bringUpToDate(file, steps), vpnd::DatabaseError);
    EXPECT_EQ(vpnd::schemaOf(file), 1);
    EXPECT_EQ(file.text("SELECT value FROM setting WHERE key = 'server'"), "vpn.example.com");
}

TEST_F(StoreSchemaTest, ANewerFileIsRefusedWithAllThatHelpsAndLeftAlone)
{
    {
        OpenStore store(setup(twoSteps()));
    }
    const std::string before = contentOf(path);
    const auto refusal = [&](const auto& action) {
        try {
            action();
        } catch (const StoreError& error) {
            return std::string(error.what());
        }
        return std::string("not refused");
    };
    const std::string expected = path +
                                 " has schema 2, this orva-vpnd knows schemas up to 1: install the"
                                 " newer orva-vpnd again, or move the file away to begin with"
                                 " nothing stored";
    EXPECT_EQ(refusal([&] { OpenStore store(folder.path()); }), expected);
    EXPECT_EQ(refusal([&] { (void)vpnd::readStore(folder.path(), 10); }), expected);
    EXPECT_EQ(contentOf(path), before);
    EXPECT_EQ(namesIn(folder.path()), std::vector<std::string>{"vpnd.db"});
}

TEST_F(StoreSchemaTest, ANewerFileWhoseServiceWasKilledIsRefusedAndLeftAlone)
{
    TestFolder other;
    {
        OpenStore store(setup(twoSteps()));
        ASSERT_TRUE(store.stores("port", "1"));
        for (const char* end : {"", "-wal", "-shm"}) {
            putContent(other / ("vpnd.db" + std::string(end)), contentOf(path + end));
        }
    }
    const std::string file = contentOf(other / "vpnd.db");
    const std::string log = contentOf(other / "vpnd.db-wal");
    ASSERT_FALSE(log.empty());
    EXPECT_THROW(OpenStore store(other.path()), StoreError);
    EXPECT_EQ(contentOf(other / "vpnd.db"), file);
    EXPECT_EQ(contentOf(other / "vpnd.db-wal"), log);
}

// What a migration must not touch: another program's file, and one with more in it than ours.
TEST_F(StoreSchemaTest, ForeignTablesTriggersAndMarksAreSetAside)
{
    const std::vector<std::string> foreign = {
        "CREATE TABLE other (x)",
        golden() + "CREATE TABLE other (x);",
        golden() + "CREATE TRIGGER t AFTER INSERT ON setting BEGIN DELETE FROM setting; END;",
        golden() + "CREATE VIEW v AS SELECT 1;",
        golden() + "DROP TABLE history;",
        golden() + "PRAGMA user_version=2;",
        golden() + "PRAGMA application_id=0;",
        golden() + "PRAGMA user_version=0;",
    };
    for (const std::string& sql : foreign) {
        SCOPED_TRACE(sql.substr(sql.size() > 80 ? sql.size() - 80 : 0));
        make(sql);
        OpenStore store(folder.path());
        EXPECT_EQ(store.said(Noted::kSetAside), 1) << store.saidText();
        EXPECT_TRUE(store.contents.settings.empty());
        EXPECT_TRUE(store.stores("port", "1"));
    }
}

// All rows can be read of this one: a free page is missing that its head speaks of.
TEST_F(StoreSchemaTest, AFileWhoseRowsCanAllBeReadButIsNotSoundIsSetAside)
{
    make(golden());
    std::string content = contentOf(path);
    constexpr std::size_t kFreePages = 36;  // big endian, in SQLite's head of a file
    content[kFreePages + 3] = 1;
    putContent(path, content);
    OpenStore store(folder.path());
    EXPECT_EQ(store.said(Noted::kSetAside), 1) << store.saidText();
    EXPECT_TRUE(store.stores("port", "1"));
}

TEST_F(StoreSchemaTest, EntriesOfANewerServiceAreLeftOutAndSaid)
{
    make(golden() +
         "UPDATE history SET kind = 'later' WHERE id = 1;"
         "UPDATE history SET reason = 9999 WHERE id = 2;"
         "UPDATE history SET count = -1 WHERE id = 3;");
    OpenStore store(folder.path());
    EXPECT_EQ(store.said(Noted::kLeftOut), 1) << store.saidText();
    EXPECT_NE(store.saidText().find("3 entries"), std::string::npos) << store.saidText();
    ASSERT_EQ(store.contents.history.size(), 1u);
    EXPECT_EQ(store.contents.history[0].id, 4);
}

TEST_F(StoreSchemaTest, LengthsAndNumbersThatNobodyCanHaveWrittenAreNotBelieved)
{
    const std::vector<std::string> spoilt = {
        "INSERT INTO setting VALUES ('big', hex(zeroblob(70000)));",
        "INSERT INTO setting VALUES (hex(zeroblob(40)), '');",
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n LIMIT 100)"
        " INSERT INTO setting SELECT i, '' FROM n;",
        "UPDATE history SET detail = hex(zeroblob(3000)) WHERE id = 2;",
        "UPDATE history SET id = 9223372036854775807 WHERE id = 4;",
        "UPDATE history SET id = -5 WHERE id = 4;",
    };
    for (const std::string& sql : spoilt) {
        SCOPED_TRACE(sql);
        make(golden() + sql);
        OpenStore store(folder.path());
        EXPECT_EQ(store.said(Noted::kSetAside), 1) << store.saidText();
        EXPECT_TRUE(store.contents.settings.empty());
        EXPECT_TRUE(store.stores("port", "1"));
    }
}

}  // namespace
