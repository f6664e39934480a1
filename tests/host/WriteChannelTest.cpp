#include "tests/host/HostFixture.h"

#include <climits>
#include <cstring>

// The command text that a write becomes is seen at the service: a write to the
// password or user name channel carries it there when it is valid.
class WriteChannelTest : public HostTest
{
protected:
    WriteChannelTest()
    {
        init();
        service().answer("setVPNPassword", 0);
        service().answer("setVPNUserName", 0);
    }
    int writeText(int channel, const std::string& text)
    {
        std::string buffer = text;
        return m_device.WriteChannel(channel, DATATYPE_STRING, buffer.data());
    }
    std::string sentText()
    {
        if (service().arguments.empty()) return "(nothing sent)";
        return service().arguments.back().substr(4 + 21 + 4);
    }
};

TEST_F(WriteChannelTest, BadArgumentsAreRefused)
{
    int value = 1;
    EXPECT_EQ(m_device.WriteChannel(0, DATATYPE_INT, nullptr), kStatusFailed);
    EXPECT_EQ(m_device.WriteChannel(-1, DATATYPE_INT, &value), kStatusFailed);
}

TEST_F(WriteChannelTest, TextReachesTheChannelWithTheNextNumber)
{
    EXPECT_EQ(writeText(8, "abc123"), 0);
    EXPECT_EQ(service().calls.back(), "setVPNPassword");
    EXPECT_EQ(sentText(), "abc123");
    EXPECT_EQ(writeText(9, "vpnuser"), 0);
    EXPECT_EQ(service().calls.back(), "setVPNUserName");
}

TEST_F(WriteChannelTest, IntegerIsWrittenInDecimal)
{
    int value = 123456;
    EXPECT_EQ(m_device.WriteChannel(8, DATATYPE_INT, &value), 0);
    EXPECT_EQ(sentText(), "123456");
}

TEST_F(WriteChannelTest, DoubleIsWrittenWithItsDecimalPointAndSoRefused)
{
    double value = 1.5;
    EXPECT_EQ(m_device.WriteChannel(8, DATATYPE_DOUBLE, &value), 5);
    EXPECT_EQ(m_device.WriteChannel(0, DATATYPE_DOUBLE, &value), 4);
    value = 1e308;
    EXPECT_EQ(m_device.WriteChannel(8, DATATYPE_DOUBLE, &value), 5);
    EXPECT_TRUE(service().calls.empty());
}

TEST_F(WriteChannelTest, ChannelsBehindTheLastAreIgnored)
{
    EXPECT_EQ(writeText(10, "abc123"), 0);
    EXPECT_EQ(writeText(INT_MAX, "abc123"), 0) << "the number wraps without overflow";
    EXPECT_TRUE(service().events.empty());
}

TEST_F(WriteChannelTest, UnknownTypeSendsAnEmptyCommand)
{
    int value = 1;
    for (const int type : {0, 4, -2}) {
        EXPECT_EQ(m_device.WriteChannel(8, static_cast<DATATYPE>(type), &value), 5);
    }
    EXPECT_TRUE(service().events.empty());
    EXPECT_EQ(m_device.m_arrValues.GetSize(), 11) << "but it is run";
}

TEST_F(WriteChannelTest, UnalignedNumbersAreRead)
{
    unsigned char bytes[12] = {};
    const int value = 1234567;
    std::memcpy(bytes + 1, &value, sizeof value);
    EXPECT_EQ(m_device.WriteChannel(8, DATATYPE_INT, bytes + 1), 0);
    EXPECT_EQ(sentText(), "1234567");
    const double number = 2.0;
    std::memcpy(bytes + 3, &number, sizeof number);
    EXPECT_EQ(m_device.WriteChannel(0, DATATYPE_DOUBLE, bytes + 3), 4);
}

TEST_F(WriteChannelTest, TextIsNeverAFormat)
{
    EXPECT_EQ(writeText(8, "%s%n%d%s"), 5);
    EXPECT_EQ(writeText(8, "abc123)%n"), 0);
    EXPECT_EQ(sentText(), "abc123");
}

TEST_F(WriteChannelTest, TextOfAMegabyteIsLegalAndRefusedByItsLength)
{
    EXPECT_EQ(writeText(8, std::string(1024 * 1024, 'a')), 5);
    EXPECT_TRUE(service().calls.empty());
}

TEST_F(WriteChannelTest, WriteBeforeInitialisationGivesNoService)
{
    m_device.CleanupDevice();
    EXPECT_EQ(writeText(8, "abc123"), 1);
}
