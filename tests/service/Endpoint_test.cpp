#include "service/RpcListener.h"

#include <gtest/gtest.h>

namespace
{

using vpnd::parseEndpoint;

TEST(ParseEndpointTest, AddressesWithAPortAreReadAndWritten)
{
    for (const char* text :
         {"127.0.0.1:9009", "0.0.0.0:0", "10.0.0.1:65535", "[::1]:9009", "[::]:1"}) {
        const auto endpoint = parseEndpoint(text);
        ASSERT_TRUE(endpoint) << text;
        EXPECT_EQ(vpnd::toText(*endpoint), text);
    }
}

TEST(ParseEndpointTest, EverythingElseIsRefused)
{
    for (const char* text : {"",
                             ":",
                             "127.0.0.1",
                             "127.0.0.1:",
                             ":9009",
                             "127.0.0.1:65536",
                             "127.0.0.1:-1",
                             "127.0.0.1:+1",
                             "127.0.0.1: 1",
                             "127.0.0.1:1 ",
                             "127.0.0.1:0x1",
                             "localhost:9009",
                             "127.0.1:9009",
                             "::1:9009",
                             "[::1]",
                             "[::1]9009",
                             "[127.0.0.1]:9009",
                             "[]:9009",
                             "[:9009",
                             "127.0.0.1:90:09"}) {
        EXPECT_FALSE(parseEndpoint(text)) << text;
    }
}

}  // namespace
