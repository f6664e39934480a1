#include "StoreFixture.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/wait.h>

#include <functional>
#include <regex>
#include <string>
#include <vector>

namespace
{

using vpnd::StoreError;

unsigned modeOf(const std::string& path)
{
    struct stat status;
    return ::stat(path.c_str(), &status) == 0 ? status.st_mode & 07777u : 0;
}

std::string refusalOf(const std::string& folder)
{
    try {
        OpenStore store(folder);
    } catch (const StoreError& error) {
        return error.what();
    }
    return {};
}

// Runs it as a user who may do nothing, when the test itself may do everything.
std::string asNobody(const std::function<std::string()>& action)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) return "no pipe";
    const pid_t child = ::fork();
    if (child == 0) {
        const bool isNobody = ::geteuid() != 0 || (::setgid(65534) == 0 && ::setuid(65534) == 0);
        const std::string text = isNobody ? action() : "cannot become nobody";
        const bool isWritten = ::write(ends[1], text.data(), text.size()) >= 0;
        ::_exit(isWritten ? 0 : 1);
    }
    ::close(ends[1]);
    std::string text;
    char chunk[1024];
    for (ssize_t count = 0; (count = ::read(ends[0], chunk, sizeof chunk)) > 0;) {
        text.append(chunk, static_cast<std::size_t>(count));
    }
    ::close(ends[0]);
    ::waitpid(child, nullptr, 0);
    return text;
}

class StoreFolderTest : public testing::Test
{
protected:
    std::vector<std::string> setAside() const
    {
        std::vector<std::string> names;
        for (const std::string& name : namesIn(folder.path())) {
            if (name.find(".damaged-") != std::string::npos) names.push_back(name);
        }
        return names;
    }

    TestFolder folder;
    const std::string path = folder / "vpnd.db";
};

TEST_F(StoreFolderTest, NobodyButTheOwnerReadsFolderAndFiles)
{
    const mode_t before = ::umask(0);
    const std::string made = folder / "state";
    {
        OpenStore store(made);
        ASSERT_TRUE(store.stores("password", "secret"));
        EXPECT_EQ(modeOf(made), 0700u);
        for (const char* end : {"", "-wal", "-shm"}) {
            EXPECT_EQ(modeOf(made + "/vpnd.db" + end), 0600u) << end;
        }
    }
    ::umask(before);
}

TEST_F(StoreFolderTest, AFileThatOthersCouldReadIsClosedToThem)
{
    {
        OpenStore store(folder.path());
    }
    ::chmod(path.c_str(), 0666);
    OpenStore store(folder.path());
    EXPECT_EQ(modeOf(path), 0600u);
    EXPECT_EQ(modeOf(path + "-wal"), 0600u);
}

TEST_F(StoreFolderTest, ASecondServiceOnTheSameFolderIsRefused)
{
    OpenStore first(folder.path());
    EXPECT_EQ(refusalOf(folder.path()),
              folder.path() +
                  " is used by another orva-vpnd: end that one; name another folder with"
                  " --state DIR, or keep nothing with --state none");
    EXPECT_TRUE(first.stores("port", "1")) << "the first one is not disturbed";
}

TEST_F(StoreFolderTest, AFolderUnderNoFolderIsNamedWithTheCause)
{
    const std::string deep = folder / "none/state";
    EXPECT_EQ(refusalOf(deep), deep +
                                   " cannot be created: No such file or directory; name another"
                                   " folder with --state DIR, or keep nothing with --state none");
}

TEST_F(StoreFolderTest, AFileInPlaceOfTheFolderAndAFolderInPlaceOfTheFileAreRefused)
{
    putContent(folder / "file", "x");
    EXPECT_NE(refusalOf(folder / "file").find("Not a directory"), std::string::npos);
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    EXPECT_NE(refusalOf(folder.path()).find("vpnd.db is not a regular file"), std::string::npos);
}

TEST_F(StoreFolderTest, ALinkInPlaceOfTheFileIsNotFollowed)
{
    putContent(folder / "other", "content");
    ASSERT_EQ(::symlink((folder / "other").c_str(), path.c_str()), 0);
    EXPECT_NE(refusalOf(folder.path()).find("vpnd.db is not a regular file"), std::string::npos);
    EXPECT_EQ(contentOf(folder / "other"), "content");
}

