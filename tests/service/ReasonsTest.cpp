#include "service/core/Reasons.h"

#include "common/Utf8.h"
#include "service/tunnel/SimulatedTunnel.h"

#include <gtest/gtest.h>

#include <set>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

using vpnd::Effect;
using vpnd::Reason;
using vpnd::reasons;
using vpnd::ReasonText;
using vpnd::TunnelStage;

// For ever: screens of HMI projects and scripts hold both.
TEST(ReasonsTest, NumbersAndNamesAreForEver)
{
    const std::vector<std::string> names = {"credentials-refused", "certificate-untrusted",
                                            "account-refused",     "second-factor",
                                            "certificate-expired", "certificate-not-yet-valid",
                                            "name-not-resolved",   "server-unreachable",
                                            "server-silent",       "route-refused",
                                            "tun-denied",          "program-missing",
                                            "login-used-twice",    "settings-missing"};
    ASSERT_EQ(reasons().size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(reasons()[i].name, names[i]);
        EXPECT_EQ(reasons()[i].number(), static_cast<int>(i) + 1);
        EXPECT_EQ(vpnd::findReason(names[i]), &reasons()[i]);
        EXPECT_EQ(vpnd::findReason(static_cast<std::int32_t>(i) + 1), &reasons()[i]);
        EXPECT_EQ(&textOf(reasons()[i].reason), &reasons()[i]);
    }
    EXPECT_EQ(vpnd::findReason("no-such-reason"), nullptr);
    EXPECT_EQ(vpnd::findReason(0), nullptr);
    EXPECT_THROW(static_cast<void>(textOf(Reason::kNone)), std::out_of_range);
}

TEST(ReasonsTest, EachHasItsOwnTextsInBothLanguages)
{
    std::set<std::string> seen;
    for (const ReasonText& each : reasons()) {
        for (const std::string text : {each.english, each.remedyEnglish}) {
            EXPECT_TRUE(seen.insert(text).second) << text;
            EXPECT_EQ(text.back(), '.') << text;
            for (const char c : text) EXPECT_TRUE(c >= ' ' && c <= '~') << text;
        }
        for (const std::string text : {each.chinese, each.remedyChinese}) {
            EXPECT_TRUE(seen.insert(text).second) << text;
            EXPECT_EQ(text.substr(text.size() - 3), "\xe3\x80\x82") << text;
            for (std::string_view rest = text; !rest.empty();) {
                const common::Utf8Character character = common::firstCharacter(rest);
                ASSERT_TRUE(character.valid) << text;
                rest.remove_prefix(character.bytes);
            }
        }
    }
}

class PlayedReasonTest : public testing::TestWithParam<ReasonText>, private vpnd::ITunnelEvents
{
protected:
    PlayedReasonTest()
    {
        tunnel.setListener(*this);
        config.server = std::string("vpn.") + GetParam().name + ".test";
        config.userName = "user";
        config.password = "password";
    }
    void pass(std::int64_t ms)
    {
        for (; ms > 0; ms -= 50) {
            m_nowMs += 50;
            m_loop.turn(0);
        }
    }
    bool has(TunnelStage stage) const
    {
        for (const vpnd::TunnelState& each : seen) {
            if (each.stage == stage) return true;
        }
        return false;
    }

    std::vector<vpnd::TunnelState> seen;
    vpnd::TunnelConfig config;

private:
    void onTunnelState(const vpnd::TunnelState& state) override { seen.push_back(state); }
    void onTraffic(const vpnd::Traffic&) override {}

    std::int64_t m_nowMs = 0;
    vpnd::EventLoop m_loop{[this] { return m_nowMs; }};

protected:
    vpnd::SimulatedTunnel tunnel{m_loop};
};

TEST_P(PlayedReasonTest, TheSimulatedTunnelPlaysItByName)
{
    const ReasonText& reason = GetParam();
    const bool isStarted = tunnel.isComplete(config);
    if (isStarted) tunnel.start(config);
    pass(20 * 1000);
    switch (reason.effect) {
        case Effect::kIdle:
            EXPECT_FALSE(isStarted);
            EXPECT_TRUE(seen.empty());
            return;
        case Effect::kFault:
            ASSERT_TRUE(isStarted);
            EXPECT_EQ(seen.back().stage, TunnelStage::kFault);
            EXPECT_EQ(seen.back().reason, reason.reason);
            EXPECT_FALSE(has(TunnelStage::kReconnecting));
            EXPECT_FALSE(has(TunnelStage::kConnected));
            break;
        case Effect::kRetry:
            ASSERT_TRUE(isStarted);
            EXPECT_TRUE(has(TunnelStage::kReconnecting));
            EXPECT_FALSE(has(TunnelStage::kFault));
            EXPECT_EQ(has(TunnelStage::kConnected), reason.reason == Reason::kLoginUsedTwice);
            for (const vpnd::TunnelState& each : seen) {
                if (each.stage == TunnelStage::kReconnecting) {
                    EXPECT_EQ(each.reason, reason.reason);
                }
            }
            break;
    }
    // Repaired it comes up, and the reason is gone.
    seen.clear();
    config.server = "vpn.example.com";
    tunnel.apply(config);
    pass(5000);
    ASSERT_FALSE(seen.empty());
    EXPECT_EQ(seen.back().stage, TunnelStage::kConnected);
    EXPECT_EQ(seen.back().reason, Reason::kNone);
}

INSTANTIATE_TEST_SUITE_P(Each, PlayedReasonTest, testing::ValuesIn(reasons()),
                         [](const testing::TestParamInfo<ReasonText>& each) {
                             std::string name = each.param.name;
                             for (char& c : name) {
                                 if (c == '-') c = '_';
                             }
                             return name;
                         });

}  // namespace
