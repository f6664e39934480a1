#include "service/net/Endpoint.h"

#include <gtest/gtest.h>

namespace
{

using vpnd::Endpoint;

TEST(EndpointTest, AddressesWithAPortAreReadAndWritten)
{
    for (const char* text :
         {"127.0.0.1:9009", "0.0.0.0:0", "10.0.0.1:65535", "[::1]:9009", "[::]:1"}) {
        const auto endpoint = Endpoint::parse(text);
        ASSERT_TRUE(endpoint) << text;
        EXPECT_EQ(endpoint->text(), text);
    }
}

TEST(EndpointTest, EverythingElseIsRefused)
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
        EXPECT_FALSE(Endpoint::parse(text)) << text;
    }
}

}  // namespace
