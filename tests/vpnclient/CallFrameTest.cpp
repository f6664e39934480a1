#include "tests/vpnclient/ClientFixture.h"

using scripted::Bytes;
using scripted::encoded;

class CallFrameTest : public ClientTest
{
};

TEST_F(CallFrameTest, OperationWithoutArgumentsSendsACountOfZeroAndNothingElse)
{
    service().answer("getVpnState", 5);
    m_client.getVpnState();
    EXPECT_EQ(sent(), Bytes("\0\0\0\0", 4));
}

TEST_F(CallFrameTest, AddressAndPortTravelAsCountTagValueTagValue)
{
    service().answer("setServerIPAndPort", 0);
    m_client.setServerIPAndPort("10.0.0.1", 1194);
    EXPECT_EQ(sent(), Bytes("\x02\0\0\0"
                            "\x11\0\0\0QZ::utils::String"
                            "\x08\0\0\0"
                            "10.0.0.1"
                            "\x03\0\0\0int"
                            "\xAA\x04\0\0",
                            4 + 21 + 12 + 7 + 4));
}

TEST_F(CallFrameTest, WrongTagIsTheUnpackFailure)
{
    service().answer("getVPNEnabled", 1);
    EXPECT_EQ(raisedBy([&] { m_client.getVPNEnabled(); }), "unpack failure");
}

TEST_F(CallFrameTest, RightTagWithAShortValueIsTheUnpackFailure)
{
    for (const int length : {0, 1, 2, 3}) {
        Bytes block = scripted::result(1);
        block.resize(block.size() - 4 + static_cast<std::size_t>(length));
        service().replies("getVpnState", block);
        EXPECT_EQ(raisedBy([&] { m_client.getVpnState(); }), "unpack failure") << length;
    }
}

TEST_F(CallFrameTest, EmptyReplyIsTheUnpackFailure)
{
    service().replies("getVpnState", "");
    EXPECT_EQ(raisedBy([&] { m_client.getVpnState(); }), "unpack failure");
}

TEST_F(CallFrameTest, NullResultBufferIsTheUnpackFailure)
{
    service().answer("getVpnState", 5).nullResult = true;
    EXPECT_EQ(raisedBy([&] { m_client.getVpnState(); }), "unpack failure");
}

TEST_F(CallFrameTest, NullArgumentBufferSendsTheCallWithoutArguments)
{
    service().answer("setBeatInterval", 0).nullArguments = true;
    EXPECT_EQ(raisedBy([&] { EXPECT_EQ(m_client.setBeatInterval(30), 0); }), "nothing");
    EXPECT_EQ(service().calls, scripted::Calls{"setBeatInterval"});
    EXPECT_EQ(sent(), "");
}

TEST_F(CallFrameTest, TagThatExtendsTheExpectedOneIsRefused)
{
    for (const char* tag : {"ints", "in", "Int", "int "}) {
        service().replies("stopVPN", encoded(std::string(tag)) + encoded(0));
        EXPECT_EQ(raisedBy([&] { m_client.stopVPN(); }), "unpack failure") << tag;
    }
    service().replies("stopVPN", encoded(std::string("int\0", 4)) + encoded(0));
    EXPECT_EQ(raisedBy([&] { m_client.stopVPN(); }), "unpack failure");
}

TEST_F(CallFrameTest, BlockErrorWhileReadingTheTagPassesUnchanged)
{
    service().answer("getVpnState", 5).atRead = scripted::raiseBlockError;
    EXPECT_EQ(raisedBy([&] { m_client.getVpnState(); }), "block error");
}

TEST_F(CallFrameTest, AnythingElseRaisedWhileReadingTheTagIsTheUnpackFailure)
{
    for (const auto& fault :
         {scripted::raiseNetException, scripted::raiseOther, scripted::raiseNumber}) {
        service().answer("getVpnState", 5).atRead = fault;
        EXPECT_EQ(raisedBy([&] { m_client.getVpnState(); }), "unpack failure");
    }
}

TEST_F(CallFrameTest, WhatTheReadOfASingleValueRaisesPassesUnchanged)
{
    // Reads of the tag: length, bytes; the value is the third.
    scripted::Answer& answer = service().answer("getVpnState", 5);
    answer.faultyRead = 2;
    answer.atRead = scripted::raiseNumber;
    EXPECT_EQ(raisedBy([&] { m_client.getVpnState(); }), "number");
    answer.atRead = scripted::raiseBlockError;
    EXPECT_EQ(raisedBy([&] { m_client.getVpnState(); }), "block error");
}

TEST_F(CallFrameTest, WhatSyncRaisesPassesUnchanged)
{
    service().fails("stopVPN", scripted::raiseNetException);
    EXPECT_EQ(raisedBy([&] { m_client.stopVPN(); }), "net scripted/fault");
    service().fails("stopVPN", scripted::raiseOther);
    EXPECT_EQ(raisedBy([&] { m_client.stopVPN(); }), "other");
    service().fails("stopVPN", scripted::raiseBlockError);
    EXPECT_EQ(raisedBy([&] { m_client.stopVPN(); }), "block error");
}

TEST_F(CallFrameTest, FailedExchangeIsNotRetried)
{
    service().fails("stopVPN");
    EXPECT_EQ(raisedBy([&] { m_client.stopVPN(); }), "net scripted/fault");
    EXPECT_EQ(service().calls.size(), 1u);
}

TEST_F(CallFrameTest, BoolIsReadAsAByteAndTestedAgainstZero)
{
    for (const auto& [byte, expected] :
         {std::pair{'\0', false}, {'\1', true}, {'\2', true}, {'\xFF', true}}) {
        service().replies("hasPassword", encoded(std::string("bool")) + byte);
        EXPECT_EQ(m_client.hasPassword(), expected) << static_cast<int>(byte);
    }
}

TEST_F(CallFrameTest, ClientByNameFailsInItsExchange)
{
    VPNRpcCtrlClient local;
    EXPECT_EQ(service().events.back(), "client Local");
    EXPECT_EQ(raisedBy([&] { local.stopVPN(); }), "net sync/no connection");
}

TEST_F(CallFrameTest, ClientAddsNothingToItsBase)
{
    EXPECT_EQ(sizeof(VPNRpcCtrlClient), sizeof(QZ::RPC::SyncProxy));
    EXPECT_FALSE(std::is_polymorphic_v<VPNRpcCtrlClient>);
}
