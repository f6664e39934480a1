#include "tests/platform/Cancellation.h"

#include "tests/library/LoadedDriver.h"
#include "tests/platform/Port.h"

// A host that cancels the thread of a cycle goes on with another one.
namespace
{

constexpr int kTimes = 20;
constexpr std::uint16_t kServicePort = 9009;

void expectThatCancelledCyclesLeaveNothing(LoadedDevice& device)
{
    const auto before = cancellation::openDescriptors();
    for (int i = 0; i < kTimes; ++i) {
        EXPECT_TRUE(cancellation::endsWhileWaiting([&device] { device.collect(); }));
    }
    EXPECT_EQ(cancellation::openDescriptors(), before);
}

void expectACycle(LoadedDevice& device)
{
    const RunningService service;
    EXPECT_NE(device.collect(), 1);
    EXPECT_EQ(device.host.published.size(), 10u);
}

}  // namespace

TEST(CancellationTest, WhileItConnects)
{
    LoadedDriver driver;
    LoadedDevice device(driver);
    {
        const FullPort port(kServicePort);
        expectThatCancelledCyclesLeaveNothing(device);
    }
    expectACycle(device);
}

TEST(CancellationTest, WhileItWaitsForAReply)
{
    LoadedDriver driver;
    LoadedDevice device(driver);
    {
        // Nobody takes what is sent to it.
        const Port port(2 * kTimes, kServicePort);
        expectThatCancelledCyclesLeaveNothing(device);
    }
    expectACycle(device);
}
