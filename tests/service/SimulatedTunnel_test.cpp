#include "service/tunnel/SimulatedTunnel.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace
{

using vpnd::Reason;
using vpnd::SimulatedTunnel;
using vpnd::TunnelConfig;
using vpnd::TunnelStage;

using Stages = std::vector<TunnelStage>;

class SimulatedTunnelTest : public testing::Test, private vpnd::ITunnelEvents
{
protected:
    SimulatedTunnelTest()
    {
        config.server = "vpn.example.com";
        config.port = 1194;
        config.userName = "user";
        config.password = "password";
        config.certificates = "first";
        config.beatIntervalS = 30;
        tunnel.setListener(*this);
    }

    void pass(std::int64_t ms)
    {
        m_nowMs += ms;
        m_loop.turn(0);
    }
    TunnelStage stage() { return m_state.stage; }
    Reason fault() { return m_state.reason; }
    std::string vpnIp() { return m_state.vpnIp; }

    bool start()
    {
        if (!tunnel.isComplete(config)) return false;
        tunnel.start(config);
        return true;
    }
    void connect()
    {
        ASSERT_TRUE(start());
        pass(1000);
        ASSERT_EQ(stage(), TunnelStage::kConnected);
    }

    // The stages that come by in this time, looked at every millisecond.
    Stages seenIn(std::int64_t ms)
    {
        Stages seen{stage()};
        for (; ms > 0; --ms) {
            pass(1);
            if (stage() != seen.back()) seen.push_back(stage());
        }
        return seen;
    }

    TunnelConfig config;

private:
    void onTunnelState(const vpnd::TunnelState& state) override
    {
        m_state = state;
        events.push_back(state);
    }
    void onTraffic(const vpnd::Traffic& traffic) override { reports.push_back(traffic); }

    std::int64_t m_nowMs = 50000;
    vpnd::TunnelState m_state;
    vpnd::EventLoop m_loop{[this] { return m_nowMs; }};

protected:
    std::vector<vpnd::TunnelState> events;
    std::vector<vpnd::Traffic> reports;
    SimulatedTunnel tunnel{m_loop};
};

TEST_F(SimulatedTunnelTest, ANewTunnelIsIdleAndStaysSo)
{
    EXPECT_EQ(seenIn(5000), Stages{TunnelStage::kIdle});
    EXPECT_EQ(vpnIp(), "");
}

TEST_F(SimulatedTunnelTest, AConnectGoesThroughThreeStagesInOneSecond)
{
    ASSERT_TRUE(start());
    EXPECT_EQ(stage(), TunnelStage::kReaching);
    pass(399);
    EXPECT_EQ(stage(), TunnelStage::kReaching);
    pass(1);
    EXPECT_EQ(stage(), TunnelStage::kAuthenticating);
    pass(349);
    EXPECT_EQ(stage(), TunnelStage::kAuthenticating);
    pass(1);
    EXPECT_EQ(stage(), TunnelStage::kConfiguring);
    pass(249);
    EXPECT_EQ(stage(), TunnelStage::kConfiguring);
    EXPECT_EQ(vpnIp(), "");
    pass(1);
    EXPECT_EQ(stage(), TunnelStage::kConnected);
    EXPECT_EQ(vpnIp(), "10.8.0.6");
    EXPECT_EQ(seenIn(100000), Stages{TunnelStage::kConnected});
}

TEST_F(SimulatedTunnelTest, ItDoesNotMatterHowOftenAnybodyLooks)
{
    ASSERT_TRUE(start());
    pass(3600 * 1000);
    EXPECT_EQ(stage(), TunnelStage::kConnected);
}

TEST_F(SimulatedTunnelTest, StoppingTakesThreeHundredMilliseconds)
{
    connect();
    tunnel.stop();
    EXPECT_EQ(stage(), TunnelStage::kStopping);
    EXPECT_EQ(vpnIp(), "");
    pass(299);
    EXPECT_EQ(stage(), TunnelStage::kStopping);
    pass(1);
    EXPECT_EQ(stage(), TunnelStage::kIdle);
    tunnel.stop();
    EXPECT_EQ(seenIn(1000), Stages{TunnelStage::kIdle});
}

TEST_F(SimulatedTunnelTest, AStopDuringTheConnectEndsIt)
{
    ASSERT_TRUE(start());
    pass(500);
    tunnel.stop();
    EXPECT_EQ(seenIn(5000), (Stages{TunnelStage::kStopping, TunnelStage::kIdle}));
}

TEST_F(SimulatedTunnelTest, AStartWhileStoppingComesAfterTheStop)
{
    connect();
    tunnel.stop();
    pass(100);
    ASSERT_TRUE(start());
    EXPECT_EQ(stage(), TunnelStage::kStopping);
    EXPECT_EQ(seenIn(2000),
              (Stages{TunnelStage::kStopping, TunnelStage::kReaching, TunnelStage::kAuthenticating,
                      TunnelStage::kConfiguring, TunnelStage::kConnected}));
}

TEST_F(SimulatedTunnelTest, WithoutCredentialsItDoesNotStart)
{
    config.password.clear();
    EXPECT_FALSE(start());
    config.password = "password";
    config.userName.clear();
    EXPECT_FALSE(start());
    EXPECT_EQ(seenIn(1000), Stages{TunnelStage::kIdle});
}

TEST_F(SimulatedTunnelTest, AStartOfARunningUnchangedTunnelLeavesItAlone)
{
    connect();
    EXPECT_TRUE(start());
    EXPECT_EQ(seenIn(1000), Stages{TunnelStage::kConnected});
    tunnel.apply(config);
    EXPECT_EQ(seenIn(1000), Stages{TunnelStage::kConnected});
}

TEST_F(SimulatedTunnelTest, OffLineTakesTheConnectionDownAndHoldsIt)
{
    connect();
    tunnel.setOnline(false);
    EXPECT_EQ(vpnIp(), "");
    EXPECT_EQ(seenIn(60000), Stages{TunnelStage::kIdle});
    tunnel.setOnline(true);
    EXPECT_EQ(seenIn(2000), (Stages{TunnelStage::kReconnecting, TunnelStage::kReaching,
                                    TunnelStage::kAuthenticating, TunnelStage::kConfiguring,
                                    TunnelStage::kConnected}));
}

TEST_F(SimulatedTunnelTest, AStartWhileOffLineWaitsForTheLine)
{
    tunnel.setOnline(false);
    EXPECT_TRUE(start());
    EXPECT_EQ(seenIn(3000), Stages{TunnelStage::kIdle});
    tunnel.setOnline(true);
    pass(1200);
    EXPECT_EQ(stage(), TunnelStage::kConnected);
}

TEST_F(SimulatedTunnelTest, BackOnLineAStoppedTunnelStaysStopped)
{
    connect();
    tunnel.setOnline(false);
    tunnel.stop();
    tunnel.setOnline(true);
    EXPECT_EQ(seenIn(3000), Stages{TunnelStage::kIdle});
}

TEST_F(SimulatedTunnelTest, OffLineWhileItRestartsHoldsItAfterTheStop)
{
    connect();
    config.port = 1195;
    tunnel.apply(config);
    tunnel.setOnline(false);
    EXPECT_EQ(seenIn(3000), (Stages{TunnelStage::kStopping, TunnelStage::kIdle}));
}

TEST_F(SimulatedTunnelTest, AnotherServerRestartsARunningTunnel)
{
    connect();
    config.server = "other.example.com";
    tunnel.apply(config);
    EXPECT_EQ(seenIn(2000),
              (Stages{TunnelStage::kStopping, TunnelStage::kReaching, TunnelStage::kAuthenticating,
                      TunnelStage::kConfiguring, TunnelStage::kConnected}));
}

TEST_F(SimulatedTunnelTest, AnotherPortByWayOfStartRestartsItToo)
{
    connect();
    config.port = 443;
    EXPECT_TRUE(start());
    EXPECT_EQ(stage(), TunnelStage::kStopping);
}

TEST_F(SimulatedTunnelTest, AnotherCertificateIsReadByConnectingAgain)
{
    connect();
    config.certificates = "second";
    tunnel.apply(config);
    EXPECT_EQ(stage(), TunnelStage::kReconnecting);
    pass(1200);
    EXPECT_EQ(stage(), TunnelStage::kConnected);
}

TEST_F(SimulatedTunnelTest, OtherCredentialsAndIntervalsWaitForTheNextConnect)
{
    connect();
    config.password = "other";
    config.userName = "other";
    config.beatIntervalS = 5;
    config.deviceNumber = "7";
    tunnel.apply(config);
    EXPECT_EQ(seenIn(2000), Stages{TunnelStage::kConnected});
}

TEST_F(SimulatedTunnelTest, SettingsOfATunnelThatIsNotStartedStartNothing)
{
    config.server = "other.example.com";
    config.certificates = "second";
    tunnel.apply(config);
    EXPECT_EQ(seenIn(2000), Stages{TunnelStage::kIdle});
}

TEST_F(SimulatedTunnelTest, ANameThatNeverResolvesIsTriedAgainAfterLongerAndLongerWaits)
{
    config.server = "vpn.invalid";
    ASSERT_TRUE(start());
    for (const std::int64_t waitMs : {2000, 4000, 8000, 16000, 30000, 30000}) {
        EXPECT_EQ(stage(), TunnelStage::kReaching);
        pass(4999);
        EXPECT_EQ(stage(), TunnelStage::kReaching);
        pass(1);
        EXPECT_EQ(stage(), TunnelStage::kReconnecting);
        pass(waitMs - 1);
        EXPECT_EQ(stage(), TunnelStage::kReconnecting) << waitMs;
        pass(1);
    }
    EXPECT_EQ(stage(), TunnelStage::kReaching);
}

TEST_F(SimulatedTunnelTest, ALookAtTheConnectionEndsTheWait)
{
    config.server = "vpn.invalid";
    ASSERT_TRUE(start());
    tunnel.poke();
    pass(5000);
    ASSERT_EQ(stage(), TunnelStage::kReconnecting);
    tunnel.poke();
    EXPECT_EQ(stage(), TunnelStage::kReaching);
    // The waits go on getting longer, but a start begins with the first one.
    pass(5000 + 3999);
    EXPECT_EQ(stage(), TunnelStage::kReconnecting);
    EXPECT_TRUE(start());
    EXPECT_EQ(stage(), TunnelStage::kReaching);
    pass(5000 + 2000);
    EXPECT_EQ(stage(), TunnelStage::kReaching);
}

TEST_F(SimulatedTunnelTest, AnotherCertificateEndsTheWaitAndLeavesTheNextOneAsItIs)
{
    config.server = "vpn.invalid";
    ASSERT_TRUE(start());
    pass(5000);
    ASSERT_EQ(stage(), TunnelStage::kReconnecting);
    config.certificates = "second";
    tunnel.apply(config);
    pass(200);
    EXPECT_EQ(stage(), TunnelStage::kReaching);
    pass(5000 + 3999);
    EXPECT_EQ(stage(), TunnelStage::kReconnecting);
    pass(1);
    EXPECT_EQ(stage(), TunnelStage::kReaching);
}

TEST_F(SimulatedTunnelTest, ALookAtAConnectionThatIsUpChangesNothing)
{
    tunnel.poke();
    EXPECT_EQ(stage(), TunnelStage::kIdle);
    connect();
    tunnel.poke();
    EXPECT_EQ(seenIn(1000), Stages{TunnelStage::kConnected});
}

TEST_F(SimulatedTunnelTest, RefusedCredentialsAreAFaultUntilTheyChange)
{
    config.password = "wrong123";
    ASSERT_TRUE(start());
    EXPECT_EQ(seenIn(2000),
              (Stages{TunnelStage::kReaching, TunnelStage::kAuthenticating, TunnelStage::kFault}));
    EXPECT_EQ(fault(), Reason::kCredentialsRefused);
    // Trying on with the same would lock the account.
    tunnel.poke();
    config.beatIntervalS = 5;
    config.certificates = "second";
    tunnel.apply(config);
    EXPECT_EQ(seenIn(60000), Stages{TunnelStage::kFault});
    config.password = "right123";
    tunnel.apply(config);
    EXPECT_EQ(fault(), Reason::kNone);
    pass(1000);
    EXPECT_EQ(stage(), TunnelStage::kConnected);
}

TEST_F(SimulatedTunnelTest, ARefusedUserNameIsTheSameFault)
{
    config.userName = "wronguser";
    ASSERT_TRUE(start());
    pass(1000);
    EXPECT_EQ(fault(), Reason::kCredentialsRefused);
}

TEST_F(SimulatedTunnelTest, AnUntrustedServerIsAFaultUntilTheCertificateOrTheServerChanges)
{
    config.server = "vpn.untrusted.test";
    ASSERT_TRUE(start());
    pass(1000);
    EXPECT_EQ(stage(), TunnelStage::kFault);
    EXPECT_EQ(fault(), Reason::kCertificateUntrusted);
    config.password = "another";
    tunnel.apply(config);
    EXPECT_EQ(stage(), TunnelStage::kFault);
    config.certificates = "second";
    tunnel.apply(config);
    EXPECT_EQ(stage(), TunnelStage::kReaching);
    pass(1000);
    EXPECT_EQ(stage(), TunnelStage::kFault);
    config.server = "vpn.example.com";
    tunnel.apply(config);
    pass(1000);
    EXPECT_EQ(stage(), TunnelStage::kConnected);
}

TEST_F(SimulatedTunnelTest, AStartAtAFaultTriesAgainAndAStopClearsIt)
{
    config.password = "wrong123";
    ASSERT_TRUE(start());
    pass(1000);
    ASSERT_EQ(stage(), TunnelStage::kFault);
    EXPECT_TRUE(start());
    EXPECT_EQ(stage(), TunnelStage::kReaching);
    EXPECT_EQ(fault(), Reason::kNone);
    pass(1000);
    ASSERT_EQ(stage(), TunnelStage::kFault);
    tunnel.stop();
    EXPECT_EQ(seenIn(1000), Stages{TunnelStage::kIdle});
    EXPECT_EQ(fault(), Reason::kNone);
}

}  // namespace
