#include "tests/device/DeviceFixture.h"

class ChannelWriteTest : public DeviceTest
{
protected:
    ChannelWriteTest()
    {
        service().answer("setVPNPassword", 0);
        service().answer("setVPNUserName", 0);
    }
};

TEST_F(ChannelWriteTest, PasswordReachesTheService)
{
    EXPECT_EQ(command("ORVA_WRITE(9=abc123)"), 0);
    EXPECT_EQ(service().calls, scripted::Calls{"setVPNPassword"});
    EXPECT_EQ(service().arguments.back(), scripted::encoded(1) + textArgument("abc123"));
}

TEST_F(ChannelWriteTest, UserNameReachesTheService)
{
    EXPECT_EQ(command("ORVA_WRITE(10=vpnuser)"), 0);
    EXPECT_EQ(service().calls, scripted::Calls{"setVPNUserName"});
    EXPECT_EQ(service().arguments.back(), scripted::encoded(1) + textArgument("vpnuser"));
}

TEST_F(ChannelWriteTest, AnyNonZeroAnswerIsARefusal)
{
    for (const int answer : {1, 2, 3, -1}) {
        service().answer("setVPNPassword", answer);
        service().answer("setVPNUserName", answer);
        EXPECT_EQ(command("ORVA_WRITE(9=abc123)"), 5) << answer;
        EXPECT_EQ(command("ORVA_WRITE(10=vpnuser)"), 5) << answer;
    }
}

TEST_F(ChannelWriteTest, RefusedValuesNeverReachTheService)
{
    for (const char* text : {"ORVA_WRITE(10=user01)", "ORVA_WRITE(9=abc12)",
                             "ORVA_WRITE(9=abc_123)", "ORVA_WRITE(9=1.000000)", "ORVA_WRITE(9=)",
                             "ORVA_WRITE(10=abcde)", "ORVA_WRITE(9=ab=cdef)"}) {
        EXPECT_EQ(command(text), 5) << text;
    }
    EXPECT_TRUE(service().calls.empty());
}

TEST_F(ChannelWriteTest, ReadOnlyChannelsAreRefusedWithoutAConnection)
{
    for (int channel = 1; channel <= 8; ++channel) {
        EXPECT_EQ(command("ORVA_WRITE(" + std::to_string(channel) + "=1194.000000)"), 4);
    }
    EXPECT_TRUE(service().events.empty());
}

TEST_F(ChannelWriteTest, OtherChannelsAreIgnoredWithoutAConnection)
{
    for (const char* text : {"ORVA_WRITE(11=x)", "ORVA_WRITE(0=x)", "ORVA_WRITE(-9=abc123)",
                             "ORVA_WRITE(=x)", "ORVA_WRITE(password=x)", "ORVA_WRITE(1e300=x)",
                             "ORVA_WRITE(nan=x)", "ORVA_WRITE(inf=x)", "ORVA_WRITE(0.9=x)"}) {
        EXPECT_EQ(command(text), 0) << text;
    }
    EXPECT_TRUE(service().events.empty());
}

TEST_F(ChannelWriteTest, ChannelNumberIsTruncated)
{
    EXPECT_EQ(command("ORVA_WRITE(9.9=abc123)"), 0);
    EXPECT_EQ(service().calls.back(), "setVPNPassword");
}

TEST_F(ChannelWriteTest, MissingEqualsSignIsMalformed)
{
    EXPECT_EQ(command("ORVA_WRITE(9)"), -1);
    EXPECT_EQ(command("ORVA_WRITE()"), -1);
    EXPECT_TRUE(service().events.empty());
}

TEST_F(ChannelWriteTest, BlanksAroundBothSidesAreTrimmed)
{
    EXPECT_EQ(command("ORVA_WRITE( 9 = abc123 )"), 0);
    EXPECT_EQ(service().arguments.back(), scripted::encoded(1) + textArgument("abc123"));
}

TEST_F(ChannelWriteTest, WrittenTextIsCutAtItsFirstClosingParenthesis)
{
    EXPECT_EQ(command("ORVA_WRITE(9=abc123)def)"), 0);
    EXPECT_EQ(service().arguments.back(), scripted::encoded(1) + textArgument("abc123"));
}

TEST_F(ChannelWriteTest, ConnectionComesBeforeTheValidator)
{
    service().onlineAnswers = {false};
    EXPECT_EQ(command("ORVA_WRITE(10=user01)"), 1);
}

TEST_F(ChannelWriteTest, EveryExceptionEndsInSilenceWithADroppedConnection)
{
    for (const auto& fault : {scripted::raiseNetException, scripted::raiseOther,
                              scripted::raiseBlockError, scripted::raiseNumber}) {
        service().fails("setVPNPassword", fault);
        EXPECT_EQ(outputOf([&] { EXPECT_EQ(command("ORVA_WRITE(9=abc123)"), 1); }), "");
        EXPECT_EQ(record().pDispatchClient, nullptr);
        EXPECT_EQ(service().connectionsAlive, 0);
    }
}

TEST_F(ChannelWriteTest, WhatTheConnectionLetsThroughIsCaughtToo)
{
    connect();
    service().atOnline = scripted::raiseOther;
    EXPECT_EQ(command("ORVA_WRITE(9=abc123)"), 1);
    EXPECT_EQ(service().connectionsAlive, 0);
}

TEST_F(ChannelWriteTest, OnlyTheFirstEqualsSignSplits)
{
    EXPECT_EQ(command("ORVA_WRITE(9=ab=cdefgh)"), 5);
    EXPECT_TRUE(service().calls.empty());
}

TEST_F(ChannelWriteTest, ClientIsMadeBeforeTheValidator)
{
    service().atClient = scripted::raiseOther;
    EXPECT_EQ(command("ORVA_WRITE(9=no_good)"), 1);
}

TEST_F(ChannelWriteTest, MissingRecordGivesNoService)
{
    CString text("ORVA_WRITE(9=abc123)");
    EXPECT_EQ(CDevBas::mfDevIOCtrl(m_data, text, m_numbers, m_texts), 1);
}
