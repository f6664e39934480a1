#include "StoreFixture.h"

#include <random>
#include <string>

namespace
{

// A file as a killed service leaves it: something in the file, something in the log alone.
class StoreTamperTest : public testing::Test
{
protected:
    StoreTamperTest()
    {
        TestFolder folder;
        {
            OpenStore store(folder.path());
            vpnd::Commit commit = settingTo("server", "vpn.example.com");
            for (int id = 1; id <= 60; ++id) commit.history.push_back(entryNumber(id));
            store.commit(commit);
        }
        OpenStore store(folder.path());
        store.stores("certificates", std::string(6000, 'x'));
        file = contentOf(folder / "vpnd.db");
        log = contentOf(folder / "vpnd.db-wal");
        if (file.empty() || log.empty()) throw std::runtime_error("nothing to spoil");
    }

    // Opened, read, written and opened again, whatever stands in it.
    void expectStore(const std::string& spoiltFile, const std::string& spoiltLog)
    {
        TestFolder folder;
        putContent(folder / "vpnd.db", spoiltFile);
        if (!spoiltLog.empty()) putContent(folder / "vpnd.db-wal", spoiltLog);
        try {
            (void)vpnd::readStore(folder.path(), 100);
        } catch (const vpnd::StoreError&) {
        }
        {
            OpenStore store(folder.path());
            vpnd::Commit commit = settingTo("port", "1194");
            commit.history = {entryNumber(100)};
            EXPECT_TRUE(store.commit(commit).isStored) << store.saidText();
        }
        OpenStore again(folder.path());
        EXPECT_EQ(again.said(Noted::kSetAside), 0) << again.saidText();
        EXPECT_NE(textOf(again.contents.settings).find("port=1194"), std::string::npos);
    }

    std::string file;
    std::string log;
};

TEST_F(StoreTamperTest, AFileCutAnywhereGivesAStore)
{
    for (std::size_t size = 0; size < file.size(); size += 512) {
        SCOPED_TRACE(size);
        expectStore(file.substr(0, size), {});
    }
}

TEST_F(StoreTamperTest, ALogCutAnywhereGivesAStore)
{
    for (std::size_t size = 512; size < log.size(); size += 512) {
        SCOPED_TRACE(size);
        expectStore(file, log.substr(0, size));
    }
}

TEST_F(StoreTamperTest, AnyWrongByteInTheHeadGivesAStore)
{
    for (std::size_t at = 0; at < 100; ++at) {
        for (const unsigned wrong : {0x01u, 0x04u, 0x80u, 0xffu}) {
            SCOPED_TRACE("byte " + std::to_string(at) + " ^ " + std::to_string(wrong));
            std::string spoilt = file;
            spoilt[at] = static_cast<char>(static_cast<unsigned char>(spoilt[at]) ^ wrong);
            expectStore(spoilt, {});
        }
    }
}

TEST_F(StoreTamperTest, FlippedBitsAnywhereGiveAStore)
{
    const unsigned seeds = ORVA_STORE_FLIPS * static_cast<unsigned>(more());
    for (unsigned seed = 1; seed <= seeds; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        std::string spoiltFile = file;
        std::string spoiltLog = log;
        for (unsigned flips = 1 + random() % 8; flips > 0; --flips) {
            // The heads of file and pages are where it hurts.
            std::string& target = random() % 4 == 0 ? spoiltLog : spoiltFile;
            const std::size_t page = random() % (target.size() / 4096) * 4096;
            const std::size_t at = page + random() % (random() % 2 == 0 ? 128 : 4096);
            target[at] =
                static_cast<char>(static_cast<unsigned char>(target[at]) ^ (1u << random() % 8));
        }
        expectStore(spoiltFile, random() % 2 == 0 ? spoiltLog : std::string());
    }
}

TEST_F(StoreTamperTest, AFileOfZerosOrOfNoiseGivesAStore)
{
    expectStore(std::string(10000, '\0'), {});
    std::mt19937 random(1);
    std::string noise(10000, '\0');
    for (char& each : noise) each = static_cast<char>(random() & 0xff);
    expectStore(noise, noise);
    expectStore(file.substr(0, 100) + noise, {});
}

// Nothing is read of it: a hole of this size takes no room on the disk.
TEST_F(StoreTamperTest, AFileThatIsLongerThanItCanBeIsSetAside)
{
    TestFolder folder;
    putContent(folder / "vpnd.db", file);
    std::filesystem::resize_file(folder / "vpnd.db", std::uintmax_t{3} << 30);
    OpenStore store(folder.path());
    EXPECT_EQ(store.said(Noted::kSetAside), 1) << store.saidText();
    EXPECT_TRUE(store.stores("port", "1"));
}

}  // namespace