TEST_F(StoreFolderTest, AFileThatIsNotForUsIsRefusedAndLeftAlone)
{
    {
        OpenStore store(folder.path());
    }
    const std::string content = contentOf(path);
    ::chmod(folder.path().c_str(), 0777);
    ::chmod(path.c_str(), ::geteuid() == 0 ? 0600 : 0);
    const std::string refusal = asNobody([&] { return refusalOf(folder.path()); });
    EXPECT_NE(refusal.find(path + ": Permission denied; it must belong to the user that orva-vpnd"
                                  " runs as, uid "),
              std::string::npos)
        << refusal;
    EXPECT_NE(refusal.find("--state none"), std::string::npos);
    ::chmod(path.c_str(), 0600);
    EXPECT_EQ(contentOf(path), content);
}

TEST_F(StoreFolderTest, AFolderThatIsNotForUsIsRefused)
{
    ::chmod(folder.path().c_str(), 0555);
    const std::string refusal = asNobody([&] { return refusalOf(folder.path()); });
    EXPECT_NE(refusal.find(folder.path() + ": Permission denied"), std::string::npos) << refusal;
    ::chmod(folder.path().c_str(), 0700);
}

TEST_F(StoreFolderTest, ADamagedFileIsSetAsideAndANewOneIsBegun)
{
    putContent(path, "this is no database, whatever its name says");
    OpenStore store(folder.path());
    EXPECT_EQ(store.said(Noted::kSetAside), 1);
    EXPECT_EQ(store.said(Noted::kFresh), 1);
    ASSERT_EQ(setAside().size(), 1u);
    EXPECT_TRUE(
        std::regex_match(setAside()[0], std::regex("vpnd\\.db\\.damaged-[0-9]{8}-[0-9]{6}")))
        << setAside()[0];
    EXPECT_NE(store.saidText().find("it is called " + (folder / setAside()[0]) + " now"),
              std::string::npos)
        << store.saidText();
    EXPECT_EQ(contentOf(folder / setAside()[0]), "this is no database, whatever its name says");
    EXPECT_TRUE(store.stores("port", "1"));
}

TEST_F(StoreFolderTest, TheThreeNewestDamagedFilesAreKeptAndNoneIsOverwritten)
{
    for (int i = 0; i < 6; ++i) {
        const std::string text = "damaged for the time number " + std::to_string(i);
        putContent(path, text);
        putContent(path + "-wal", "log " + std::to_string(i));
        OpenStore store(folder.path());
        ASSERT_EQ(store.said(Noted::kSetAside), 1) << store.saidText();
    }
    std::string kept;
    for (const std::string& name : setAside()) kept += contentOf(folder / name) + '\n';
    for (int i = 3; i < 6; ++i) {
        EXPECT_NE(kept.find("time number " + std::to_string(i)), std::string::npos) << kept;
    }
    EXPECT_EQ(kept.find("number 2"), std::string::npos);
    EXPECT_LE(setAside().size(), 6u) << "three, each with its log";
}

TEST_F(StoreFolderTest, TheLatestDamagedFileIsKeptEvenIfTheClockSaysItIsTheOldest)
{
    for (const char* later : {"20990101-000000", "20990101-000001", "20990101-000002"}) {
        putContent(path + ".damaged-" + later, "later");
    }
    putContent(path, "damaged today, no database");
    OpenStore store(folder.path());
    const std::vector<std::string> names = setAside();
    ASSERT_EQ(names.size(), 3u);
    EXPECT_EQ(contentOf(folder / names[0]), "damaged today, no database");
    EXPECT_EQ(names[2], "vpnd.db.damaged-20990101-000002");
}

TEST_F(StoreFolderTest, AnEmptyFileIsANewOne)
{
    putContent(path, {});
    OpenStore store(folder.path());
    EXPECT_EQ(store.said(Noted::kFresh), 1);
    EXPECT_TRUE(setAside().empty());
}

// The folder's name is handed to SQLite as an address.
TEST_F(StoreFolderTest, AFolderMayHaveAnyName)
{
    for (const char* name : {"a b", "100%25", "what?mode=memory", "a#b", "\xe4\xb8\xad"}) {
        SCOPED_TRACE(name);
        const std::string odd = folder / name;
        {
            OpenStore store(odd);
            ASSERT_TRUE(store.stores("port", "1"));
        }
        EXPECT_EQ(namesIn(odd), std::vector<std::string>{"vpnd.db"});
        EXPECT_EQ(textOf(vpnd::readStore(odd, 1).settings), "port=1");
    }
}

