#include "tests/device/DeviceFixture.h"

#include <stdexcept>

using scripted::Events;

class ServiceConnectionTest : public DeviceTest
{
};

TEST_F(ServiceConnectionTest, NoRecordGivesNoConnection)
{
    EXPECT_FALSE(CDevBas::initData(nullptr));
    EXPECT_TRUE(service().events.empty());
}

TEST_F(ServiceConnectionTest, FreshConnectionGoesToTheFixedAddressAndIsAskedOnce)
{
    EXPECT_TRUE(CDevBas::initData(&record()));
    EXPECT_NE(record().pDispatchClient, nullptr);
    EXPECT_EQ(service().events, (Events{"factory", "connect 127.0.0.1:9009", "online"}));
}

TEST_F(ServiceConnectionTest, HealthyConnectionIsAskedTwiceAndNothingIsMade)
{
    connect();
    EXPECT_TRUE(CDevBas::initData(&record()));
    EXPECT_EQ(service().events, (Events{"online", "online"}));
}

TEST_F(ServiceConnectionTest, SecondAnswerFalseDropsWithoutANewAttempt)
{
    connect();
    service().onlineAnswers = {true, false};
    EXPECT_FALSE(CDevBas::initData(&record()));
    EXPECT_EQ(service().events, (Events{"online", "online", "stop", "destroy"}));
    EXPECT_EQ(record().pDispatchClient, nullptr);
}

TEST_F(ServiceConnectionTest, FirstAnswerFalseDropsAndMakesOneFreshAttempt)
{
    connect();
    service().onlineAnswers = {false};
    EXPECT_TRUE(CDevBas::initData(&record()));
    EXPECT_EQ(service().events,
              (Events{"online", "stop", "destroy", "factory", "connect 127.0.0.1:9009", "online"}));
}

TEST_F(ServiceConnectionTest, FreshConnectionThatIsNotUpIsDropped)
{
    service().onlineAnswers = {false};
    EXPECT_FALSE(CDevBas::initData(&record()));
    EXPECT_EQ(record().pDispatchClient, nullptr);
    EXPECT_EQ(service().events,
              (Events{"factory", "connect 127.0.0.1:9009", "online", "stop", "destroy"}));
    EXPECT_TRUE(CDevBas::initData(&record())) << "the next call tries again";
    EXPECT_EQ(service().count("connect 127.0.0.1:9009"), 2);
}

TEST_F(ServiceConnectionTest, NetExceptionAnywhereEndsWithoutAConnectionAndInSilence)
{
    scripted::Fault scripted::Service::*const steps[] = {
        &scripted::Service::atFactory, &scripted::Service::atConstruction,
        &scripted::Service::atOnline, &scripted::Service::atStop};
    for (const auto step : steps) {
        scripted::resetService();
        service().*step = scripted::raiseNetException;
        service().onlineAnswers = {false};
        EXPECT_EQ(outputOf([&] { EXPECT_FALSE(CDevBas::initData(&record())); }), "");
        EXPECT_EQ(record().pDispatchClient, nullptr);
        EXPECT_EQ(service().connectionsAlive, 0);
        EXPECT_EQ(service().factoriesAlive, 0);
    }
}

TEST_F(ServiceConnectionTest, OfflineConnectionThatCanNotBeStoppedEndsTheAttempt)
{
    connect();
    service().onlineAnswers = {false};
    service().atStop = scripted::raiseNetException;
    EXPECT_FALSE(CDevBas::initData(&record()));
    EXPECT_EQ(record().pDispatchClient, nullptr);
    EXPECT_EQ(service().connectionsAlive, 0);
}

TEST_F(ServiceConnectionTest, NetExceptionOfAnExistingConnectionDropsIt)
{
    connect();
    service().atOnline = scripted::raiseNetException;
    EXPECT_FALSE(CDevBas::initData(&record()));
    EXPECT_EQ(service().events, (Events{"online", "stop", "destroy"}));
    EXPECT_EQ(record().pDispatchClient, nullptr);
}

TEST_F(ServiceConnectionTest, WhateverStopRaisesTheConnectionIsGoneAndTheAttemptFailed)
{
    for (const auto& fault : {scripted::raiseOther, scripted::raiseNumber}) {
        service().atStop = nullptr;
        connect();
        service().onlineAnswers = {false};
        service().atStop = fault;
        EXPECT_FALSE(CDevBas::initData(&record()));
        EXPECT_EQ(service().events, (Events{"online", "stop", "destroy"}));
        EXPECT_EQ(record().pDispatchClient, nullptr);
    }
}

TEST_F(ServiceConnectionTest, OtherExceptionsPass)
{
    for (const auto step : {&scripted::Service::atFactory, &scripted::Service::atConstruction,
                            &scripted::Service::atOnline}) {
        scripted::resetService();
        service().*step = scripted::raiseOther;
        EXPECT_THROW(CDevBas::initData(&record()), std::runtime_error);
        service().atOnline = nullptr;
        orva_device::SvrExitDevRun(m_data);
    }
}
