#include "service/core/SettingFields.h"

#include "service/core/HistoryEntry.h"
#include "tests/service/TestCertificates.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace
{

using vpnd::findSetting;
using vpnd::kSettingCount;
using vpnd::SettingField;
using vpnd::settingFields;
using vpnd::VpnSettings;

struct Example {
    const char* key;
    std::string right;
    std::vector<std::string> wrong;
};

std::vector<Example> examples()
{
    return {
        {"server", "10.0.0.1", {"a b", "-x", "1.2.3.4.5"}},
        {"port", "443", {"", "0", "65536", "+1", " 1", "1 ", "1x", "99999999999999", "-1"}},
        {"user", "user@site", {"a\nb", std::string(129, 'x')}},
        {"password", "secret", {"a\nb", "********", std::string(129, 'x')}},
        {"certificates", certificates::ca(), {"no certificate"}},
        {"device-number", "LINE-3", {"a b"}},
        {"device-name", "Line 3", {"a\"b", "a\nb"}},
        {"beat-interval", "60", {"", "0", "3601", "6 0"}},
        {"enabled", "false", {"", "no", "False", "0"}},
        {"online", "false", {"", "1"}},
        {"connect", "false", {"", "TRUE"}},
    };
}

TEST(SettingFieldsTest, EachTakesWhatIsRightAndGivesItBack)
{
    const std::vector<Example> all = examples();
    ASSERT_EQ(all.size(), kSettingCount);
    for (std::size_t i = 0; i < kSettingCount; ++i) {
        const SettingField& field = settingFields()[i];
        SCOPED_TRACE(field.key);
        ASSERT_STREQ(field.key, all[i].key) << "in the order of the places";
        EXPECT_EQ(findSetting(field.key), &field);
        VpnSettings settings;
        ASSERT_TRUE(field.assign(settings, all[i].right));
        EXPECT_EQ(field.text(settings), all[i].right);
        EXPECT_EQ(differences(settings, VpnSettings()), vpnd::SettingSet().set(i));
        VpnSettings copy;
        copySettings(copy, settings, vpnd::SettingSet().set(i));
        EXPECT_TRUE(field.isSame(copy, settings));
        for (const std::string& wrong : all[i].wrong) {
            EXPECT_FALSE(field.assign(settings, wrong)) << wrong;
            EXPECT_EQ(field.text(settings), all[i].right) << "as before";
        }
    }
    EXPECT_EQ(findSetting("Server"), nullptr);
}

TEST(SettingFieldsTest, WhatMayBeMissingCanBeCleared)
{
    for (const Example& each : examples()) {
        const SettingField& field = *findSetting(each.key);
        VpnSettings settings;
        ASSERT_TRUE(field.assign(settings, each.right));
        const bool mayBeMissing = field.text(VpnSettings()).empty();
        EXPECT_EQ(field.assign(settings, ""), mayBeMissing) << each.key;
        if (mayBeMissing) {
            EXPECT_EQ(field.text(settings), "") << each.key;
        }
    }
}

TEST(SettingFieldsTest, ASecretIsShownAsSetOrNothing)
{
    VpnSettings settings;
    const SettingField& password = *findSetting("password");
    EXPECT_TRUE(password.isSecret);
    EXPECT_EQ(shownText(password, settings), "");
    settings.password = "secret";
    EXPECT_EQ(shownText(password, settings), "set");
}

TEST(SettingFieldsTest, CertificatesAreShownAsTheirSubjects)
{
    VpnSettings settings;
    const SettingField& field = *findSetting("certificates");
    EXPECT_EQ(shownText(field, settings), "");
    ASSERT_TRUE(field.assign(settings, certificates::ca()));
    EXPECT_EQ(shownText(field, settings), "CN=Example CA, valid until 2036-01-31 23:59:59 UTC");
}

}  // namespace
