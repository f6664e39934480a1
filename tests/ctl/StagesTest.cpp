#include "ctl/doctor/Stages.h"
#include "ctl/doctor/Surroundings.h"

#include <gtest/gtest.h>

#include <map>

namespace
{

using ctl::Answer;
using ctl::Json;
using ctl::Stage;
using ctl::Verdict;

class FakeSurroundings final : public ctl::ISurroundings
{
public:
    std::int64_t nowMs() override { return clockMs += 3; }
    Name resolve(const std::string& host, unsigned int) override
    {
        asked = host;
        return name;
    }
    std::string sourceTowards(const std::string&) override { return source; }
    std::vector<Network> networks() override { return all; }
    std::string findProgram(const std::string&) override { return program; }

    std::int64_t clockMs = 1767326645000;
    std::string asked;
    Name name{{"192.0.2.10"}, "", true};
    std::string source = "192.168.1.5";
    std::vector<Network> all{{"tun0", "10.8.0.6", 24}, {"eth0", "192.168.1.5", 24}};
    std::string program = "/usr/sbin/openvpn";
};

class StagesTest : public testing::Test
{
protected:
    StagesTest()
    {
        status = ctl::parseJson(R"({"version": "1.0.0", "api": 1, "now_ms": 1767326645000,
          "switches": {"enabled": true, "online": true, "connect": true, "held": false},
          "state": {"number": 5, "name": "connected"}, "reason": null, "vpn_address": "10.8.0.6",
          "settings": {"server": "vpn.example.com", "port": 1194, "user": "u",
                       "password_set": true},
          "certificates": [{"subject": "CN=A", "not_after_ms": 1798862645000}],
          "store": {"folder": "/s", "stores": true, "problem": null},
          "tunnel": {"kind": "openvpn"},
          "you": {"uid": 1, "may_read": true, "may_change": true, "rules": {"change": "R"}}})");
    }

    void patch(const char* changes) { status.merge_patch(Json::parse(changes)); }

    Stage look(const std::string& name)
    {
        stages = ctl::examine(
            [this] {
                Answer answer;
                answer.failure = failure;
                if (!failure) answer.status = status;
                return answer;
            },
            surroundings, ctl::Language::kEnglish);
        for (const Stage& each : stages) {
            if (each.name == name) return each;
        }
        ADD_FAILURE() << "no stage " << name;
        return {};
    }

    std::string firstBad() { return ctl::textAt(ctl::diagnosisOf(stages), "first_bad"); }

    void expectBad(const std::string& name)
    {
        const Stage stage = look(name);
        EXPECT_EQ(stage.verdict, Verdict::kBad) << name << ": " << stage.text;
        EXPECT_NE(stage.follows, "") << name;
        EXPECT_NE(stage.remedy, "") << name;
        EXPECT_EQ(firstBad(), name);
    }
    void expectUnknown(const std::string& name)
    {
        const Stage stage = look(name);
        EXPECT_EQ(stage.verdict, Verdict::kUnknown) << name << ": " << stage.text;
        EXPECT_NE(stage.text, "") << name;
    }

    Json status;
    std::optional<ctl::Failure> failure;
    FakeSurroundings surroundings;
    std::vector<Stage> stages;
};

TEST_F(StagesTest, AllAreGoodWhereNothingIsWrong)
{
    look("service");
    ASSERT_EQ(stages.size(), 11U);
    for (const Stage& each : stages) {
        EXPECT_EQ(each.verdict, Verdict::kGood) << each.name << ": " << each.text;
        EXPECT_GT(each.tookMs, 0) << each.name;
    }
    const Json diagnosis = ctl::diagnosisOf(stages);
    EXPECT_EQ(diagnosis.at("verdict"), "good");
    EXPECT_EQ(diagnosis.at("first_bad"), nullptr);
}

TEST_F(StagesTest, EachStageFindsItsOwnFaultAndIsTheFirstThatFails)
{
    const Json good = status;
    const std::pair<const char*, const char*> faults[] = {
        {"clock", R"({"now_ms": 1000})"},
        {"clock", R"({"now_ms": 4102444800001})"},
        {"store", R"({"store": {"stores": false}})"},
        {"switches", R"({"switches": {"enabled": false}})"},
        {"switches", R"({"switches": {"online": false}})"},
        {"switches", R"({"switches": {"connect": false}})"},
        {"switches", R"({"switches": {"held": true}})"},
        {"settings", R"({"settings": {"server": ""}})"},
        {"settings", R"({"settings": {"user": null}})"},
        {"settings", R"({"settings": {"password_set": false}})"},
        {"certificates",
         R"({"certificates": [{"subject": "CN=A", "not_after_ms": 1767326644000}]})"},
    };
    for (const auto& [stage, fault] : faults) {
        SCOPED_TRACE(fault);
        status = good;
        patch(fault);
        expectBad(stage);
    }
}

TEST_F(StagesTest, AServiceThatCannotBeAskedLeavesTheRestUnknownAndNotBad)
{
    for (const ctl::ExitCode code :
         {ctl::kExitNoService, ctl::kExitStuck, ctl::kExitOtherVersion}) {
        failure.emplace(code, "words", "remedy");
        expectBad("service");
        for (const char* name :
             {"caller", "settings", "certificates", "name", "routes", "tunnel"}) {
            expectUnknown(name);
        }
        EXPECT_EQ(look("clock").verdict, Verdict::kGood);
    }
}

