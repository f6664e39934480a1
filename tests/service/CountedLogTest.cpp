#include "service/base/CountedLog.h"

#include "tests/service/CapturedLog.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace
{

using vpnd::CountedLog;

constexpr auto kWarn = spdlog::level::warn;
constexpr auto kInfo = spdlog::level::info;

class CountedLogTest : public testing::Test
{
protected:
    using Lines = std::vector<std::string>;

    void pass(std::int64_t ms)
    {
        m_nowMs += ms;
        loop.turn(0);
    }
    Lines lines() { return m_lines.take(); }

private:
    std::int64_t m_nowMs = 1000;
    CapturedLog m_lines;

protected:
    vpnd::EventLoop loop{[this] { return m_nowMs; }};
    std::unique_ptr<CountedLog> log = std::make_unique<CountedLog>(loop);
};

TEST_F(CountedLogTest, TheFirstOfItsKindIsWrittenAtOnce)
{
    log->note(kWarn, "door", "open");
    EXPECT_EQ(lines(), Lines{"warning door: open"});
    log->note(kInfo, "window");
    EXPECT_EQ(lines(), Lines{"info window"});
}

TEST_F(CountedLogTest, OthersWithinTenSecondsAreCountedInOneLine)
{
    for (int i = 0; i < 100000; ++i) log->note(kWarn, "door", std::to_string(i));
    EXPECT_EQ(lines(), Lines{"warning door: 0"});
    pass(9999);
    EXPECT_EQ(lines(), Lines{});
    pass(1);
    EXPECT_EQ(lines(), Lines{"warning door: 99999 (99999 x since the last such line)"});
    pass(100000);
    EXPECT_EQ(lines(), Lines{}) << "there was no other";
}

TEST_F(CountedLogTest, AKindThatGoesOnGetsALineInTenSeconds)
{
    Lines all;
    for (int second = 0; second < 100; ++second) {
        log->note(kWarn, "door");
        log->note(kWarn, "door");
        pass(1000);
        for (const std::string& line : lines()) all.push_back(line);
    }
    ASSERT_EQ(all.size(), 11u);
    EXPECT_EQ(all[0], "warning door");
    EXPECT_EQ(all[1], "warning door (19 x since the last such line)");
    EXPECT_EQ(all[2], "warning door (20 x since the last such line)");
}

TEST_F(CountedLogTest, AfterTenQuietSecondsTheNextIsAFirstOneAgain)
{
    log->note(kWarn, "door");
    pass(10000);
    log->note(kWarn, "door");
    EXPECT_EQ(lines(), (Lines{"warning door", "warning door"}));
}

TEST_F(CountedLogTest, KindsAreCountedApartByTextAndLevel)
{
    log->note(kWarn, "door");
    log->note(kInfo, "door");
    log->note(kWarn, "window");
    EXPECT_EQ(lines(), (Lines{"warning door", "info door", "warning window"}));
    pass(5000);
    log->note(kWarn, "gate");
    log->note(kWarn, "gate");
    log->note(kWarn, "window");
    lines();
    pass(5000);
    EXPECT_EQ(lines(), Lines{"warning window (1 x since the last such line)"})
        << "neither too late because of the other one, nor with it";
    pass(5000);
    EXPECT_EQ(lines(), Lines{"warning gate (1 x since the last such line)"});
}

TEST_F(CountedLogTest, WhatIsStillCountedAtTheEndGetsItsLine)
{
    log->note(kWarn, "door");
    log->note(kWarn, "door");
    lines();
    log.reset();
    EXPECT_EQ(lines(), Lines{"warning door (1 x since the last such line)"});
}

TEST_F(CountedLogTest, WhatIsBelowTheLevelIsNotCounted)
{
    spdlog::set_level(spdlog::level::warn);
    log->note(kInfo, "door");
    log->note(kInfo, "door");
    spdlog::set_level(spdlog::level::debug);
    pass(10000);
    EXPECT_EQ(lines(), Lines{});
}

}  // namespace
