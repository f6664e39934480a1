#include "service/daemon/Readiness.h"

#include "tests/service/NotifySocket.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdint>
#include <string>

namespace
{

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::MatchesRegex;
using vpnd::EventLoop;
using vpnd::Readiness;

class ReadinessTest : public testing::Test
{
protected:
    static std::string path()
    {
        return testing::TempDir() + "notify-" + std::to_string(::getpid());
    }
    static std::string own() { return std::to_string(::getpid()); }

    // The loop works, while its clock goes on.
    void pass(std::int64_t ms)
    {
        m_nowMs += ms;
        loop.turn(0);
    }

    std::int64_t m_nowMs = 1000;
    EventLoop loop{[this] { return m_nowMs; }};
};

TEST_F(ReadinessTest, TheManagerLearnsOfBeginReloadAndEnd)
{
    NotifySocket manager(path());
    Readiness readiness(loop);
    EXPECT_THAT(manager.messages(), IsEmpty());
    readiness.ready("listening");
    readiness.reloading();
    readiness.ready("listening elsewhere");
    readiness.stopping();
    EXPECT_THAT(manager.messages(),
                ElementsAre("READY=1\nSTATUS=listening",
                            MatchesRegex("RELOADING=1\nMONOTONIC_USEC=[1-9][0-9]+"),
                            "READY=1\nSTATUS=listening elsewhere", "STOPPING=1"));
}

TEST_F(ReadinessTest, TheAddressMayBeInTheAbstractNameSpace)
{
    NotifySocket manager("@" + path());
    Readiness(loop).ready("here");
    EXPECT_THAT(manager.messages(), ElementsAre("READY=1\nSTATUS=here"));
}

TEST_F(ReadinessTest, AStatusStaysOneLineSoThatItCannotSayMore)
{
    NotifySocket manager(path());
    Readiness(loop).ready("here\nMAINPID=1");
    Readiness::tellFailure("first fault\nsecond fault\n");
    EXPECT_THAT(manager.messages(), ElementsAre("READY=1\nSTATUS=here", "STATUS=first fault"));
}

TEST_F(ReadinessTest, TheWatchdogIsFedTwiceInItsTimeAndOnlyWhileTheLoopTurns)
{
    NotifySocket manager(path());
    const EnvironmentVariable usec("WATCHDOG_USEC", "30000000");
    const EnvironmentVariable pid("WATCHDOG_PID", own());
    Readiness readiness(loop);
    pass(40000);
    EXPECT_THAT(manager.messages(), IsEmpty()) << "fed before the service is ready";
    readiness.ready("here");
    ASSERT_THAT(manager.messages(), ElementsAre("READY=1\nSTATUS=here", "WATCHDOG=1"));
    pass(14999);
    EXPECT_EQ(manager.messages().size(), 2u);
    pass(1);
    EXPECT_EQ(manager.messages().size(), 3u);
    pass(15000);
    EXPECT_EQ(manager.messages().size(), 4u);
    m_nowMs += 60000;  // the loop is stuck
    EXPECT_EQ(manager.messages().size(), 4u);
    readiness.ready("here again");  // of a reload: no second rhythm
    pass(1);
    EXPECT_THAT(manager.messages().back(), "WATCHDOG=1");
    EXPECT_EQ(manager.messages().size(), 6u);
}

TEST_F(ReadinessTest, AWatchdogOfAnotherProcessOrWithoutATimeIsNotFed)
{
    for (const auto& [time, process] :
         {std::pair{"30000000", "1"}, {"", ""}, {"soon", ""}, {"-5", ""}, {"0", ""}}) {
        NotifySocket manager(path());
        const EnvironmentVariable usec("WATCHDOG_USEC", time);
        const EnvironmentVariable pid("WATCHDOG_PID", process);
        Readiness readiness(loop);
        readiness.ready("here");
        pass(100000);
        EXPECT_THAT(manager.messages(), ElementsAre("READY=1\nSTATUS=here")) << time;
    }
}

TEST_F(ReadinessTest, WithoutAManagerNothingIsSentAndNothingFails)
{
    for (const std::string& address :
         {std::string(), std::string("relative"), std::string("@"), "/" + std::string(300, 'x'),
          testing::TempDir() + "not-there"}) {
        const EnvironmentVariable socket("NOTIFY_SOCKET", address);
        Readiness readiness(loop);
        readiness.ready("here");
        readiness.reloading();
        readiness.stopping();
        Readiness::tellFailure("why");
    }
}

TEST_F(ReadinessTest, AManagerThatDoesNotReadHoldsUpNobody)
{
    NotifySocket manager(path());
    const EnvironmentVariable usec("WATCHDOG_USEC", "2000");
    Readiness readiness(loop);
    readiness.ready("here");
    const auto begin = std::chrono::steady_clock::now();
    // Far more than the socket takes.
    for (int i = 0; i < 5000; ++i) pass(1);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    readiness.stopping();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    EXPECT_LT(manager.messages().size(), 5000u);
}

}  // namespace