class StoreSpoiltTest : public StoreFolderTest
{
protected:
    StoreSpoiltTest()
    {
        vpnd::Commit commit = settingTo("server", "vpn.example.com");
        commit.history = {entryNumber(1), entryNumber(2)};
        if (!store.commit(commit).isStored) throw std::runtime_error("not stored");
    }
    void spoil(const std::string& file, const std::string& bytes)
    {
        std::fstream out(file, std::ios::binary | std::ios::in | std::ios::out);
        out << bytes;
    }
    // A change is stored, and all that was stored before is there with it.
    void expectMadeAnew()
    {
        ASSERT_TRUE(store.stores("port", "443")) << store.saidText();
        const vpnd::StoreContents contents = vpnd::readStore(folder.path(), 10);
        EXPECT_EQ(textOf(contents.settings), "port=443 server=vpn.example.com");
        EXPECT_EQ(contents.history.size(), 2u);
        EXPECT_TRUE(store.stores("port", "444")) << "and from then on as ever";
        EXPECT_EQ(store.said(Noted::kCannotWrite), 0) << store.saidText();
    }

    OpenStore store{folder.path()};
};

TEST_F(StoreSpoiltTest, AFileThatIsSpoiltWhileItIsInUseIsMadeAnewFromWhatIsKnown)
{
    const std::string garbage(512 * 1024, '\x5a');
    spoil(path, garbage);
    spoil(path + "-wal", garbage);
    expectMadeAnew();
    EXPECT_EQ(store.said(Noted::kSetAside), 1) << store.saidText();
    EXPECT_EQ(setAside().size(), 2u) << "the file and its log";
}

TEST_F(StoreSpoiltTest, AFileThatIsCutShortWhileItIsInUseIsMadeAnewFromWhatIsKnown)
{
    std::filesystem::resize_file(path, 0);
    std::filesystem::resize_file(path + "-wal", 0);
    expectMadeAnew();
}

TEST_F(StoreSpoiltTest, AFileThatSomebodyRemovesIsMadeAnewFromWhatIsKnown)
{
    ::unlink(path.c_str());
    expectMadeAnew();
    EXPECT_TRUE(setAside().empty());
}

TEST_F(StoreSpoiltTest, AFileThatSomebodyPutsInItsPlaceIsSetAside)
{
    TestFolder other;
    {
        OpenStore another(other.path());
        ASSERT_TRUE(another.stores("server", "other"));
    }
    std::filesystem::copy(other / "vpnd.db", folder / "copy");
    std::filesystem::rename(folder / "copy", path);
    expectMadeAnew();
    EXPECT_EQ(setAside().size(), 1u);
}

// What goes to the file without anybody who knows the rest must not pass for all of it.
TEST_F(StoreSpoiltTest, WithoutAnybodyToAskNothingIsStoredInAFileMadeAnew)
{
    store.store->onImage(nullptr);
    ::unlink(path.c_str());
    EXPECT_FALSE(store.stores("port", "443"));
    EXPECT_EQ(store.said(Noted::kCannotWrite), 1);
    store.store->onImage([this] { return store.known; });
    EXPECT_TRUE(store.stores("port", "443"));
    EXPECT_EQ(store.said(Noted::kWritesAgain), 1);
    EXPECT_EQ(textOf(vpnd::readStore(folder.path(), 10).settings),
              "port=443 server=vpn.example.com");
}

// The loop is not turned while the end is waited for.
TEST_F(StoreSpoiltTest, TheEndAnswersForWhatIsKnown)
{
    ::unlink(path.c_str());
    bool isStored = false;
    store.store->commit(settingTo("port", "443"),
                        [&](const vpnd::CommitResult& result) { isStored = result.isStored; });
    store.store->finish(std::chrono::seconds(60));
    EXPECT_TRUE(isStored);
    EXPECT_EQ(textOf(vpnd::readStore(folder.path(), 10).settings),
              "port=443 server=vpn.example.com");
}

}  // namespace
