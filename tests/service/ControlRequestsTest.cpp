#include "tests/service/ControlFixture.h"
#include "tests/service/TestCertificates.h"

#include <unistd.h>

#include <gmock/gmock.h>

#include <set>
#include <vector>

namespace
{

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

class ControlRequestsTest : public ControlFixture
{
protected:
    HttpResponse patch(const json& body, const std::string& headers = {})
    {
        return ask("PATCH /v1/settings", body.dump(), headers);
    }
    void letNobody(vpnd::Users vpnd::AccessRules::*list)
    {
        vpnd::AccessRules access = vpnd::AccessRules::standard(::geteuid());
        access.*list = {};
        open(exampleSettings(), access);
    }
};

TEST_F(ControlRequestsTest, TheStatusTellsStateSettingsAndWhoAsks)
{
    settle();
    const json status = this->status();
    EXPECT_EQ(status["version"], "1.0.0");
    EXPECT_EQ(status["pid"], ::getpid());
    EXPECT_EQ(status["state"]["number"], 5);
    EXPECT_EQ(status["state"]["name"], "connected");
    EXPECT_EQ(status["reason"], nullptr);
    EXPECT_EQ(status["vpn_address"], "10.8.0.6");
    EXPECT_EQ(status["settings"]["device_number"], "ORVA-000001");
    EXPECT_EQ(status["settings"]["password_set"], true);
    EXPECT_EQ(status["you"]["uid"], ::geteuid());
    EXPECT_EQ(status["you"]["may_change"], true);
    EXPECT_NE(status["you"]["program"], "");
    EXPECT_EQ(status["you"]["rules"]["change"], "[callers] change in F");
}

TEST_F(ControlRequestsTest, TheStatusTellsHowLongTheStateHasLasted)
{
    settle();
    wallMs += 7000;
    pass(7000);
    const json state = status()["state"];
    EXPECT_EQ(state["since_s"], 7);
    EXPECT_EQ(state["since_ms"], wallMs - 7000);
}

TEST_F(ControlRequestsTest, AFaultHasItsReasonAndRemedy)
{
    vpnd::VpnSettings settings = exampleSettings();
    settings.password = "wrong";
    open(settings);
    settle();
    const json status = this->status();
    EXPECT_EQ(status["state"]["number"], 101);
    EXPECT_EQ(status["state"]["name"], "fault");
    EXPECT_EQ(status["reason"]["name"], "credentials-refused");
    EXPECT_NE(status["reason"]["remedy_chinese"], "");
}

TEST_F(ControlRequestsTest, CertificatesAreToldBySubjectAndLastDay)
{
    vpnd::VpnSettings settings = exampleSettings();
    settings.certificates = certificates::ca();
    open(settings);
    const json certificates = status()["certificates"];
    ASSERT_EQ(certificates.size(), 1u);
    EXPECT_THAT(certificates[0]["subject"].get<std::string>(), HasSubstr("CN="));
    EXPECT_GT(certificates[0]["not_after_ms"].get<std::int64_t>(), 0);
    EXPECT_EQ(patch({{"certificates", ""}}).status, 200);
    EXPECT_EQ(status()["certificates"].size(), 0u) << "they are not those of before";
}

TEST_F(ControlRequestsTest, APasswordIsToldOnlyToThoseWhoMaySeeIt)
{
    EXPECT_THAT(ask("GET /v1/settings").body, Not(HasSubstr("example123")));
    EXPECT_THAT(ask("GET /v1/status").body, Not(HasSubstr("example123")));
    EXPECT_EQ(ask("GET /v1/settings?secrets=1").json()["settings"]["password"], "example123");
    EXPECT_THAT(ask("GET /v1/settings?secrets=0").body, Not(HasSubstr("example123")));
    letNobody(&vpnd::AccessRules::secretReaders);
    const HttpResponse refusal = ask("GET /v1/settings?secrets=1");
    EXPECT_EQ(refusal.status, 403);
    EXPECT_EQ(refusal.field(), "secrets.show-to");
    EXPECT_THAT(refusal.body, Not(HasSubstr("example123")));
    EXPECT_EQ(history().entries().back().outcome, vpnd::Outcome::kNotAllowed);
}

TEST_F(ControlRequestsTest, WhoMayNotChangeIsToldWhichLineWouldAllowIt)
{
    letNobody(&vpnd::AccessRules::changers);
    std::set<std::string> changing;
    for (const std::string& each : vpnd::ControlService::requests()) {
        if (each.rfind("GET ", 0) == 0) continue;
        const HttpResponse refusal = ask(each);
        EXPECT_EQ(refusal.status, 403) << each;
        EXPECT_EQ(refusal.code(), "not_allowed");
        EXPECT_EQ(refusal.field(), "callers.change");
        EXPECT_EQ(refusal.json()["error"]["detail"], "[callers] change in F");
        EXPECT_EQ(history().entries().back().subject, each);
        EXPECT_EQ(history().entries().back().caller.program, "") << "names that they choose";
        changing.insert(each);
    }
    EXPECT_EQ(changing.size(), 9u);
    EXPECT_EQ(ask("GET /v1/status").status, 200);
    EXPECT_TRUE(controller().settings().enabled);
}

TEST_F(ControlRequestsTest, WhoMayNotReadReadsNothing)
{
    letNobody(&vpnd::AccessRules::readers);
    for (const std::string& each : vpnd::ControlService::requests()) {
        if (each.rfind("GET ", 0) != 0) continue;
        const HttpResponse refusal = ask(each);
        EXPECT_EQ(refusal.status, 403) << each;
        EXPECT_EQ(refusal.field(), "callers.read");
    }
}

TEST_F(ControlRequestsTest, AReaderWhoMayReadNoLongerIsLetGo)
{
    UnixClient client = reader();
    EXPECT_EQ(events(client).size(), 1u);
    vpnd::AccessRules access = vpnd::AccessRules::standard(::geteuid());
    access.readers = {};
    controller().setAccess(access);
    service->tellStatus();
    EXPECT_EQ(events(client).size(), 1u);
    const std::string end = "\r\n0\r\n\r\n";
    const std::string& all = client.received();
    EXPECT_EQ(all.substr(all.size() - end.size()), end);
}

TEST_F(ControlRequestsTest, ABrowserIsRefusedWhateverItAsksFor)
{
    for (const std::string& each : vpnd::ControlService::requests()) {
        EXPECT_EQ(ask(each, {}, "Origin: http://localhost\r\n").code(), "browser_refused") << each;
    }
    EXPECT_TRUE(controller().settings().enabled);
}

TEST_F(ControlRequestsTest, UnknownPathsMethodsAndParametersAreToldApart)
{
    EXPECT_EQ(ask("GET /v1/nothing").code(), "unknown_path");
    EXPECT_EQ(ask("GET /v1/status/").code(), "unknown_path");
    const HttpResponse refusal = ask("POST /v1/settings");
    EXPECT_EQ(refusal.code(), "method_not_allowed");
    EXPECT_EQ(refusal.header("Allow"), "GET, PATCH");
    EXPECT_EQ(ask("GET /v1/status?a=1").field(), "a");
    EXPECT_EQ(ask("GET /v1/status?,=1").code(), "unknown_field");
    EXPECT_EQ(ask("GET /v1/history?limit=1001").field(), "limit");
    EXPECT_EQ(ask("GET /v1/history?limit=0").code(), "invalid_value");
    EXPECT_EQ(ask("GET /v1/history?after=-1").field(), "after");
    EXPECT_EQ(ask("GET /v1/history?after=x").field(), "after");
    EXPECT_EQ(ask("GET /v1/events?after=-").field(), "after");
    EXPECT_EQ(ask("GET /v1/events", {}, "Last-Event-ID: x\r\n").field(), "Last-Event-ID");
    EXPECT_EQ(ask("GET /v1/settings?secrets=yes").field(), "secrets");
    EXPECT_EQ(ask("POST /v1/stop", "{\"now\": true}").field(), "now");
    EXPECT_TRUE(controller().settings().connect);
}

TEST_F(ControlRequestsTest, APatchChangesWhatItNamesAndNothingElse)
{
    const HttpResponse done =
        patch({{"server", "10.0.0.9"}, {"beat_interval", 60}, {"user", "example2"}});
    EXPECT_EQ(done.status, 200);
    EXPECT_EQ(done.json()["changed"], json({"server", "user", "beat_interval"}));
    EXPECT_EQ(done.json()["dry_run"], false);
    EXPECT_EQ(store().saved.server, "10.0.0.9");
    EXPECT_EQ(store().saved.port, 1194);
    EXPECT_EQ(store().saved.password, "example123");
    EXPECT_EQ(done.header("ETag"), '"' + done.json()["version"].get<std::string>() + '"');
    EXPECT_EQ(patch({{"server", nullptr}}).status, 200);
    EXPECT_EQ(store().saved.server, "");
}

TEST_F(ControlRequestsTest, APatchWithOneWrongFieldChangesNothing)
{
    const std::vector<std::pair<json, std::string>> cases = {
        {{{"port", 0}}, "port"},
        {{{"port", "1195"}}, "port"},
        {{{"port", 1195.5}}, "port"},
        {{{"port", nullptr}}, "port"},
        {{{"port", 99999999999}}, "port"},
        {{{"enabled", 1}}, "enabled"},
        {{{"enabled", "true"}}, "enabled"},
        {{{"server", 5}}, "server"},
        {{{"server", "a b"}}, "server"},
        {{{"password", "********"}}, "password"},
        {{{"certificates", "x"}}, "certificates"},
        {{{"dry_run", 1}}, "dry_run"},
        {{{"device_name", std::string("a\0b", 3)}}, "device_name"},
    };
    for (const auto& [body, field] : cases) {
        json whole = body;
        whole["beat_interval"] = 61;
        const HttpResponse refusal = patch(whole);
        EXPECT_EQ(refusal.status, 422) << whole.dump();
        EXPECT_EQ(refusal.code(), "invalid_value") << whole.dump();
        EXPECT_EQ(refusal.field(), field);
    }
    EXPECT_EQ(patch({{"device-name", "a"}, {"beat_interval", 61}}).code(), "unknown_field");
    EXPECT_EQ(patch({{"password_set", true}, {"beat_interval", 61}}).code(), "unknown_field");
    EXPECT_EQ(controller().settings().beatIntervalS, 30);
    EXPECT_EQ(store().tries, 0);
}

TEST_F(ControlRequestsTest, ABodyThatIsNoObjectOfPlainValuesIsRefused)
{
    for (const char* body :
         {"x", "[]", "5", "{", "{\"port\": {}}", "{\"port\": [1]}", "{\"port\": 5, \"port\": 6}",
          "{\"user\": \"\xff\"}", "null", "{\"port\": 5} x"}) {
        EXPECT_EQ(ask("PATCH /v1/settings", body).code(), "not_json") << body;
    }
    const std::string deep(100'000, '[');
    EXPECT_EQ(ask("PATCH /v1/settings", deep).code(), "not_json");
    EXPECT_EQ(ask("POST /v1/stop", "x").code(), "not_json");
    EXPECT_EQ(store().tries, 0);
}

TEST_F(ControlRequestsTest, ATrialRunSaysWhatWouldHappenAndDoesNothing)
{
    settle();
    const auto tries = [&](json body) {
        body["dry_run"] = true;
        return patch(body).json();
    };
    EXPECT_EQ(tries({{"server", "10.0.0.9"}})["changed"], json({"server"}));
    EXPECT_EQ(tries({{"server", "10.0.0.9"}})["tunnel_drops"], true);
    EXPECT_EQ(tries({{"server", "vpn.example.com"}})["changed"], json::array());
    EXPECT_EQ(tries({{"server", "vpn.example.com"}})["tunnel_drops"], false);
    EXPECT_EQ(tries({{"user", "example2"}})["tunnel_drops"], false);
    EXPECT_EQ(tries({{"enabled", false}})["tunnel_drops"], true);
    EXPECT_EQ(tries({{"online", false}})["tunnel_drops"], true);
    EXPECT_EQ(tries({{"certificates", certificates::ca()}})["tunnel_drops"], true);
    EXPECT_EQ(store().tries, 0);
    EXPECT_EQ(status()["state"]["number"], 5);

    EXPECT_EQ(ask("POST /v1/stop").status, 200);
    settle();
    EXPECT_EQ(tries({{"server", "10.0.0.9"}})["tunnel_drops"], false) << "nothing is up";
}

TEST_F(ControlRequestsTest, WhatATrialRunSaysOfTheTunnelIsWhatTheChangeDoes)
{
    const std::vector<json> changes = {{{"server", "10.0.0.9"}},
                                       {{"port", 5}},
                                       {{"user", "example2"}},
                                       {{"password", "example4"}},
                                       {{"certificates", certificates::ca()}},
                                       {{"device_number", "N-1"}},
                                       {{"device_name", "other"}},
                                       {{"beat_interval", 61}},
                                       {{"enabled", false}},
                                       {{"online", false}},
                                       {{"connect", false}}};
    for (const json& change : changes) {
        open(exampleSettings());
        settle();
        ASSERT_EQ(status()["state"]["number"], 5);
        json trial = change;
        trial["dry_run"] = true;
        const bool drops = patch(trial).json()["tunnel_drops"];
        EXPECT_EQ(patch(change).json()["tunnel_drops"], drops);
        EXPECT_EQ(status()["state"]["number"] != 5, drops) << change.dump();
    }
}

TEST_F(ControlRequestsTest, AVersionOfBeforeIsRefused)
{
    const auto ifMatch = [](const std::string& version) { return "If-Match: " + version + "\r\n"; };
    const std::string before = ask("GET /v1/settings").header("ETag");
    EXPECT_EQ(patch({{"port", 5}}, ifMatch(before)).status, 200);
    const HttpResponse late = patch({{"port", 6}}, ifMatch(before));
    EXPECT_EQ(late.status, 412);
    EXPECT_EQ(late.code(), "settings_changed");
    EXPECT_EQ(controller().settings().port, 5);
    EXPECT_EQ(patch({{"port", 7}}, ifMatch("*")).status, 200);
    const std::string after = ask("GET /v1/settings").header("ETag");
    EXPECT_EQ(ask("POST /v1/disable").status, 200);
    EXPECT_EQ(patch({{"port", 8}}, ifMatch(after)).status, 412) << "switches are settings too";
    open(exampleSettings());
    EXPECT_NE(ask("GET /v1/settings").header("ETag"), before) << "after a start it is another one";
}

TEST_F(ControlRequestsTest, OfTwoThatKnowTheSameVersionOneIsRefused)
{
    const std::string version = "If-Match: " + ask("GET /v1/settings").header("ETag") + "\r\n";
    stores = false;
    UnixClient first(path());
    UnixClient second(path());
    first.send(request("PATCH /v1/settings", R"({"port": 5})", version));
    work();
    second.send(request("PATCH /v1/settings", R"({"port": 6})", version));
    EXPECT_EQ(response(second).status, 412);
    store().answerAll();
    EXPECT_EQ(response(first).status, 200);
}

TEST_F(ControlRequestsTest, WhatCannotBeStoredIsToldSo)
{
    store().fails = true;
    EXPECT_EQ(patch({{"port", 5}}).code(), "not_stored");
    EXPECT_EQ(controller().settings().port, 1194);
    EXPECT_EQ(ask("POST /v1/disable").code(), "not_stored");
    EXPECT_FALSE(controller().settings().enabled) << "a switch is in force all the same";
}

TEST_F(ControlRequestsTest, TheSwitchesAnswerWithTheState)
{
    settle();
    EXPECT_EQ(ask("POST /v1/stop").json()["state"]["name"], "stopping");
    settle();
    EXPECT_EQ(ask("POST /v1/start", "{}").json()["state"]["name"], "reaching");
    EXPECT_EQ(ask("POST /v1/disable").json()["state"]["name"], "disabled");
    EXPECT_EQ(ask("POST /v1/start").code(), "not_now");
    EXPECT_EQ(ask("POST /v1/start").field(), "enabled");
    EXPECT_EQ(ask("POST /v1/enable").json()["outcome"], "done");
    EXPECT_EQ(ask("POST /v1/offline").status, 200);
    EXPECT_FALSE(controller().settings().online);
    EXPECT_EQ(ask("POST /v1/start").field(), "online");
    EXPECT_EQ(ask("POST /v1/online").status, 200);
    EXPECT_EQ(ask("POST /v1/check").status, 200);
}

TEST_F(ControlRequestsTest, StartWithoutSettingsSaysWhatIsMissing)
{
    open({});
    const HttpResponse refusal = ask("POST /v1/start");
    EXPECT_EQ(refusal.status, 409);
    EXPECT_EQ(refusal.field(), "settings");
    EXPECT_EQ(status()["reason"]["name"], "settings-missing");
}

TEST_F(ControlRequestsTest, CheckEndsTheWaitBeforeTheNextAttempt)
{
    ask("POST /v1/simulate", R"({"reason": "program-missing"})");
    ask("POST /v1/simulate", R"({"reason": "server-unreachable"})");
    pass(1000);
    work();
    for (int i = 0; i < 20 && status()["state"]["number"] != 6; ++i) pass(500);
    ASSERT_EQ(status()["state"]["number"], 6);
    EXPECT_EQ(ask("POST /v1/check").json()["state"]["number"], 2);
}

TEST_F(ControlRequestsTest, TheSimulationComesToEveryReason)
{
    for (const vpnd::ReasonText& each : vpnd::reasons()) {
        const HttpResponse done =
            ask("POST /v1/simulate", json({{"reason", each.name}, {"speed", 100}}).dump());
        ASSERT_EQ(done.status, 200) << done.body;
        EXPECT_EQ(done.json()["reason"], each.name);
        std::string seen;
        for (int i = 0; i < 200 && seen != each.name; ++i) {
            pass(10);
            work();
            const json status = this->status();
            if (!status["reason"].is_null()) seen = status["reason"]["name"];
        }
        EXPECT_EQ(seen, each.name);
    }
    EXPECT_EQ(ask("POST /v1/simulate", R"({"reason": null, "speed": 1})").status, 200);
    settle();
    EXPECT_EQ(status()["state"]["number"], 5);
}

TEST_F(ControlRequestsTest, TheSimulationStaysInAStage)
{
    for (const auto& [stage, number] : std::vector<std::pair<std::string, int>>{
             {"reaching", 2}, {"authenticating", 3}, {"configuring", 4}, {"connected", 5}}) {
        EXPECT_EQ(ask("POST /v1/simulate", json({{"stage", stage}}).dump()).status, 200);
        pass(60'000);
        work();
        EXPECT_EQ(status()["state"]["number"], number);
    }
    EXPECT_EQ(status()["tunnel"]["simulation"]["stage"], "connected");
    EXPECT_EQ(
        ask("POST /v1/simulate", R"({"stage": "reconnecting", "reason": "server-silent"})").status,
        200);
    pass(60'000);
    work();
    EXPECT_EQ(status()["state"]["number"], 6);
}

TEST_F(ControlRequestsTest, WhatCannotBeSimulatedChangesNothing)
{
    const std::vector<std::pair<const char*, const char*>> cases = {
        {R"({"reason": "bad-weather"})", "reason"},
        {R"({"reason": 5})", "reason"},
        {R"({"stage": "fault"})", "stage"},
        {R"({"speed": 0})", "speed"},
        {R"({"speed": 101})", "speed"},
        {R"({"speed": "1"})", "speed"},
        {R"({"weather": "bad"})", "weather"}};
    for (const auto& [body, field] : cases) {
        const HttpResponse refusal = ask("POST /v1/simulate", body);
        EXPECT_EQ(refusal.status, 422) << body;
        EXPECT_EQ(refusal.field(), field);
    }
    EXPECT_EQ(status()["tunnel"]["simulation"],
              json({{"reason", nullptr}, {"stage", nullptr}, {"speed", 1.0}}));
}

TEST_F(ControlRequestsTest, TheHistoryIsReadInPagesWithoutAGap)
{
    for (int i = 1; i <= 1050; ++i) {
        ASSERT_EQ(patch({{"port", i}}).status, 200);
        settle();
    }
    const auto& entries = history().entries();
    std::vector<std::int64_t> read;
    for (std::int64_t after = 0;;) {
        const json page = ask("GET /v1/history?limit=37&after=" + std::to_string(after)).json();
        if (page["entries"].empty()) break;
        for (const json& each : page["entries"]) read.push_back(each["id"]);
        after = page["next_after"];
    }
    std::vector<std::int64_t> all;
    for (const vpnd::HistoryEntry& each : entries) all.push_back(each.id);
    EXPECT_EQ(read, all);
    const json newest = ask("GET /v1/history?limit=2").json();
    EXPECT_EQ(newest["entries"].size(), 2u);
    EXPECT_EQ(newest["entries"][1]["id"], entries.back().id);
    EXPECT_EQ(newest["first_id"], entries.front().id);
    EXPECT_EQ(newest["last_id"], entries.back().id);
    ASSERT_GT(entries.size(), 1000u);
    EXPECT_EQ(ask("GET /v1/history?limit=1000").json()["entries"].size(), 1000u);
}

TEST_F(ControlRequestsTest, TheNextPageBeginsBeforeARowWhoseOutcomeIsOpen)
{
    stores = false;
    UnixClient client(path());
    client.send(request("PATCH /v1/settings", R"({"port": 5})"));
    work();
    json page = ask("GET /v1/history?after=0").json();
    const std::int64_t id = history().entries().back().id;
    EXPECT_EQ(page["entries"].back()["id"], id);
    EXPECT_EQ(page["entries"].back()["outcome"], "pending");
    EXPECT_EQ(page["next_after"], id - 1);
    store().answerAll();
    page = ask("GET /v1/history?after=" + std::to_string(id - 1)).json();
    EXPECT_EQ(page["entries"][0]["outcome"], "done");
}

TEST_F(ControlRequestsTest, ReadsAreAnsweredWhileTheStoreAnswersNobody)
{
    stores = false;
    UnixClient client(path());
    client.send(request("PATCH /v1/settings", R"({"port": 5})"));
    work();
    for (const std::string& each : vpnd::ControlService::requests()) {
        if (each.rfind("GET ", 0) != 0 || each == "GET /v1/events") continue;
        EXPECT_EQ(ask(each).status, 200) << each;
    }
    EXPECT_EQ(client.received(), "");
}

}  // namespace
