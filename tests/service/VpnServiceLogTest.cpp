#include "tests/service/CapturedLog.h"
#include "tests/service/ServiceCalls.h"

#include <optional>
#include <string>
#include <vector>

namespace
{

using Lines = std::vector<std::string>;

class VpnServiceLogTest : public VpnServiceTest
{
protected:
    void SetUp() override
    {
        VpnServiceTest::SetUp();
        m_lines.emplace();
    }
    Lines lines() { return m_lines->take(); }
    // Time for a new line of each kind.
    void later()
    {
        pass(vpnd::CountedLog::kPauseMs);
        loop().turn(0);
    }

private:
    std::optional<CapturedLog> m_lines;
};

TEST_F(VpnServiceLogTest, ARepeatedCallThatChangesNothingWritesNoLine)
{
    connected();
    const struct {
        std::string method;
        std::string block;
        std::string line;
    } calls[] = {
        {"changeServerIP", raw::args(raw::string("10.0.0.1")), "info server address: set"},
        {"setServerIPAndPort", raw::args(raw::string("10.0.0.2"), raw::integer(443)),
         "info server: set"},
        {"setDeviceSn", raw::args(raw::string("S-1")), "info device number: set"},
        {"setBeatInterval", raw::args(raw::integer(77)), "info beat interval: set"},
        {"setVPNPassword", raw::args(raw::string("example-pw")), "info password: set"},
        {"setVPNUserName", raw::args(raw::string("example-user")), "info user name: set"},
        {"stopVPN", raw::args(), "info stop"},
        {"startVPN", raw::args(raw::string("10.0.0.3"), raw::integer(1)),
         "info start: 10.0.0.3 port 1"},
        {"setOnline", raw::args(raw::boolean(false)), "info offline"},
        {"setOnline", raw::args(raw::boolean(true)), "info online"},
        {"setVPNEnabled", raw::args(raw::boolean(false)), "info disable"},
        {"setVPNEnabled", raw::args(raw::boolean(true)), "info enable"},
    };
    for (const auto& each : calls) {
        later();
        EXPECT_EQ(call(each.method, each.block).find("refused"), std::string::npos);
        EXPECT_EQ(lines(), Lines{each.line});
        settle();
        later();
        for (int i = 0; i < 100; ++i) call(each.method, each.block);
        later();
        EXPECT_EQ(lines(), Lines{}) << each.method;
    }
}

TEST_F(VpnServiceLogTest, ReadingWritesNoLine)
{
    for (const char* method :
         {"getServerIP", "getDeviceVPNInfo", "getVPNEnabled", "getVpnState", "getProductSn",
          "getVPNPassword", "getVPNUserName", "hasPassword", "checkCommState"}) {
        call(method);
    }
    later();
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(VpnServiceLogTest, AStartThatEndsAFaultWritesALine)
{
    EXPECT_EQ(setPassword("wrong"), kDone);
    EXPECT_EQ(start("10.0.0.1", 1), kDone);
    settle();
    ASSERT_EQ(state(), 101);
    later();
    lines();
    EXPECT_EQ(start("10.0.0.1", 1), kDone);
    EXPECT_EQ(lines(), Lines{"info start: 10.0.0.1 port 1"});
}

TEST_F(VpnServiceLogTest, CallsThatGoBackAndForthAreCounted)
{
    for (int i = 0; i < 1000; ++i) {
        online(false);
        online(true);
    }
    EXPECT_EQ(lines(), (Lines{"info offline", "info online"}));
    later();
    EXPECT_EQ(lines(), (Lines{"info offline (999 x since the last such line)",
                              "info online (999 x since the last such line)"}));
}

TEST_F(VpnServiceLogTest, RefusalsAreCounted)
{
    for (int i = 0; i < 1000; ++i) {
        call("noSuchMethod");
        call("setDeviceSn", raw::args(raw::string("a b")));
        check("not it");
    }
    EXPECT_EQ(lines(),
              (Lines{"warning a call was refused: unknown method",
                     "warning device number refused: not 1 to 64 of the allowed characters",
                     "info password check: wrong",
                     "warning password check refused: more than 5 tries in a minute"}));
    later();
    EXPECT_EQ(lines().size(), 4u);
    later();
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(VpnServiceLogTest, SettingsThatCannotBeStoredAreCounted)
{
    store().fails = true;
    for (int i = 0; i < 1000; ++i) setPassword("other" + std::to_string(i));
    EXPECT_EQ(lines(), Lines{"error password: could not be stored"});
    later();
    EXPECT_EQ(lines(), Lines{"error password: could not be stored (999 x since the last such "
                             "line)"});
}

}  // namespace
