#include "service/core/Validation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

namespace
{

using vpnd::equalsSecret;
using vpnd::isBeatInterval;
using vpnd::isCredential;
using vpnd::isDeviceName;
using vpnd::isDeviceNumber;
using vpnd::isPort;
using vpnd::isServerAddress;

std::string repeated(const std::string& text, int count)
{
    std::string out;
    for (int i = 0; i < count; ++i) out += text;
    return out;
}

TEST(ValidationTest, AddressesHostNamesAndNumericAddressesAreAccepted)
{
    const std::string label63(63, 'a');
    const std::string good[] = {
        "10.0.0.1",
        "255.255.255.255",
        "0.0.0.0",
        "::1",
        "2001:db8::7",
        "::ffff:10.0.0.1",
        "FE80::1",
        "localhost",
        "a",
        "vpn.example.com",
        "VPN.Example.COM",
        "x-1.y-2.z",
        "xn--fiq228c.cn",
        "1st.example.com",
        "4you",
        "123.example",
        "0x7g",
        "0xg",
        "x0a",
        "0ya",
        "0a",
        "0xa.example",
        "7-eleven.example",
        label63 + ".example.com",
        repeated("aaa.", 63) + "b",  // exactly 253
        label63 + "." + label63 + "." + label63 + "." + std::string(61, 'b'),
    };
    for (const std::string& text : good) EXPECT_TRUE(isServerAddress(text)) << text;
}

TEST(ValidationTest, AddressesThatAreNoneAreRefused)
{
    using namespace std::string_literals;
    const std::string label63(63, 'a');
    const std::string bad[] = {
        "",
        " ",
        "10.0.0.1 ",
        " 10.0.0.1",
        "10.0.0",
        "10.0.0.256",
        "10.0.0.1.2",
        "010.0.0.1",
        "10.1",
        "1",
        "2130706433",
        "0x7f000001",
        "0x7F.0.0.0x1",
        "0x",
        "0xa",
        "0XF",
        "0x0",
        "example.0xa",
        "example.0Xf",
        "example.0x",
        "example.0",
        "example.123",
        "example.0x1f",
        "10.0.0.1:1194",
        ":",
        ":::",
        "1::2::3",
        "12345::",
        "fe80::1%eth0",
        "[::1]",
        "::1.2.3",
        "vpn:1",
        "-vpn.example.com",
        "vpn-.example.com",
        "vpn.-example.com",
        "--remote",
        "-",
        ".",
        "..",
        ".example.com",
        "example.com.",
        "vpn..example.com",
        "vpn_1.example.com",
        "vpn example.com",
        "vpn\texample",
        "vpn/x",
        "a,b",
        "a;b",
        "a#b",
        "a\"b",
        "a'b",
        "a\\b",
        "vpn.example.com\n",
        "vpn.example.com\nlog /tmp/x",
        "\nvpn",
        "vpn\r",
        "vpn\0x"s,
        "vpn\0"s,
        "10.0.0.1\0"s,
        "::1\0"s,
        "vpn\x7f",
        "v\xc3\xa4.example",
        "\xe6\x9c\x8d.cn",
        label63 + "a.example.com",
        repeated("aaa.", 63) + "bb",  // 254
        std::string(100000, 'a'),
    };
    for (const std::string& text : bad) EXPECT_FALSE(isServerAddress(text)) << text;
}

TEST(ValidationTest, PortsReachFromOneTo65535)
{
    for (const std::int32_t port : {1, 80, 1194, 65535}) EXPECT_TRUE(isPort(port)) << port;
    for (const std::int32_t port : {0, -1, 65536, 66730, std::numeric_limits<std::int32_t>::min(),
                                    std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_FALSE(isPort(port)) << port;
    }
}

TEST(ValidationTest, CredentialsAreOneTo128PrintableAsciiCharacters)
{
    // What the driver lets through is narrower; the service does not repeat its rule.
    for (const std::string& text :
         {std::string("a"), std::string("panel01"), std::string("user@site"),
          std::string(" blanks count "), std::string("it's#1;\"x\\"), std::string("!~"),
          std::string(128, 'x')}) {
        EXPECT_TRUE(isCredential(text)) << text;
    }
    using namespace std::string_literals;
    for (const std::string& text :
         {""s, "abc\n"s, "abc\nsignal SIGTERM\n"s, "a\rb"s, "a\tb"s, "a\0b"s, "a\x7f"s, "a\x1f"s,
          "p\xc3\xa4ss"s, "\xff"s, std::string(129, 'x')}) {
        EXPECT_FALSE(isCredential(text)) << text;
    }
}

TEST(ValidationTest, DeviceNumbersHoldPlainCharactersOnly)
{
    for (const std::string& text : {std::string("1"), std::string("ORVA-000001"),
                                    std::string("line_3/panel:7.b"), std::string(64, '9')}) {
        EXPECT_TRUE(isDeviceNumber(text)) << text;
    }
    using namespace std::string_literals;
    for (const std::string& text : {""s, "a b"s, "a\n"s, "a\0"s, "a\"b"s, "a\\b"s, "a'b"s, "a$b"s,
                                    "\xe5\x8f\xb7"s, std::string(65, '9')}) {
        EXPECT_FALSE(isDeviceNumber(text)) << text;
    }
}

TEST(ValidationTest, DeviceNamesAreAnyTextWithoutControlCharactersAndQuotes)
{
    for (const std::string& text :
         {std::string("panel"), std::string("line 3, panel 7"),
          std::string("\xe9\x9d\xa2\xe6\x9d\xbf"), std::string(64, 'n')}) {
        EXPECT_TRUE(isDeviceName(text)) << text;
    }
    using namespace std::string_literals;
    for (const std::string& text :
         {""s, "a\n"s, "a\0"s, "a\x7f"s, "a\xc2\x9b"s, "a\xff"s, "a\xe9\x9d"s, "\xc0\xaf"s,
          "\xed\xa0\x80"s, "\xf4\x90\x80\x80"s, "a\"b"s, "a'b"s, "a\\b"s, std::string(65, 'n')}) {
        EXPECT_FALSE(isDeviceName(text)) << text;
    }
}

TEST(ValidationTest, DeviceNamesAreUtf8UpToTheEdgesOfEveryLength)
{
    for (const std::string& character :
         {std::string(" "), std::string("~"), std::string("\xc2\xa0"), std::string("\xdf\xbf"),
          std::string("\xe0\xa0\x80"), std::string("\xed\x9f\xbf"), std::string("\xee\x80\x80"),
          std::string("\xef\xbf\xbf"), std::string("\xf0\x90\x80\x80"),
          std::string("\xf3\xbf\xbf\xbf"), std::string("\xf4\x8f\xbf\xbf")}) {
        EXPECT_TRUE(isDeviceName(character)) << character;
        EXPECT_TRUE(isDeviceName("a" + character + "b")) << character;
        for (std::size_t bytes = 1; bytes < character.size(); ++bytes) {
            // In its exact size, so that a sanitizer sees every byte read too many.
            const std::vector<char> cut(character.data(), character.data() + bytes);
            EXPECT_FALSE(isDeviceName(std::string_view(cut.data(), bytes))) << character << " cut";
            EXPECT_FALSE(isDeviceName(character.substr(0, bytes) + "b")) << character << " cut";
            EXPECT_FALSE(isDeviceName(character.substr(bytes))) << character << " cut";
            for (const char next : {'\x7f', '\xc0', '\x00'}) {
                std::string spoiled = character;
                spoiled[bytes] = next;
                EXPECT_FALSE(isDeviceName(spoiled)) << character << " byte " << bytes;
            }
        }
    }
    // Just beyond the edges: control characters, too long an encoding, half of a pair, no
    // character any more, and bytes that begin none.
    for (const char* text : {"\x1f",
                             "\x7f",
                             "\xc2\x80",
                             "\xc2\x9f",
                             "\xc0\x80",
                             "\xc1\xbf",
                             "\xe0\x80\x80",
                             "\xe0\x9f\xbf",
                             "\xed\xa0\x80",
                             "\xed\xaf\xbf",
                             "\xed\xb0\x80",
                             "\xed\xbf\xbf",
                             "\xf0\x80\x80\x80",
                             "\xf0\x8f\xbf\xbf",
                             "\xf4\x90\x80\x80",
                             "\xf5\x80\x80\x80",
                             "\xf7\xbf\xbf\xbf",
                             "\xf8\x88\x80\x80\x80",
                             "\xfe",
                             "\xff",
                             "\x80",
                             "\xbf"}) {
        EXPECT_FALSE(isDeviceName(text)) << text;
        EXPECT_FALSE(isDeviceName(std::string("a") + text + "b")) << text;
    }
    EXPECT_TRUE(isDeviceName(repeated("\xc3\xa4", 32))) << "64 bytes";
    EXPECT_FALSE(isDeviceName(repeated("\xc3\xa4", 32) + "a"));
}

TEST(ValidationTest, BeatIntervalsReachFromOneSecondToAnHour)
{
    for (const std::int32_t seconds : {1, 30, 3600})
        EXPECT_TRUE(isBeatInterval(seconds)) << seconds;
    for (const std::int32_t seconds : {0, -1, 3601, std::numeric_limits<std::int32_t>::min(),
                                       std::numeric_limits<std::int32_t>::max()}) {
        EXPECT_FALSE(isBeatInterval(seconds)) << seconds;
    }
}

TEST(ValidationTest, SecretsAreEqualOnlyByteForByte)
{
    EXPECT_TRUE(equalsSecret("example123", "example123"));
    EXPECT_TRUE(equalsSecret("", ""));
    EXPECT_FALSE(equalsSecret("example124", "example123"));
    EXPECT_FALSE(equalsSecret("Example123", "example123"));
    EXPECT_FALSE(equalsSecret("", "example123"));
    EXPECT_FALSE(equalsSecret("example123", ""));
    EXPECT_FALSE(equalsSecret("example12", "example123"));
    EXPECT_FALSE(equalsSecret("example1234", "example123"));
    // No length may stand for another one.
    EXPECT_FALSE(equalsSecret("abab", "ab"));
    EXPECT_FALSE(equalsSecret("a", "aa"));
    EXPECT_FALSE(equalsSecret("aa", "a"));
    EXPECT_FALSE(equalsSecret(std::string("a\0", 2), "a"));
    EXPECT_FALSE(equalsSecret("a", std::string("a\0", 2)));
    EXPECT_FALSE(equalsSecret(std::string("a\0b", 3), std::string("a\0c", 3)));
}

TEST(ValidationTest, ASecretIsComparedToItsEndWhereverTheFirstDifferenceIs)
{
    // The least processor time of many tries.
    const auto costNs = [](const std::string& given, const std::string& secret) {
        const auto nowNs = [] {
            timespec now{};
            ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
            return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
        };
        std::int64_t least = std::numeric_limits<std::int64_t>::max();
        for (int i = 0; i < 20; ++i) {
            const std::int64_t before = nowNs();
            EXPECT_FALSE(equalsSecret(given, secret));
            least = std::min(least, nowNs() - before);
        }
        return least;
    };
    const std::string given(1 << 20, 'a');
    std::string differsLast = given;
    differsLast.back() = 'b';
    std::string differsFirst = given;
    differsFirst.front() = 'b';
    // Whoever stops early is a thousand times as fast.
    const std::int64_t least = costNs(given, differsLast) / 10;
    EXPECT_GT(costNs(given, differsFirst), least);
    EXPECT_GT(costNs(given, given + "b"), least) << "another length";
    EXPECT_GT(costNs(given, "b"), least) << "another length";
    EXPECT_GT(costNs(given, ""), least) << "no secret";
}

}  // namespace
