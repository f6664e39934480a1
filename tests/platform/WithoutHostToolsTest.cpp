#include "platform/HostTools.h"

#include <gtest/gtest.h>

#include <chrono>

namespace
{

std::int64_t steadyMs()
{
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
}

TEST(WithoutHostToolsTest, TheTickIsTheMonotonicClockInMilliseconds)
{
    const std::int64_t before = steadyMs();
    const std::int64_t tick = HostTools::tickCount();
    const std::int64_t after = steadyMs();
    EXPECT_GE(tick, before);
    EXPECT_LE(tick, after);
}

TEST(WithoutHostToolsTest, TheWatchdogIsNothing)
{
    ASSERT_TRUE(watch_dog_report == nullptr);
    HostTools::feedWatchdog(pthread_self());  // a call through null would end the program
}

}  // namespace
