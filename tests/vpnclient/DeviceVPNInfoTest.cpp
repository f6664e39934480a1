#include "tests/vpnclient/ClientFixture.h"

using scripted::Bytes;
using scripted::encoded;

class DeviceVPNInfoTest : public ClientTest
{
protected:
    static DeviceVPNInfo sample()
    {
        DeviceVPNInfo info;
        info.status = 2;
        info.serverIP = "vpn.example.com";
        info.serverPort = 1194;
        info.deviceName = "panel";
        info.vpnIP = "10.8.0.2";
        info.beatInterval = 30;
        return info;
    }
};

TEST_F(DeviceVPNInfoTest, FreshRecordIsIdleAndEmpty)
{
    const DeviceVPNInfo info;
    EXPECT_EQ(info.status, 1);
    EXPECT_EQ(info.serverPort, 0);
    EXPECT_EQ(info.beatInterval, 0);
    EXPECT_EQ(info.serverIP, "");
    EXPECT_EQ(info.deviceName, "");
    EXPECT_EQ(info.vpnIP, "");
}

TEST_F(DeviceVPNInfoTest, FieldsTravelBackToBackWithoutTags)
{
    service().replies("getDeviceVPNInfo", Bytes("\x0d\0\0\0DeviceVPNInfo"
                                                "\x02\0\0\0"
                                                "\x01\0\0\0s"
                                                "\xAA\x04\0\0"
                                                "\x01\0\0\0n"
                                                "\x01\0\0\0v"
                                                "\x1E\0\0\0",
                                                17 + 4 + 5 + 4 + 5 + 5 + 4));
    const DeviceVPNInfo info = m_client.getDeviceVPNInfo();
    EXPECT_EQ(info.status, 2);
    EXPECT_EQ(info.serverIP, "s");
    EXPECT_EQ(info.serverPort, 1194);
    EXPECT_EQ(info.deviceName, "n");
    EXPECT_EQ(info.vpnIP, "v");
    EXPECT_EQ(info.beatInterval, 30);
}

TEST_F(DeviceVPNInfoTest, ReplyThatEndsAfterTheServerPortGivesNoRecord)
{
    const Bytes block = encoded(std::string("DeviceVPNInfo")) + encoded(2) +
                        encoded(std::string("vpn.example.com")) + encoded(1194);
    service().replies("getDeviceVPNInfo", block);
    DeviceVPNInfo info;
    EXPECT_EQ(raisedBy([&] { info = m_client.getDeviceVPNInfo(); }), "unpack failure");
    EXPECT_EQ(info.serverIP, "");
}

TEST_F(DeviceVPNInfoTest, TagIsComparedExactly)
{
    for (const char* tag : {"DeviceVpnInfo", "deviceVPNInfo", "DeviceVPNInfo ", " DeviceVPNInfo"}) {
        Bytes block = scripted::result(sample());
        block.erase(0, 4 + 13);
        service().replies("getDeviceVPNInfo", encoded(std::string(tag)) + block);
        EXPECT_EQ(raisedBy([&] { m_client.getDeviceVPNInfo(); }), "unpack failure") << tag;
    }
}

TEST_F(DeviceVPNInfoTest, ReadingStopsAtTheFirstFieldThatFails)
{
    // Reads: tag length, tag, status, then each string as length and bytes.
    scripted::Answer& answer = service().answer("getDeviceVPNInfo", sample());
    for (int read = 2; read < 11; ++read) {
        answer.readFails = read;
        service().readsOfResults = 0;
        EXPECT_EQ(raisedBy([&] { m_client.getDeviceVPNInfo(); }), "unpack failure") << read;
        EXPECT_EQ(service().readsOfResults, read + 1);
    }
    answer.readFails = 11;
    EXPECT_EQ(raisedBy([&] { m_client.getDeviceVPNInfo(); }), "nothing");
}

TEST_F(DeviceVPNInfoTest, BlockErrorInAnyFieldPassesAndAnythingElseIsTheUnpackFailure)
{
    scripted::Answer& answer = service().answer("getDeviceVPNInfo", sample());
    for (int read = 2; read < 11; ++read) {
        answer.faultyRead = read;
        answer.atRead = scripted::raiseBlockError;
        EXPECT_EQ(raisedBy([&] { m_client.getDeviceVPNInfo(); }), "block error") << read;
        for (const auto& fault :
             {scripted::raiseOther, scripted::raiseNumber, scripted::raiseNetException}) {
            answer.atRead = fault;
            EXPECT_EQ(raisedBy([&] { m_client.getDeviceVPNInfo(); }), "unpack failure") << read;
        }
    }
}
