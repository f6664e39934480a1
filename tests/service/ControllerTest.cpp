#include "tests/service/ServiceCalls.h"

#include <gmock/gmock.h>

#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <regex>
#include <string>
#include <vector>

// Changes on their way to the store, who asks for them, and what the history tells.
namespace
{

using raw::args;
using raw::boolean;
using raw::integer;
using raw::string;
using testing::ElementsAre;
using testing::HasSubstr;
using vpnd::EventKind;
using vpnd::HistoryEntry;
using vpnd::Outcome;

const std::string kNotAllowed = integer(4);

class ControllerTest : public VpnServiceTest
{
protected:
    void SetUp() override
    {
        VpnServiceTest::SetUp();
        connected();
        store().answerAll();
    }

    // Entries of this kind, as "subject: before -> after, outcome".
    std::vector<std::string> told(EventKind kind)
    {
        std::vector<std::string> lines;
        for (const HistoryEntry& each : history().entries()) {
            if (each.kind != kind) continue;
            lines.push_back(each.subject + ": " + each.before + " -> " + each.after + ", " +
                            nameOf(each.outcome));
        }
        return lines;
    }
};

TEST_F(ControllerTest, AChangeIsAnsweredWhenItIsStoredAndReadsGoOnMeanwhile)
{
    TestCall change;
    startCall(change, "setVPNUserName", args(string("other")));
    EXPECT_FALSE(change.answer);
    EXPECT_EQ(call("getVPNEnabled"), boolean(true));
    EXPECT_EQ(controller().settings().userName, "exampleuser") << "not stored yet";
    EXPECT_THAT(told(EventKind::kSetting), ElementsAre("user: exampleuser -> other, pending"));
    ASSERT_TRUE(store().answerOne());
    EXPECT_EQ(change.answer, kDone);
    EXPECT_EQ(call("getVPNUserName"), string("other"));
    EXPECT_THAT(told(EventKind::kSetting), ElementsAre("user: exampleuser -> other, done"));
    EXPECT_EQ(store().history.back().outcome, Outcome::kDone) << "it is stored only if it is done";
}

TEST_F(ControllerTest, ChangesTakeEffectInTheirOrder)
{
    TestCall first;
    TestCall second;
    startCall(first, "changeServerIP", args(string("10.0.0.1")));
    startCall(second, "setServerIPAndPort", args(string("10.0.0.2"), integer(2)));
    ASSERT_TRUE(store().answerOne());
    EXPECT_EQ(first.answer, kDone);
    EXPECT_FALSE(second.answer);
    EXPECT_EQ(info().serverIP, "10.0.0.1");
    ASSERT_TRUE(store().answerOne());
    EXPECT_EQ(second.answer, kDone);
    EXPECT_EQ(info().serverIP, "10.0.0.2");
    EXPECT_THAT(told(EventKind::kSetting),
                ElementsAre("server: vpn.example.com -> 10.0.0.1, done",
                            "server: 10.0.0.1 -> 10.0.0.2, done", "port: 1194 -> 2, done"));
}

TEST_F(ControllerTest, TheSameValueBehindAChangeThatFailsIsStoredByItself)
{
    TestCall first;
    TestCall second;
    startCall(first, "setBeatInterval", args(integer(7)));
    startCall(second, "setBeatInterval", args(integer(7)));
    store().fails = true;
    ASSERT_TRUE(store().answerOne());
    store().fails = false;
    ASSERT_TRUE(store().answerOne());
    EXPECT_EQ(first.answer, kNotStored);
    EXPECT_EQ(second.answer, kDone);
    EXPECT_EQ(store().saved.beatIntervalS, 7);
    EXPECT_EQ(info().beatInterval, 7);
}

TEST_F(ControllerTest, AFailedChangeLeavesTheOthersWhole)
{
    TestCall first;
    TestCall second;
    startCall(first, "setBeatInterval", args(integer(7)));
    startCall(second, "setVPNUserName", args(string("other")));
    store().fails = true;
    ASSERT_TRUE(store().answerOne());
    store().fails = false;
    ASSERT_TRUE(store().answerOne());
    EXPECT_EQ(second.answer, kDone);
    EXPECT_EQ(info().beatInterval, 30);
    EXPECT_EQ(store().saved.beatIntervalS, 30);
    EXPECT_EQ(store().saved.userName, "other");
    EXPECT_THAT(told(EventKind::kSetting), ElementsAre("beat-interval: 30 -> 7, not stored",
                                                       "user: exampleuser -> other, done"));
}

TEST_F(ControllerTest, AStopCountsAtOnceAndOutlastsAStartBeforeIt)
{
    EXPECT_EQ(call("stopVPN"), kDone);
    settle();
    ASSERT_EQ(state(), 1);
    TestCall begin;
    TestCall end;
    startCall(begin, "startVPN", args(string("10.0.0.1"), integer(1)));
    startCall(end, "stopVPN", args());
    EXPECT_EQ(state(), 1);
    store().answerAll();
    EXPECT_EQ(begin.answer, kDone);
    EXPECT_EQ(end.answer, kDone);
    settle();
    EXPECT_EQ(state(), 1) << "the start must not come up behind the stop";
    EXPECT_FALSE(store().saved.connect);
    EXPECT_EQ(store().saved.server, "10.0.0.1");
}

TEST_F(ControllerTest, AStartBehindAStopComesUp)
{
    TestCall end;
    TestCall begin;
    startCall(end, "stopVPN", args());
    EXPECT_EQ(state(), 7) << "before it is stored";
    startCall(begin, "startVPN", args(string("vpn.example.com"), integer(1194)));
    store().answerAll();
    EXPECT_EQ(end.answer, kDone);
    EXPECT_EQ(begin.answer, kDone);
    settle();
    EXPECT_EQ(state(), 5);
    EXPECT_TRUE(store().saved.connect);
}

TEST_F(ControllerTest, ManySwitchesUnderWayEndAsTheLastOneSays)
{
    for (int seed = 0; seed < 64; ++seed) {
        SCOPED_TRACE(seed);
        begin(exampleSettings());
        settle();
        store().answerAll();
        std::vector<std::unique_ptr<TestCall>> calls;
        bool online = true;
        for (int i = 0; i < 6; ++i) {
            online = ((seed >> i) & 1) != 0;
            calls.push_back(std::make_unique<TestCall>());
            startCall(*calls.back(), "setOnline", args(boolean(online)));
            calls.push_back(std::make_unique<TestCall>());
            startCall(*calls.back(), "setBeatInterval", args(integer(i + 1)));
            if (i % 2 == 0) store().answerOne();
        }
        store().answerAll();
        for (const auto& each : calls) EXPECT_EQ(each->answer, kDone);
        EXPECT_EQ(store().saved.online, online);
        EXPECT_EQ(controller().settings().online, online);
        EXPECT_EQ(store().saved.beatIntervalS, 6);
        EXPECT_EQ(info().beatInterval, 6);
        settle();
        EXPECT_EQ(state(), online ? 5 : 1);
    }
}

TEST_F(ControllerTest, AStopThatCouldNotBeStoredOutlastsAStartBeforeItToo)
{
    EXPECT_EQ(call("stopVPN"), kDone);
    settle();
    TestCall begin;
    TestCall end;
    startCall(begin, "startVPN", args(string("10.0.0.1"), integer(1)));
    startCall(end, "stopVPN", args());
    // Without being tried: there was no room for it.
    store().fails = true;
    ASSERT_TRUE(store().answerOne(1));
    EXPECT_EQ(end.answer, kNotStored);
    store().fails = false;
    ASSERT_TRUE(store().answerOne());
    settle();
    EXPECT_EQ(state(), 1) << "in force all the same";
    EXPECT_TRUE(store().saved.connect);
    EXPECT_EQ(call("setBeatInterval", args(integer(30))), kDone) << "as it is";
    EXPECT_FALSE(store().saved.connect) << "stored with the next change";
}

TEST_F(ControllerTest, ASwitchIsStoredByTheNextChangeThatIsAlsoWhenBothAreUnderWay)
{
    TestCall stop;
    TestCall beat;
    startCall(stop, "stopVPN", args());
    startCall(beat, "setBeatInterval", args(integer(7)));
    store().fails = true;
    ASSERT_TRUE(store().answerOne());
    store().fails = false;
    ASSERT_TRUE(store().answerOne());
    EXPECT_EQ(stop.answer, kNotStored);
    EXPECT_EQ(beat.answer, kDone);
    EXPECT_FALSE(store().saved.connect);
    EXPECT_EQ(store().saved.beatIntervalS, 7);
}

TEST_F(ControllerTest, WhatWasRefusedIsNotStoredByAnother)
{
    begin(exampleSettings(), kOwner, false);
    store().saved = vpnd::VpnSettings();
    store().fails = true;
    store().answerAll();
    TestCall user;
    TestCall beat;
    startCall(user, "setVPNUserName", args(string("refused")));
    startCall(beat, "setBeatInterval", args(integer(7)));
    ASSERT_TRUE(store().answerOne());
    store().fails = false;
    ASSERT_TRUE(store().answerOne());
    EXPECT_EQ(user.answer, kNotStored);
    EXPECT_EQ(beat.answer, kDone);
    EXPECT_NE(store().saved.userName, "refused");
    EXPECT_EQ(controller().settings().userName, "exampleuser");
    EXPECT_EQ(call("setBeatInterval", args(integer(8))), kDone);
    EXPECT_EQ(store().saved.userName, "exampleuser") << "stored at last";
}

TEST_F(ControllerTest, TheHistoryTellsWhatReallyChangedWhenAnEarlierChangeFails)
{
    TestCall first;
    TestCall second;
    TestCall third;
    startCall(first, "changeServerIP", args(string("10.0.0.1")));
    startCall(second, "changeServerIP", args(string("10.0.0.2")));
    startCall(third, "setBeatInterval", args(integer(7)));
    TestCall fourth;
    peer.uid = 0;
    startCall(fourth, "setBeatInterval", args(integer(7)));
    store().fails = true;
    ASSERT_TRUE(store().answerOne());
    store().fails = false;
    ASSERT_TRUE(store().answerOne());
    store().fails = true;
    ASSERT_TRUE(store().answerOne());
    store().fails = false;
    ASSERT_TRUE(store().answerOne());
    EXPECT_THAT(told(EventKind::kSetting),
                ElementsAre("server: vpn.example.com -> 10.0.0.1, not stored",
                            "server: vpn.example.com -> 10.0.0.2, done",
                            "beat-interval: 30 -> 7, not stored", "beat-interval: 30 -> 7, done"));
    EXPECT_EQ(history().entries().back().caller.uid, uid_t{0}) << "whose change it was";
    history().flush();
    store().answerAll();
    EXPECT_EQ(store().history.back().after, "7") << "also in the store";
}

// Whatever the store does with changes of all kinds that are under way at once.
TEST_F(ControllerTest, WhatIsInForceAndWhatIsStoredComeTogetherAfterAnyMixOfFailures)
{
    for (unsigned int seed = 1; seed <= 400; ++seed) {
        SCOPED_TRACE(seed);
        begin(exampleSettings(), kOwner, seed % 3 != 0);
        if (seed % 3 == 0) store().saved = vpnd::VpnSettings();
        std::mt19937 random(seed);
        std::vector<std::unique_ptr<TestCall>> calls;
        std::string lastServer = "vpn.example.com";
        for (int step = 0; step < 12; ++step) {
            calls.push_back(std::make_unique<TestCall>());
            TestCall& next = *calls.back();
            switch (random() % 6) {
                case 0:
                    startCall(next, "stopVPN", args());
                    break;
                case 1:
                    startCall(next, "startVPN", args(string("10.0.0.1"), integer(1)));
                    break;
                case 2:
                    startCall(next, "setOnline", args(boolean(random() % 2 == 0)));
                    break;
                case 3:
                    startCall(next, "setVPNEnabled", args(boolean(random() % 2 == 0)));
                    break;
                case 4:
                    startCall(next, "setBeatInterval",
                              args(integer(static_cast<int>(1 + random() % 3))));
                    break;
                default:
                    startCall(next, "setVPNUserName", args(string("u" + std::to_string(step))));
                    break;
            }
            store().fails = random() % 3 == 0;
            // Those that fail may do so before their turn.
            if (random() % 2 == 0) store().answerOne(store().fails ? random() % 4 : 0);
        }
        while (store().answerOne()) store().fails = random() % 3 == 0;
        for (const auto& each : calls) ASSERT_TRUE(each->answer);
        store().fails = false;
        const std::int32_t beat = controller().settings().beatIntervalS;
        EXPECT_EQ(call("setBeatInterval", args(integer(beat))), kDone) << "as it is";
        EXPECT_TRUE(differences(store().saved, controller().settings()).none())
            << differences(store().saved, controller().settings());
        settle();
        const vpnd::VpnSettings& now = controller().settings();
        EXPECT_EQ(state(), !now.enabled ? 0 : now.online && now.connect ? 5 : 1);
        for (const HistoryEntry& each : history().entries()) {
            EXPECT_NE(each.outcome, Outcome::kPending);
        }
    }
}

TEST_F(ControllerTest, WhatIsStoredDuringTheEndStartsNothing)
{
    EXPECT_EQ(call("stopVPN"), kDone);
    settle();
    TestCall begin;
    startCall(begin, "startVPN", args(string("10.0.0.1"), integer(1)));
    controller().end();
    store().answerAll();
    EXPECT_TRUE(begin.answer);
    EXPECT_TRUE(store().saved.connect) << "for the next time";
    settle();
    EXPECT_EQ(controller().tunnel().stage, vpnd::TunnelStage::kIdle);
}

TEST_F(ControllerTest, AStartThatEndsAFaultNamesWhoAsked)
{
    EXPECT_EQ(setServer("tun-denied.test", 1194), kDone);
    settle();
    ASSERT_EQ(state(), 111);
    EXPECT_EQ(start("tun-denied.test", 1194), kDone);
    EXPECT_EQ(told(EventKind::kRequest).back(), "startVPN:  -> , done");
}

TEST_F(ControllerTest, ASettingThatGoesMissingStopsTheTunnel)
{
    EXPECT_EQ(setServer("x.settings-missing.test", 1194), kDone);
    settle();
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(controller().tunnel().reason, vpnd::Reason::kSettingsMissing);
}

TEST_F(ControllerTest, DefaultsThatNobodyHasChosenAreNotStored)
{
    begin(vpnd::VpnSettings(), kOwner, false);
    store().answerAll();
    EXPECT_EQ(store().tries, 0);
    EXPECT_EQ(call("setBeatInterval", args(integer(30))), kDone) << "now somebody has";
    EXPECT_EQ(controller().image().settings.size(), vpnd::kSettingCount);
}

TEST_F(ControllerTest, MissingSettingsKeepItIdleAndTheLastOneStartsIt)
{
    begin(vpnd::VpnSettings());
    settle();
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(status(), 1);
    EXPECT_EQ(controller().tunnel().reason, vpnd::Reason::kSettingsMissing);
    EXPECT_EQ(call("hasPassword"), boolean(false));
    EXPECT_EQ(call("getVPNUserName"), string(""));
    EXPECT_EQ(start("vpn.example.com", 1194), kNotNow);
    EXPECT_EQ(call("setVPNUserName", args(string("exampleuser"))), kDone);
    settle();
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(setPassword("example123"), kDone);
    EXPECT_EQ(state(), 2);
    settle();
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(controller().tunnel().reason, vpnd::Reason::kNone);
}

TEST_F(ControllerTest, TheMaskIsNoPassword)
{
    EXPECT_EQ(setPassword("********"), kInvalid);
    EXPECT_EQ(setPassword("*********"), kDone);
}

TEST_F(ControllerTest, TheFirstSettingsAreInForceAtOnceAndStoredAsAWhole)
{
    begin(exampleSettings(), kOwner, false);
    store().saved = vpnd::VpnSettings();
    settle();
    EXPECT_EQ(state(), 5);
    store().answerAll();
    EXPECT_EQ(store().saves, 1);
    EXPECT_TRUE(differences(store().saved, exampleSettings()).none());
    EXPECT_TRUE(told(EventKind::kSetting).empty()) << "nobody has changed them";
}

TEST_F(ControllerTest, FirstSettingsThatCouldNotBeStoredAreStoredWithTheNextChange)
{
    begin(exampleSettings(), kOwner, false);
    store().saved = vpnd::VpnSettings();
    store().fails = true;
    store().answerAll();
    EXPECT_TRUE(controller().image().settings.empty());
    store().fails = false;
    EXPECT_EQ(call("setBeatInterval", args(integer(30))), kDone) << "as it is";
    EXPECT_TRUE(differences(store().saved, exampleSettings()).none());
    EXPECT_EQ(controller().image().settings.size(), vpnd::kSettingCount);
}

TEST_F(ControllerTest, HeldItStaysIdleUntilAClientStartsIt)
{
    begin(exampleSettings(), kOwner, true, true);
    settle();
    EXPECT_EQ(state(), 1);
    EXPECT_EQ(controller().tunnel().reason, vpnd::Reason::kNone);
    online(false);
    online(true);
    EXPECT_EQ(setPassword("other123"), kDone);
    settle();
    EXPECT_EQ(state(), 1);
    EXPECT_TRUE(store().saved.connect) << "that is for this run alone";
    EXPECT_EQ(start("vpn.example.com", 1194), kDone);
    settle();
    EXPECT_EQ(state(), 5);
}

TEST_F(ControllerTest, TheImageIsWhatWasSaidToBeStored)
{
    TestCall change;
    startCall(change, "setBeatInterval", args(integer(7)));
    startCall(change, "stopVPN", args());
    const auto valueOf = [this](const std::string& key) {
        for (const vpnd::StoredSetting& each : controller().image().settings) {
            if (each.key == key) return each.value;
        }
        return std::string("missing");
    };
    EXPECT_EQ(valueOf("beat-interval"), "30");
    EXPECT_EQ(valueOf("connect"), "true") << "in force, but not stored yet";
    EXPECT_EQ(valueOf("password"), "example123") << "a store must hold the real one";
    store().answerAll();
    EXPECT_EQ(valueOf("beat-interval"), "7");
    EXPECT_EQ(valueOf("connect"), "false");
    for (const HistoryEntry& each : controller().image().history) {
        EXPECT_NE(each.outcome, Outcome::kPending);
    }
}

// --- who asks ---

struct Refusal {
    const char* method;
    std::string block;
    std::string answer;
};

std::vector<Refusal> changes()
{
    return {{"changeServerIP", args(string("10.0.0.1")), kNotAllowed},
            {"checkPassword", args(string("example123")), boolean(false)},
            {"setServerIPAndPort", args(string("10.0.0.1"), integer(1)), kNotNow},
            {"setVPNCA", args(string("x")), kNotAllowed},
            {"checkCommState", args(), ""},
            {"setDeviceSn", args(string("7")), ""},
            {"startVPN", args(string("10.0.0.1"), integer(1)), kNotNow},
            {"stopVPN", args(), kNotAllowed},
            {"setBeatInterval", args(integer(5)), kNotAllowed},
            {"setVPNEnabled", args(boolean(false)), ""},
            {"setOnline", args(boolean(false)), kNotAllowed},
            {"setVPNPassword", args(string("other123")), kNotAllowed},
            {"setVPNUserName", args(string("other")), kNotAllowed}};
}

const char* const kReads[] = {"hasPassword", "getServerIP",  "getDeviceVPNInfo", "getVPNEnabled",
                              "getVpnState", "getProductSn", "getVPNUserName"};

TEST_F(ControllerTest, WhoMayNotChangeReadsAndChangesNothing)
{
    for (const std::optional<uid_t>& uid : {std::optional<uid_t>(12345), std::optional<uid_t>()}) {
        peer.uid = uid;
        for (const Refusal& each : changes()) {
            EXPECT_EQ(call(each.method, each.block), each.answer) << each.method;
        }
        for (const char* method : kReads) {
            EXPECT_EQ(call(method).find("refused"), std::string::npos) << method;
        }
        EXPECT_EQ(call("getVPNPassword"), string("********"));
    }
    settle();
    EXPECT_EQ(state(), 5);
    EXPECT_TRUE(differences(controller().settings(), exampleSettings()).none());
    EXPECT_EQ(store().tries, 0);
    EXPECT_EQ(changes().size() + std::size(kReads) + 1, 21u) << "each method is looked at";
}

// "| `method` | change | 4 |"
TEST_F(ControllerTest, ThePageOnSecuritySaysWhatEachMethodAnswersToWhoMayNot)
{
    std::map<std::string, std::string> said;
    std::ifstream page(std::string(SERVICE_DOCS) + "/security.md");
    for (std::string line; std::getline(page, line);) {
        std::smatch parts;
        static const std::regex row("\\| `(\\w+)` \\| (change|read) \\| (.*) \\|");
        if (std::regex_match(line, parts, row)) {
            said[parts[1]] = parts[2].str() + ": " + parts[3].str();
        }
    }
    vpnd::AccessRules nobody;
    begin(exampleSettings(), nobody);
    for (const Refusal& each : changes()) {
        const std::string answer = call(each.method, each.block);
        const std::string words = answer == kNotAllowed      ? "4"
                                  : answer == kNotNow        ? "2"
                                  : answer == boolean(false) ? "false"
                                  : answer.empty() ? "its empty reply, and nothing happens"
                                                   : "?";
        EXPECT_EQ(said[each.method], "change: " + words) << each.method;
    }
    for (const char* method : kReads) {
        EXPECT_EQ(call(method), "refused: not allowed");
        EXPECT_EQ(said[method], "read: an error reply") << method;
    }
    EXPECT_THAT(said["getVPNPassword"], HasSubstr("read: never refused"));
    EXPECT_EQ(said.size(), 21u);
}

TEST_F(ControllerTest, WhoMayChangeIsNotRefused)
{
    for (const uid_t uid : {uid_t{0}, kOwnerUid}) {
        peer.uid = uid;
        begin(exampleSettings());
        EXPECT_EQ(check("example123"), boolean(true));
        for (const Refusal& each : changes()) call(each.method, each.block);
        EXPECT_EQ(call("getVPNUserName"), string("other"));
        EXPECT_EQ(call("getVPNPassword"), string("other123"));
        EXPECT_EQ(call("getProductSn"), string("7"));
        EXPECT_EQ(call("getVPNEnabled"), boolean(false));
        EXPECT_EQ(info().serverIP, "10.0.0.1");
        EXPECT_EQ(info().serverPort, 1);
        for (const HistoryEntry& each : history().entries()) {
            EXPECT_NE(each.outcome, Outcome::kNotAllowed) << each.subject;
        }
    }
}

TEST_F(ControllerTest, ARefusedReadIsAnErrorButThePasswordIsAnsweredToEverybody)
{
    vpnd::AccessRules access = kOwner;
    access.readers = {};
    access.masksSecrets = false;
    begin(exampleSettings(), access);
    peer.uid = 12345;
    for (const char* method : kReads) EXPECT_EQ(call(method), "refused: not allowed") << method;
    EXPECT_EQ(call("getVPNPassword"), string(""));
}

TEST_F(ControllerTest, EverybodyWhoMayChangeIsStillSomebody)
{
    vpnd::AccessRules access = kOwner;
    access.changers.everybody = true;
    access.secretReaders.everybody = true;
    begin(exampleSettings(), access);
    peer.uid = std::nullopt;
    EXPECT_EQ(call("setBeatInterval", args(integer(5))), kNotAllowed);
    EXPECT_EQ(call("getVPNPassword"), string("********"));
    peer.uid = 12345;
    EXPECT_EQ(call("setBeatInterval", args(integer(5))), kDone);
    EXPECT_EQ(call("getVPNPassword"), string("example123"));
}

TEST_F(ControllerTest, OtherRulesCountFromTheNextCallOn)
{
    peer.uid = 12345;
    EXPECT_EQ(call("setBeatInterval", args(integer(5))), kNotAllowed);
    controller().setAccess(vpnd::AccessRules::standard(12345));
    EXPECT_EQ(call("setBeatInterval", args(integer(5))), kDone);
}

TEST_F(ControllerTest, RefusalsStandInTheHistoryOnceEach)
{
    peer.uid = 12345;
    for (int i = 0; i < 1000; ++i) {
        for (const Refusal& each : changes()) call(each.method, each.block);
    }
    std::size_t entries = 0;
    for (const HistoryEntry& each : history().entries()) {
        if (each.kind != EventKind::kRequest) continue;
        ++entries;
        EXPECT_EQ(each.count, 1000u) << each.subject;
        EXPECT_EQ(each.caller.uid, uid_t{12345});
        EXPECT_EQ(each.outcome, Outcome::kNotAllowed);
    }
    EXPECT_EQ(entries, changes().size());
}

// --- what the history tells ---

TEST_F(ControllerTest, TheHistoryHoldsNoSecret)
{
    setPassword("NewSecret1");
    setPassword("NewSecret2\n");
    check("Guessed3");
    setCa("Secret text");
    store().fails = true;
    setPassword("NewSecret4");
    store().fails = false;
    setPassword("NewSecret5");
    ASSERT_THAT(told(EventKind::kSetting),
                ElementsAre("password: set -> set, done", "password: set -> set, not stored",
                            "password: set -> set, done"));
    for (const HistoryEntry& each : history().entries()) {
        for (const std::string* text : {&each.subject, &each.before, &each.after, &each.detail}) {
            EXPECT_EQ(text->find("Secret"), std::string::npos) << *text;
            EXPECT_EQ(text->find("Guessed"), std::string::npos) << *text;
            EXPECT_EQ(text->find("example123"), std::string::npos) << *text;
        }
    }
}

TEST_F(ControllerTest, EachStateStandsInTheHistoryWithItsReason)
{
    begin(exampleSettings());
    settle();
    setServer("account-refused.test", 1194);
    settle();
    std::vector<std::string> states = told(EventKind::kState);
    EXPECT_THAT(states, ElementsAre("reaching:  -> 2, done", "authenticating: 2 -> 3, done",
                                    "configuring: 3 -> 4, done", "connected: 4 -> 5, done",
                                    "stopping: 5 -> 7, done", "reaching: 7 -> 2, done",
                                    "fault: 3 -> 103, done"));
    EXPECT_EQ(history().entries()[1].count, 2u) << "authenticating, twice within an hour";
    EXPECT_EQ(history().entries().back().reason, vpnd::Reason::kAccountRefused);
    EXPECT_THAT(history().entries().back().detail, HasSubstr("call the help desk"));
    enable(false);
    EXPECT_EQ(told(EventKind::kState).back(), "disabled: 103 -> 0, done");
}

}  // namespace
