#include "platform/QZNet.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>
#include <type_traits>

namespace
{

using QZ::Net::Address;
using QZ::Net::Exception;

TEST(ExceptionTest, CopiesBothTexts)
{
    std::string func("func");
    std::string info("info");
    const Exception exception(func.c_str(), info.c_str());
    func = info = "gone";
    EXPECT_STREQ(exception.func(), "func");
    EXPECT_STREQ(exception.info(), "info");
}

TEST(ExceptionTest, NullTextsBecomeEmpty)
{
    const Exception exception(nullptr, nullptr);
    EXPECT_STREQ(exception.func(), "");
    EXPECT_STREQ(exception.info(), "");
}

TEST(ExceptionTest, AHandlerForStandardExceptionsDoesNotSeeIt)
{
    static_assert(!std::is_base_of_v<std::exception, Exception>);
    bool seen = false;
    try {
        try {
            throw Exception("a", "b");
        } catch (const std::exception&) {
            FAIL();
        }
    } catch (const Exception&) {
        seen = true;
    }
    EXPECT_TRUE(seen);
}

TEST(AddressTest, ReadsAddressAndPort)
{
    const Address service("127.0.0.1:9009");
    EXPECT_EQ(service.ip(), 0x7F000001u);
    EXPECT_EQ(service.port(), 9009);
    const Address highest("255.255.255.255:65535");
    EXPECT_EQ(highest.ip(), 0xFFFFFFFFu);
    EXPECT_EQ(highest.port(), 65535);
    const Address lowest("0.0.0.0:1");
    EXPECT_EQ(lowest.ip(), 0u);
    EXPECT_EQ(lowest.port(), 1);
}

TEST(AddressTest, RaisesOnEveryOtherText)
{
    const char* const texts[] = {
        "",
        ":",
        "127.0.0.1",
        "127.0.0.1:",
        ":9009",
        "127.0.0.1:0",
        "127.0.0.1:65536",
        "127.0.0.1:99999999999999999999",
        "127.0.0.1:-1",
        "127.0.0.1:+1",
        "127.0.0.1: 1",
        "127.0.0.1:1 ",
        " 127.0.0.1:1",
        "127.0.0.1:0x50",
        "127.0.0.1:80a",
        "127.0.0.1:080",
        "127.0.0:9009",
        "127.0.0.1.1:9009",
        "127..0.1:9009",
        ".127.0.0.1:9009",
        "127.0.0.1.:9009",
        "256.0.0.1:9009",
        "127.0.0.4294967297:9009",
        "127.0.0.01:9009",
        "0x7f.0.0.1:9009",
        "127.0.0.-1:9009",
        "127.0.0.1;9009",
        "127.0.0.1:9009:1",
        "localhost:9009",
        "[::1]:9009",
    };
    for (const char* const text : texts) {
        EXPECT_THROW(Address{text}, Exception) << '"' << text << '"';
    }
    EXPECT_THROW(Address{nullptr}, Exception);
}

}  // namespace
