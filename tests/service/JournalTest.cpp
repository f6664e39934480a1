#include "service/base/Journal.h"

#include "service/base/LogSink.h"
#include "tests/service/NotifySocket.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <spdlog/details/log_msg.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

namespace
{

using ::testing::HasSubstr;
using ::testing::MatchesRegex;
using vpnd::LogSink;

// A pipe that may be the journal's.
class JournalTest : public testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(::pipe2(ends, O_CLOEXEC | O_NONBLOCK), 0); }
    void TearDown() override
    {
        ::close(ends[0]);
        ::close(ends[1]);
    }
    std::string itsName() const
    {
        struct stat status;
        ::fstat(ends[1], &status);
        return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino);
    }
    // What a log writes there.
    std::string written(const std::string& text, spdlog::level::level_enum level)
    {
        LogSink sink(ends[1]);
        sink.log({"orva-vpnd", level, text});
        sink.finish(std::chrono::seconds(20));
        return read();
    }
    std::string read()
    {
        std::string all;
        char chunk[4096];
        for (ssize_t count = 0; (count = ::read(ends[0], chunk, sizeof chunk)) > 0;) {
            all.append(chunk, static_cast<std::size_t>(count));
        }
        return all;
    }

    int ends[2] = {-1, -1};
};

TEST_F(JournalTest, ItGetsThePriorityOfALineAndNoTime)
{
    const EnvironmentVariable stream("JOURNAL_STREAM", itsName());
    ASSERT_TRUE(vpnd::isJournal(ends[1]));
    EXPECT_EQ(written("x", spdlog::level::critical), "<2>x\n");
    EXPECT_EQ(written("x", spdlog::level::err), "<3>x\n");
    EXPECT_EQ(written("x", spdlog::level::warn), "<4>x\n");
    EXPECT_EQ(written("x", spdlog::level::info), "<6>x\n");
    EXPECT_EQ(written("x", spdlog::level::debug), "<7>x\n");
}

TEST_F(JournalTest, EveryOtherReaderGetsOneTimeALineAndNoPriority)
{
    const std::string line = "\\[[-0-9]+ [0-9:.]+\\] \\[orva-vpnd\\] \\[warning\\] x\n";
    EXPECT_THAT(written("x", spdlog::level::warn), MatchesRegex(line));
    for (const std::string& other :
         {itsName() + "0", "1" + itsName(), std::string("0:0"), std::string("x"), std::string()}) {
        const EnvironmentVariable stream("JOURNAL_STREAM", other);
        EXPECT_THAT(written("x", spdlog::level::warn), MatchesRegex(line)) << other;
    }
}

TEST_F(JournalTest, AGapInTheLogHasItsPriorityToo)
{
    const EnvironmentVariable stream("JOURNAL_STREAM", itsName());
    LogSink sink(ends[1]);
    sink.print(std::string(LogSink::kMostBytes + 1, 'x'));
    sink.finish(std::chrono::seconds(20));
    EXPECT_EQ(read(), "<4>1 lines of the log were dropped here\n");
}

TEST_F(JournalTest, LinesThatSayWhyTheProgramEndsAreMarkedOneByOne)
{
    EXPECT_EQ(vpnd::errorLines("a\nb\n", ends[1]), "a\nb\n");
    const EnvironmentVariable stream("JOURNAL_STREAM", itsName());
    EXPECT_EQ(vpnd::errorLines("a\nb\n", ends[1]), "<3>a\n<3>b\n");
    EXPECT_EQ(vpnd::errorLines("", ends[1]), "");
}

}  // namespace
