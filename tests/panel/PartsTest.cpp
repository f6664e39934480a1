#include "host/StatusCodes.h"
#include "panel/commands/DriverOptions.h"
#include "panel/runtime/ChannelList.h"
#include "panel/runtime/ConfigBlob.h"
#include "panel/runtime/PanelError.h"
#include "panel/runtime/Watchdog.h"
#include "panel/view/CodeNames.h"
#include "panel/view/Secrets.h"

#include <gtest/gtest.h>
#include <limits>

namespace panel
{
namespace
{

TEST(CodeNamesTest, TheSameNumberMeansWhatTheCallMeans)
{
    EXPECT_EQ(meaningOf(CodeOf::kCollect, 0), "VPN connected");
    EXPECT_EQ(meaningOf(CodeOf::kCommand, 0), "done");
    EXPECT_EQ(meaningOf(CodeOf::kWrite, 4), "channel is read-only");
    EXPECT_EQ(meaningOf(CodeOf::kCommand, 9), "valid, but not possible now");
    EXPECT_EQ(meaningOf(CodeOf::kCollect, 9), "unknown code");
    EXPECT_EQ(meaningOf(CodeOf::kCollect, -3), "no real-time database");
    EXPECT_EQ(meaningOf(CodeOf::kCommand, kStatusFailed),
              "bad argument or failure inside the driver");
}

TEST(CodeNamesTest, HostStatusesAreWrittenInHexadecimal)
{
    EXPECT_EQ(codeText(kStatusFailed), "0x80000001");
    EXPECT_EQ(codeText(kStatusNoRtdb), "0x80000000");
    EXPECT_EQ(codeText(-3), "-3");
    EXPECT_EQ(codeText(20), "20");
}

TEST(ChannelListTest, NumbersAndRangesBecomeFlags)
{
    EXPECT_EQ(parseChannelList("1,3-4,10"), (ChannelFlags{1, 0, 1, 1, 0, 0, 0, 0, 0, 1}));
    EXPECT_EQ(parseChannelList("1-10"), allChannels());
    for (const char* wrong : {"", "0", "11", "1,", "1-", "-1", "4-3", "1 2", "99999999999"}) {
        EXPECT_THROW(parseChannelList(wrong), PanelError) << wrong;
    }
}

TEST(DriverOptionsTest, TheDriverIsTheOneGivenThenTheEnvironmentsThenTheInstalledOne)
{
    EXPECT_EQ(chooseDriver("a.so", "b.so", "/dev/null"), "a.so");
    EXPECT_EQ(chooseDriver("", "b.so", "/dev/null"), "b.so");
    EXPECT_EQ(chooseDriver("", "", "/dev/null"), "/dev/null");
    EXPECT_EQ(chooseDriver("", nullptr, "/dev/null"), "/dev/null");
    try {
        chooseDriver("", nullptr, "/does/not/exist.so");
        FAIL();
    } catch (const PanelError& error) {
        EXPECT_STREQ(error.what(),
                     "no driver: --driver or ORVA_DRIVER must name one, or it must be installed as "
                     "/does/not/exist.so");
    }
}

TEST(ConfigBlobTest, TheNumberIsLittleEndianAndMayBeNegative)
{
    using Bytes = std::vector<unsigned char>;
    EXPECT_EQ(makeConfigBlob(0x01020304), (Bytes{0x23, 0x4E, 0, 0, 0, 0, 4, 3, 2, 1}));
    EXPECT_EQ(makeConfigBlob(-2), (Bytes{0x23, 0x4E, 0, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF}));
}

TEST(SecretsTest, LiteralsShowInHarmlessCommandsOnly)
{
    VariableStore variables;
    ASSERT_TRUE(variables.define("r", 0));
    const std::pair<const char*, const char*> cases[] = {
        {"SETVPNSERVER(vpn.example.com,1194,r)", "SETVPNSERVER(vpn.example.com,1194,r)"},
        {" setdevicesn (SN-1, r) ", " setdevicesn (SN-1, r) "},
        {"REFRESH", "REFRESH"},
        {"SetVPNPasswd(hunter22,r)", "SetVPNPasswd(********,r)"},
        {"SetVPNPassword(hunter22,r)", "SetVPNPassword(********,r)"},
        {"SetVPNPasswd hunter22,r", "SetVPNPasswd ********"},
        {"SetVPNPasswd hunter22 (r)", "SetVPNPasswd ********(r)"},
        {"SetVPNPassword hunter22,r", "********"},
        {"hunter22", "********"},
        {"ORVA_WRIT(9=hunter22)", "ORVA_WRIT(********)"},
        {"ORVA_WRITE(9=hunter22)", "ORVA_WRITE(9=********)"},
        {"ORVA_WRITE(hunter22=9)", "ORVA_WRITE(********"},
        {"REFRESH(),SetVPNPasswd(hunter22,r)", "REFRESH()********"},
        {"REFRESH(SetVPNPasswd(hunter22,r))", "REFRESH(********,r)********"},
        {"(hunter22)", "(********)"},
        {"RESTART()", "RESTART()"},
        {"", "********"},
    };
    for (const auto& [command, shown] : cases) EXPECT_EQ(maskCommand(command, variables), shown);
}

TEST(SecretsTest, VariablesOfMisspeltCommandsAreSecretToo)
{
    EXPECT_TRUE(namesSecret("SetVPNPasswd(p,r)", "p"));
    EXPECT_TRUE(namesSecret("SetVPNPassword( p ,r)", "p"));
    EXPECT_TRUE(namesSecret("SetVPNPasswd p,r", "p"));
    EXPECT_TRUE(namesSecret("GetVPNPasswd(p,r)", "p"));
    EXPECT_FALSE(namesSecret("SetVPNPasswd(p,r)", "P"));
    EXPECT_FALSE(namesSecret("STARTVPN(a,p,r)", "p"));
}

class WatchdogTest : public ::testing::Test
{
protected:
    static Watchdog::Clock::time_point at(int ms)
    {
        return Watchdog::Clock::time_point() + std::chrono::milliseconds(ms);
    }
    // "A silent 150" or "A back 150", one a line.
    std::string look(int ms)
    {
        std::string text;
        for (const auto& report : m_watchdog.look(at(ms), std::chrono::milliseconds(100))) {
            text += report.device + (report.silent ? " silent " : " back ") +
                    std::to_string(report.silentFor.count()) + "\n";
        }
        return text;
    }

