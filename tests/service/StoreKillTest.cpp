#include "ChildProcess.h"
#include "StoreFixture.h"

#include <random>
#include <sstream>
#include <string>

namespace
{

// The highest number that was acknowledged; complaints fail the test.
std::int64_t lastAcknowledged(const std::string& output, std::int64_t before)
{
    std::istringstream lines(output.substr(0, output.rfind('\n') + 1));
    std::int64_t last = before;
    for (std::string line; std::getline(lines, line);) {
        if (line[0] == '!') {
            ADD_FAILURE() << line;
        } else {
            EXPECT_EQ(std::stoll(line), last + 1) << "in the order of the commits";
            last = std::stoll(line);
        }
    }
    return last;
}

// Of all that a commit stores, all is there or nothing.
std::int64_t wholeCommitsIn(const vpnd::StoreContents& contents)
{
    std::int64_t number = 0;
    std::size_t length = 0;
    for (const auto& each : contents.settings) {
        if (each.key == "number") number = std::stoll(each.value);
        if (each.key == "certificates") length = each.value.size();
    }
    EXPECT_EQ(length, static_cast<std::size_t>(number % 7) * 1500);
    std::int64_t expected = std::max<std::int64_t>(number - 200, 1);
    for (const auto& entry : contents.history) {
        EXPECT_EQ(entry.id, expected++);
        EXPECT_EQ(entry.detail.size(), static_cast<std::size_t>(entry.id % 11) * 40);
    }
    EXPECT_EQ(expected, number + 1);
    return number;
}

TEST(StoreKillTest, NothingAcknowledgedIsLostByKillsAtAnyMoment)
{
    TestFolder folder;
    std::mt19937 random(20260102);
    std::int64_t stored = 0;
    int inOpening = 0;
    const int kills = ORVA_STORE_KILLS * more();
    for (int kill = 1; kill <= kills; ++kill) {
        SCOPED_TRACE("kill " + std::to_string(kill));
        std::int64_t acknowledged = stored;
        {
            ChildProcess child(storeChild({"write", folder.path(), std::to_string(stored + 1)}));
            // From the midst of its beginning to some dozen commits later.
            const std::size_t lines = random() % 8 == 0 ? 0 : random() % 40;
            ASSERT_TRUE(child.waitFor([&] {
                const std::string& out = child.out();
                return static_cast<std::size_t>(std::count(out.begin(), out.end(), '\n')) >= lines;
            })) << child.out();
            if (lines == 0) ++inOpening;
            ::usleep(static_cast<useconds_t>(random() % 3000));
            child.signal(SIGKILL);
            EXPECT_EQ(child.exitCode(), -1) << child.out();
            acknowledged = lastAcknowledged(child.out(), stored);
            EXPECT_EQ(child.err(), "");
        }
        if (::access((folder / "vpnd.db").c_str(), F_OK) != 0) {
            ASSERT_EQ(acknowledged, 0) << "the file is gone";
            continue;
        }
        // By turns read as the files are, and repaired by the next service.
        std::int64_t found = 0;
        if (kill % 2 == 0) {
            found = wholeCommitsIn(vpnd::readStore(folder.path(), 1000));
        } else {
            OpenStore store(folder.path());
            EXPECT_EQ(store.said(Noted::kSetAside), 0) << store.saidText();
            EXPECT_EQ(store.said(Noted::kCannotWrite), 0) << store.saidText();
            found = wholeCommitsIn(store.contents);
        }
        EXPECT_GE(found, acknowledged) << "an acknowledged commit is lost";
        EXPECT_LE(found, acknowledged + 3 + 40);
        stored = found;
        if (testing::Test::HasFailure()) return;
    }
    EXPECT_GT(stored, kills * 5);
    EXPECT_GT(inOpening, 0);
}

}  // namespace
