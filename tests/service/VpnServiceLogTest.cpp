#include "tests/service/CapturedLog.h"
#include "tests/service/ServiceCalls.h"

#include <algorithm>
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
        connected();
        m_lines.emplace();
    }
    Lines lines()
    {
        Lines all = m_lines->take();
        const auto isDebug = [](const std::string& line) { return line.rfind("debug", 0) == 0; };
        all.erase(std::remove_if(all.begin(), all.end(), isDebug), all.end());
        return all;
    }
    // Those that are not about the tunnel's state.
    Lines changes()
    {
        Lines all = lines();
        all.erase(std::remove_if(all.begin(), all.end(),
                                 [](const std::string& line) {
                                     return line.find(" by ") == std::string::npos;
                                 }),
                  all.end());
        return all;
    }
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
    const struct {
        std::string method;
        std::string block;
        Lines lines;
    } calls[] = {
        {"changeServerIP",
         raw::args(raw::string("10.0.0.1")),
         {"info server: \"10.0.0.1\", before \"vpn.example.com\"; by uid 1000 over rpc"}},
        {"setServerIPAndPort",
         raw::args(raw::string("10.0.0.2"), raw::integer(443)),
         {"info server: \"10.0.0.2\", before \"10.0.0.1\"; by uid 1000 over rpc",
          "info port: \"443\", before \"1194\"; by uid 1000 over rpc"}},
        {"setDeviceSn",
         raw::args(raw::string("S-1")),
         {"info device-number: \"S-1\", before \"\"; by uid 1000 over rpc"}},
        {"setBeatInterval",
         raw::args(raw::integer(77)),
         {"info beat-interval: \"77\", before \"30\"; by uid 1000 over rpc"}},
        {"setVPNPassword",
         raw::args(raw::string("example-pw")),
         {"info password: \"set\", before \"set\"; by uid 1000 over rpc"}},
        {"setVPNUserName",
         raw::args(raw::string("example-user")),
         {"info user: \"example-user\", before \"exampleuser\"; by uid 1000 over rpc"}},
        {"stopVPN",
         raw::args(),
         {"info connect: \"false\", before \"true\"; by uid 1000 over rpc"}},
        {"startVPN",
         raw::args(raw::string("10.0.0.3"), raw::integer(1)),
         {"info server: \"10.0.0.3\", before \"10.0.0.2\"; by uid 1000 over rpc",
          "info port: \"1\", before \"443\"; by uid 1000 over rpc",
          "info connect: \"true\", before \"false\"; by uid 1000 over rpc"}},
        {"setOnline",
         raw::args(raw::boolean(false)),
         {"info online: \"false\", before \"true\"; by uid 1000 over rpc"}},
        {"setOnline",
         raw::args(raw::boolean(true)),
         {"info online: \"true\", before \"false\"; by uid 1000 over rpc"}},
        {"setVPNEnabled",
         raw::args(raw::boolean(false)),
         {"info enabled: \"false\", before \"true\"; by uid 1000 over rpc"}},
        {"setVPNEnabled",
         raw::args(raw::boolean(true)),
         {"info enabled: \"true\", before \"false\"; by uid 1000 over rpc"}},
    };
    for (const auto& each : calls) {
        later();
        EXPECT_EQ(call(each.method, each.block).find("refused"), std::string::npos);
        EXPECT_EQ(changes(), each.lines);
        settle();
        later();
        lines();
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
    EXPECT_EQ(lines(), Lines{"info startVPN: asked by uid 1000 over rpc"});
}

TEST_F(VpnServiceLogTest, CallsThatGoBackAndForthAreCounted)
{
    for (int i = 0; i < 1000; ++i) {
        online(false);
        online(true);
    }
    EXPECT_EQ(changes(), Lines{"info online: \"false\", before \"true\"; by uid 1000 over rpc"});
    later();
    EXPECT_EQ(changes().back(),
              "info online: \"true\", before \"false\"; by uid 1000 over rpc "
              "(1999 x since the last such line)");
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
                     "warning setDeviceSn: invalid, asked by uid 1000 over rpc",
                     "info password check: wrong: uid 1000 over rpc",
                     "warning checkPassword: not now: more than 5 tries in a minute, asked by "
                     "uid 1000 over rpc"}));
    later();
    EXPECT_EQ(lines().size(), 4u);
    later();
    EXPECT_EQ(lines(), Lines{});
}

TEST_F(VpnServiceLogTest, SettingsThatCannotBeStoredAreCounted)
{
    store().fails = true;
    for (int i = 0; i < 1000; ++i) setPassword("other" + std::to_string(i));
    EXPECT_EQ(lines(), Lines{"error a change could not be stored: nothing has changed"});
    later();
    EXPECT_EQ(lines(), Lines{"error a change could not be stored: nothing has changed (999 x "
                             "since the last such line)"});
}

}  // namespace
