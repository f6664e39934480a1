#include "platform/HostTools.h"

#include <gtest/gtest.h>

namespace
{

std::int64_t hostTick = 0;
int reports = 0;
pthread_t reported;

}  // namespace

// A host that has both functions.
extern "C" __attribute__((visibility("default"))) std::int64_t Orva_GetTickCount()
{
    return hostTick;
}

extern "C" __attribute__((visibility("default"))) void watch_dog_report(pthread_t thread)
{
    ++reports;
    reported = thread;
}

namespace
{

TEST(HostToolsTest, TheTickIsTheHosts)
{
    hostTick = 0x123456789ABCDEF;
    EXPECT_EQ(HostTools::tickCount(), 0x123456789ABCDEF);
    hostTick = -5;
    EXPECT_EQ(HostTools::tickCount(), -5);
}

TEST(HostToolsTest, TheWatchdogIsTheHosts)
{
    HostTools::feedWatchdog(pthread_self());
    EXPECT_EQ(reports, 1);
    EXPECT_NE(pthread_equal(reported, pthread_self()), 0);
}

}  // namespace