    Watchdog m_watchdog;
    const pthread_t m_thread = ::pthread_self();
};

TEST_F(WatchdogTest, ASilenceIsReportedOnceAndSoIsItsEnd)
{
    m_watchdog.watch(m_thread, "A", at(0));
    EXPECT_EQ(look(100), "");
    EXPECT_EQ(look(101), "A silent 101\n");
    EXPECT_EQ(look(300), "");
    m_watchdog.feed(m_thread, at(310));
    EXPECT_EQ(look(320), "A back 310\n");
    EXPECT_EQ(look(400), "");
    EXPECT_EQ(look(411), "A silent 101\n");
}

TEST_F(WatchdogTest, AThreadThatFeedsInTimeIsNeverReported)
{
    m_watchdog.watch(m_thread, "A", at(0));
    for (int ms = 50; ms < 1000; ms += 50) {
        m_watchdog.feed(m_thread, at(ms));
        EXPECT_EQ(look(ms + 49), "");
    }
}

TEST_F(WatchdogTest, ThreadsThatAreNotWatchedAreIgnored)
{
    m_watchdog.feed(m_thread, at(0));
    EXPECT_EQ(look(1000), "");
    m_watchdog.watch(m_thread, "A", at(0));
    m_watchdog.unwatch(m_thread);
    EXPECT_EQ(look(1000), "");
}

}  // namespace
}  // namespace panel
