#include "platform/HostTools.h"

#include "tests/library/LoadedDriver.h"

#include <atomic>
#include <cstdint>

namespace
{
std::atomic<std::int64_t> tickMs{0};
std::atomic<std::int64_t> tickStepMs{0};
std::atomic<int> reports{0};
pthread_t reportedThread;
}  // namespace

// Visible to the library that is loaded later, as the runtime's own are.
extern "C" __attribute__((visibility("default"))) std::int64_t Orva_GetTickCount()
{
    return tickMs += tickStepMs;
}

extern "C" __attribute__((visibility("default"))) void watch_dog_report(pthread_t thread)
{
    ++reports;
    reportedThread = thread;
}

TEST(HostToolsTest, LoadedDriverUsesTheHostsTickAndFeedsItsWatchdog)
{
    RunningService service;
    LoadedDriver driver;
    LoadedDevice device(driver);

    // The tick is read once at the start of a cycle and once behind each of its six calls.
    tickStepMs = 1000;
    EXPECT_NE(device.collect(), 1);
    EXPECT_EQ(reports, 0) << "six seconds are not ten";

    tickStepMs = 6000;
    EXPECT_NE(device.collect(), 1);
    EXPECT_EQ(reports, 3) << "every second report finds more than ten seconds gone";
    EXPECT_TRUE(pthread_equal(reportedThread, pthread_self()));
}
