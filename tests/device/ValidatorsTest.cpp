#include "device/DevBas.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

bool acceptsPassword(const std::string& text)
{
    CString value(text.data(), static_cast<int>(text.size()));
    return CDevBas::_CheckVPNPasswd(value);
}

bool acceptsUserName(const std::string& text)
{
    CString value(text.data(), static_cast<int>(text.size()));
    return CDevBas::_CheckVPNUserName(value);
}

}  // namespace

TEST(ValidatorsTest, PasswordHasSixToThirtyTwoCharacters)
{
    EXPECT_FALSE(acceptsPassword(""));
    EXPECT_FALSE(acceptsPassword("abc12"));
    EXPECT_TRUE(acceptsPassword("abc123"));
    EXPECT_TRUE(acceptsPassword(std::string(32, 'a')));
    EXPECT_FALSE(acceptsPassword(std::string(33, 'a')));
}

TEST(ValidatorsTest, PasswordHoldsLettersAndDigitsOnly)
{
    EXPECT_TRUE(acceptsPassword("AZaz09"));
    for (int c = 0; c < 256; ++c) {
        const bool good =
            (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        EXPECT_EQ(acceptsPassword("abcde" + std::string(1, static_cast<char>(c))), good) << c;
    }
}

TEST(ValidatorsTest, UserNameHoldsLettersOnly)
{
    EXPECT_FALSE(acceptsUserName("user01"));
    EXPECT_TRUE(acceptsUserName("vpnuser"));
    EXPECT_FALSE(acceptsUserName("users"));
    EXPECT_TRUE(acceptsUserName("myuser"));
    EXPECT_TRUE(acceptsUserName(std::string(32, 'z')));
    EXPECT_FALSE(acceptsUserName(std::string(33, 'z')));
    for (int c = 0; c < 256; ++c) {
        const bool good = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
        EXPECT_EQ(acceptsUserName("abcde" + std::string(1, static_cast<char>(c))), good) << c;
    }
}

TEST(ValidatorsTest, EachCharacterCountsFromTheFirstToTheLast)
{
    for (const std::size_t length : {6U, 7U, 32U}) {
        for (std::size_t i = 0; i < length; ++i) {
            std::string text(length, 'x');
            text[i] = '_';
            EXPECT_FALSE(acceptsPassword(text)) << text;
            EXPECT_FALSE(acceptsUserName(text)) << text;
            text[i] = '7';
            EXPECT_TRUE(acceptsPassword(text)) << text;
            EXPECT_FALSE(acceptsUserName(text)) << text;
        }
    }
}

TEST(ValidatorsTest, OnlyTheCanonicalDottedQuadIsAnAddress)
{
    for (const char* good : {"10.0.0.1", "0.0.0.0", "255.255.255.254", "192.168.1.100"}) {
        EXPECT_TRUE(CDevBas::_CheckAddr(good)) << good;
    }
    for (const char* bad : {"10.1", "010.0.0.1", "myhost", "", "255.255.255.255", "10.0.0.256",
                            "10.0.0.1 ", " 10.0.0.1", "0x0a.0.0.1", "10.0.0.1.", "1", "::1"}) {
        EXPECT_FALSE(CDevBas::_CheckAddr(bad)) << bad;
    }
    EXPECT_FALSE(CDevBas::_CheckAddr(nullptr));
}

TEST(ValidatorsTest, PortIsOneTo65535)
{
    EXPECT_FALSE(CDevBas::_CheckPort(0));
    EXPECT_TRUE(CDevBas::_CheckPort(1));
    EXPECT_TRUE(CDevBas::_CheckPort(65535));
    EXPECT_FALSE(CDevBas::_CheckPort(65536));
    EXPECT_FALSE(CDevBas::_CheckPort(-1));
}
