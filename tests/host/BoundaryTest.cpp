#include "tests/host/HostFixture.h"

#include <pthread.h>

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
    service().answer("getProductSn", "x").atSync = [] { pthread_testcancel(); };
    service().answer("setVPNPassword", 0).atSync = [] { pthread_testcancel(); };
    using ThreadMain = void* (*)(void*);
    const ThreadMain runs[] = {
        [](void* device) -> void* {
            pthread_cancel(pthread_self());
            const int wanted[] = {0, 0, 0, 0, 0, 0, 0, 1};
            static_cast<CDevCtrl*>(device)->CollectDevData(wanted, 8);
            return nullptr;
        },
        [](void* device) -> void* {
            pthread_cancel(pthread_self());
            char text[] = "abc123";
            static_cast<CDevCtrl*>(device)->WriteChannel(8, DATATYPE_STRING, text);
            return nullptr;
        },
    };
    for (const ThreadMain run : runs) {
        pthread_t thread{};
        ASSERT_EQ(pthread_create(&thread, nullptr, run, static_cast<CDevCtrl*>(&m_device)), 0);
        void* result = nullptr;
        ASSERT_EQ(pthread_join(thread, &result), 0);
        EXPECT_EQ(result, PTHREAD_CANCELED);
        EXPECT_EQ(service().events.back(), "client gone");
    }
}