TEST_F(StagesTest, WhoIsNotAllowedIsTheCallersFaultAndNotTheServices)
{
    failure.emplace(ctl::kExitRefused, "words", "remedy");
    expectBad("caller");
    EXPECT_EQ(look("service").verdict, Verdict::kGood);
}

TEST_F(StagesTest, WhoMayNotChangeIsToldWhichRuleSaysSo)
{
    patch(R"({"you": {"may_change": false}})");
    const Stage stage = look("caller");
    EXPECT_EQ(stage.verdict, Verdict::kGood);
    EXPECT_EQ(stage.text, "uid 1 may read and not change; that is R");
}

TEST_F(StagesTest, CertificatesAreNotJudgedByAClockThatIsWrong)
{
    patch(R"({"now_ms": 1000, "certificates": [{"subject": "CN=A", "not_after_ms": 500}]})");
    expectUnknown("certificates");
}

TEST_F(StagesTest, WithoutCertificatesNothingIsKnownOfThem)
{
    patch(R"({"certificates": []})");
    expectUnknown("certificates");
    patch(R"({"certificates": [{"subject": "CN=A", "not_after_ms": null}]})");
    expectUnknown("certificates");
}

TEST_F(StagesTest, ANameThatIsNotThereIsBadAndASilentNameServerUnknown)
{
    EXPECT_EQ(look("name").text, "vpn.example.com is 192.0.2.10");
    surroundings.name = {{}, "Name or service not known", true};
    expectBad("name");
    surroundings.name = {{}, "", false};
    expectUnknown("name");
    EXPECT_EQ(firstBad(), "");
}

TEST_F(StagesTest, ASimulatedTunnelNeedsNoName)
{
    patch(R"({"tunnel": {"kind": "simulated"}})");
    surroundings.name = {{}, "Name or service not known", true};
    expectUnknown("name");
    EXPECT_EQ(firstBad(), "");
}

TEST_F(StagesTest, AnAddressIsNotAskedFor)
{
    for (const char* address : {"192.0.2.10", "2001:db8::1"}) {
        status["settings"]["server"] = address;
        EXPECT_EQ(look("name").verdict, Verdict::kGood);
    }
    EXPECT_EQ(surroundings.asked, "");
}

TEST_F(StagesTest, RoutesThatOverlapAreBad)
{
    surroundings.source = "10.8.0.6";
    expectBad("routes");
    surroundings.source = "192.168.1.5";
    surroundings.all.push_back({"eth1", "10.8.0.1", 16});
    expectBad("routes");
    surroundings.all.back() = {"eth1", "10.9.0.1", 16};
    EXPECT_EQ(look("routes").verdict, Verdict::kGood);
    surroundings.source = "";
    expectUnknown("routes");
    patch(R"({"vpn_address": null})");
    expectUnknown("routes");
}

TEST_F(StagesTest, OnlyARealTunnelNeedsAProgram)
{
    surroundings.program = "";
    expectBad("program");
    patch(R"({"tunnel": {"kind": "simulated"}})");
    EXPECT_EQ(look("program").verdict, Verdict::kGood);
    patch(R"({"tunnel": {"kind": "other"}})");
    expectUnknown("program");
}

TEST_F(StagesTest, TheTunnelIsBadAtAFaultAndUnknownOnItsWay)
{
    patch(R"({"state": {"number": 101, "name": "fault"},
              "reason": {"name": "credentials-refused", "english": "E.", "remedy_english": "R."}})");
    const Stage fault = look("tunnel");
    EXPECT_EQ(fault.verdict, Verdict::kBad);
    EXPECT_EQ(fault.remedy, "R.");
    EXPECT_EQ(fault.text, "fault, 10.8.0.6, credentials-refused: E. R.");
    patch(R"({"state": {"number": 6, "name": "reconnecting"}})");
    EXPECT_EQ(look("tunnel").verdict, Verdict::kBad);
    patch(R"({"reason": null})");
    expectUnknown("tunnel");
    patch(R"({"state": {"number": 1, "name": "idle"}})");
    expectUnknown("tunnel");
}

TEST_F(StagesTest, AStatusOfOtherShapesIsTakenWithoutHarm)
{
    for (const char* text :
         {"{}", R"({"state": 5, "settings": [], "you": null, "certificates": {}})",
          R"({"now_ms": "x", "certificates": [1, null], "vpn_address": 7, "store": ""})"}) {
        status = ctl::parseJson(text);
        look("service");
        EXPECT_EQ(stages.size(), 11U);
        EXPECT_NE(ctl::diagnosisText(ctl::diagnosisOf(stages), ctl::Style(false)), "");
    }
    EXPECT_EQ(ctl::diagnosisText(Json::object(), ctl::Style(false)), "there is no diagnosis\n");
}

TEST(SurroundingsTest, LoopbackIsFoundAndANameThatCannotBeIsNot)
{
    ctl::Surroundings here;
    EXPECT_FALSE(here.resolve("localhost", 60000).addresses.empty());
    const ctl::ISurroundings::Name none = here.resolve("-.-", 60000);
    EXPECT_TRUE(none.addresses.empty());
    EXPECT_EQ(here.sourceTowards("127.0.0.1"), "127.0.0.1");
    EXPECT_EQ(here.sourceTowards("no address"), "");
    EXPECT_EQ(here.findProgram("sh"), "/usr/bin/sh");
    EXPECT_EQ(here.findProgram("there-is-no-such-program"), "");
    for (const auto& each : here.networks()) EXPECT_NE(each.interface, "lo");
}

}  // namespace
