#include "device/DevTables.h"
#include "host/StatusCodes.h"

#include <gtest/gtest.h>

#include <string>

TEST(TablesTest, ChannelNamesAreTheseVeryBytes)
{
    const char* const expected[] = {
        "\xE6\x9C\x8D\xE5\x8A\xA1\xE5\x99\xA8\xE5\x9C\xB0\xE5\x9D\x80",
        "\xE6\x9C\x8D\xE5\x8A\xA1\xE5\x99\xA8\xE7\xAB\xAF\xE5\x8F\xA3",
        "VPN\xE5\x9C\xB0\xE5\x9D\x80",
        "\xE5\xBF\x83\xE8\xB7\xB3\xE5\x91\xA8\xE6\x9C\x9F",
        "\xE8\x87\xAA\xE5\xAE\x9A\xE4\xB9\x89\xE8\xAE\xBE\xE5\xA4\x87\xE5\x90\x8D\xE7\xA7\xB0",
        "VPN\xE4\xBD\xBF\xE8\x83\xBD",
        "\xE8\xBF\x9E\xE6\x8E\xA5\xE7\x8A\xB6\xE6\x80\x81",
        "\xE8\xAE\xBE\xE5\xA4\x87\xE7\xBC\x96\xE5\x8F\xB7",
        "VPN\xE5\xAF\x86\xE7\xA0\x81",
        "VPN\xE7\x94\xA8\xE6\x88\xB7\xE5\x90\x8D",
    };
    ASSERT_EQ(std::size(DEV_STR_CHLNAMES), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_STREQ(DEV_STR_CHLNAMES[i], expected[i]) << i;
    }
}

TEST(TablesTest, PropertyChoicesAreTheseVeryBytes)
{
    ASSERT_EQ(std::size(DEV_STR_PROPERTLIST), 2u);
    EXPECT_STREQ(DEV_STR_PROPERTLIST[0], "0 - \xE7\xA6\x81\xE7\x94\xA8");
    EXPECT_STREQ(DEV_STR_PROPERTLIST[1], "1 - \xE5\x90\xAF\xE7\x94\xA8");
    EXPECT_STREQ(DEV_STR_PROPERTYNAME, "");
    EXPECT_STREQ(DEV_STR_PROPERTYINITVALUE, "");
}

TEST(TablesTest, CommandWordsStandInDispatchOrder)
{
    const char* const expected[] = {"SETVPNSERVER", "SETVPNCA",     "SETDEVICESN",  "STARTVPN",
                                    "STOPVPN",      "SETALIVETIME", "REFRESH",      "Enable",
                                    "Online",       "Offline",      "GetVPNPasswd", "SetVPNPasswd"};
    ASSERT_EQ(std::size(IOCTRL_STR_PROPERTYNAME), std::size(expected));
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_STREQ(IOCTRL_STR_PROPERTYNAME[i], expected[i]) << i;
    }
    EXPECT_STREQ(DEV_STR_ACTIVATEVPN, "Enable");
}

TEST(TablesTest, OnlyPasswordAndUserNameCanBeWritten)
{
    ASSERT_EQ(std::size(DEV_DWORD_CHLRWTYPE), 11u);
    for (int k = 0; k <= 8; ++k) EXPECT_EQ(DEV_DWORD_CHLRWTYPE[k], 2) << k;
    EXPECT_EQ(DEV_DWORD_CHLRWTYPE[9], 0);
    EXPECT_EQ(DEV_DWORD_CHLRWTYPE[10], 0);
}

TEST(TablesTest, StatusThreeIsCodeTenAndStatusZeroIsCodeZero)
{
    EXPECT_EQ(VPN_STATE_RESULT_CODE[0], kResultOk);
    EXPECT_EQ(VPN_STATE_RESULT_CODE[1], kResultVpnIdle);
    EXPECT_EQ(VPN_STATE_RESULT_CODE[2], kResultVpnConnecting);
    EXPECT_EQ(VPN_STATE_RESULT_CODE[3], kResultVpnDisabled);
    EXPECT_EQ(kResultVpnDisabled, 10);
}
