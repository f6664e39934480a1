#include "tests/host/HostFixture.h"
#include "tests/platform/Cancellation.h"

// No exception leaves an operation of the host interface.
class BoundaryTest : public HostTest
{
protected:
    BoundaryTest()
    {
        service().answersAll();
        init();
    }
};

TEST_F(BoundaryTest, WhatACollectionRaisesBecomesAFailureAndNothingIsPublished)
{
    for (const auto& fault :
         {scripted::raiseBlockError, scripted::raiseOther, scripted::raiseNumber}) {
        service().fails("getProductSn", fault);
        EXPECT_EQ(collectAll(), kStatusFailed);
        EXPECT_TRUE(host().published.empty());
    }
    service().answersAll();
    EXPECT_EQ(collectAll(), 0) << "the object goes on working";
}

TEST_F(BoundaryTest, WhatACommandRaisesBecomesAFailure)
{
    host().variables["r"] = 0;
    for (const auto& fault :
         {scripted::raiseBlockError, scripted::raiseOther, scripted::raiseNumber}) {
        service().fails("stopVPN", fault);
        EXPECT_EQ(m_device.DevIOCtrl("STOPVPN(r)"), kStatusFailed);
    }
}

TEST_F(BoundaryTest, WhatTheHostItselfRaisesStaysInside)
{
    m_communication.hook = scripted::raiseOther;
    EXPECT_EQ(m_device.UpdataCommunication(&m_communication), kStatusFailed);
    int value = 1;
    EXPECT_EQ(collectAll(), kStatusFailed);
    EXPECT_EQ(m_device.DevIOCtrl("REFRESH()"), kStatusFailed);
    EXPECT_EQ(m_device.WriteChannel(0, DATATYPE_INT, &value), kStatusFailed);
    m_communication.hook = nullptr;

    host().hook = scripted::raiseNumber;
    EXPECT_EQ(collectAll(), kStatusFailed);
}

TEST_F(BoundaryTest, CleanupAnswersZeroWhateverHappens)
{
    collectAll();
    service().atStop = scripted::raiseOther;
    EXPECT_EQ(m_device.CleanupDevice(), 0);
    EXPECT_EQ(m_device.m_data.pDevData, nullptr);
    EXPECT_EQ(service().connectionsAlive, 0);
}

TEST_F(BoundaryTest, CancelledThreadUnwindsThroughTheDriver)
{
    service().answer("getProductSn", "x").atSync = pthread_testcancel;
    service().answer("setVPNPassword", 0).atSync = pthread_testcancel;
    EXPECT_TRUE(cancellation::endsAtOnce([this] { collectAll(); }));
    EXPECT_EQ(service().events.back(), "client gone");
    EXPECT_TRUE(cancellation::endsAtOnce([this] {
        char text[] = "abc123";
        m_device.WriteChannel(8, DATATYPE_STRING, text);
    }));
    EXPECT_EQ(service().events.back(), "client gone");
}

TEST_F(BoundaryTest, CancelledThreadUnwindsFromEveryReadOfAResult)
{
    for (const char* method :
         {"getDeviceVPNInfo", "getVPNEnabled", "getVpnState", "getProductSn"}) {
        int read = 0;
        const auto endsAtRead = [&] {
            service().answersAll();
            service().answers[method].atRead = pthread_testcancel;
            service().answers[method].faultyRead = read;
            return cancellation::endsAtOnce([this] { collectAll(); });
        };
        for (; endsAtRead(); ++read) {
            EXPECT_EQ(service().calls.back(), method);
            EXPECT_EQ(service().events.back(), "client gone");
        }
        EXPECT_GE(read, 3) << method << ": the tag's length, the tag, the value";
    }
    EXPECT_EQ(collectAll(), 0) << "the object goes on working";
    EXPECT_EQ(service().connectionsAlive, 1);
}
