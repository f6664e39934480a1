#include "tests/library/LoadedDriver.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>

namespace
{

// Open descriptors of this process that are sockets.
int openSockets()
{
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code gone;
        const auto target = std::filesystem::read_symlink(entry.path(), gone);
        if (target.string().rfind("socket:", 0) == 0) ++count;
    }
    return count;
}

int lines(const std::string& text)
{
    return static_cast<int>(std::count(text.begin(), text.end(), '\n'));
}

}  // namespace

TEST(LiveServiceTest, CycleShowsAllTenChannels)
{
    RunningService service;
    LoadedDriver driver;
    LoadedDevice device(driver);
    const int code = device.collect();
    EXPECT_TRUE(code == 0 || code == 7 || code == 8) << code;
    ASSERT_EQ(device.host.published.size(), 10u);
    EXPECT_EQ(device.host.published[0].second,
              scripted::FakeRtdb::Value(std::string("vpn.example.com")));
    EXPECT_EQ(device.host.published[1].second, scripted::FakeRtdb::Value(1194));
}

TEST(LiveServiceTest, DriverOutlivesItsServiceAndFindsItAgain)
{
    LoadedDriver driver;
    LoadedDevice device(driver);
    const int socketsBefore = openSockets();
    auto service = std::make_unique<RunningService>();
    EXPECT_NE(device.collect(), 1);
    EXPECT_EQ(device.host.published.size(), 10u);

    service.reset();
    testing::internal::CaptureStdout();
    EXPECT_EQ(device.collect(), 1);
    EXPECT_EQ(device.collect(), 1);
    EXPECT_LE(lines(testing::internal::GetCapturedStdout()), 1);
    EXPECT_TRUE(device.host.published.empty());
    EXPECT_EQ(openSockets(), socketsBefore) << "the dead connection is closed";

    service = std::make_unique<RunningService>();
    EXPECT_NE(device.collect(), 1);
    EXPECT_EQ(device.host.published.size(), 10u);
    for (int i = 0; i < 20; ++i) EXPECT_NE(device.collect(), 1);
    EXPECT_EQ(openSockets(), socketsBefore + 1) << "one connection, kept";
}

TEST(LiveServiceTest, CommandsReachTheServiceAndShowOnTheChannels)
{
    RunningService service;
    LoadedDriver driver;
    LoadedDevice device(driver);
    device.host.variables = {{"r", -1}, {"a", std::string("10.0.0.1")}, {"p", 1195}};
    EXPECT_EQ(device->DevIOCtrl("STARTVPN(a,p,r)"), 0);
    EXPECT_EQ(device.host.variables["r"], scripted::FakeRtdb::Value(0));
    EXPECT_EQ(device->DevIOCtrl("SETALIVETIME(45,r)"), 0);
    char name[] = "lineoperator";
    EXPECT_EQ(device->WriteChannel(9, DATATYPE_STRING, name), 0);
    device.collect();
    ASSERT_EQ(device.host.published.size(), 10u);
    EXPECT_EQ(device.host.published[0].second, scripted::FakeRtdb::Value(std::string("10.0.0.1")));
    EXPECT_EQ(device.host.published[1].second, scripted::FakeRtdb::Value(1195));
    EXPECT_EQ(device.host.published[3].second, scripted::FakeRtdb::Value(45));
    EXPECT_EQ(device.host.published[9].second,
              scripted::FakeRtdb::Value(std::string("lineoperator")));
}
