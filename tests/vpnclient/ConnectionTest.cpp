#include "tests/vpnclient/ClientFixture.h"
#include "vpnclient/Connection.h"

class DropConnectionTest : scripted::FreshService, public testing::Test
{
protected:
    QZ::RPC::DispatchClient* m_connection = new QZ::RPC::DispatchClient(
        QZ::Net::Address("127.0.0.1:9009"), QZ::Net::TCPClient::NewFactory());
    scripted::Events& events() { return scripted::service().events; }
};

TEST_F(DropConnectionTest, StopsThenDestroysThenClears)
{
    events().clear();
    EXPECT_TRUE(dropConnection(m_connection));
    EXPECT_EQ(m_connection, nullptr);
    EXPECT_EQ(events(), (scripted::Events{"stop", "destroy"}));
    EXPECT_EQ(scripted::service().factoriesAlive, 0);
}

TEST_F(DropConnectionTest, LeavesANullPointerAlone)
{
    QZ::RPC::DispatchClient* none = nullptr;
    events().clear();
    EXPECT_TRUE(dropConnection(none));
    EXPECT_TRUE(events().empty());
    dropConnection(m_connection);
}

TEST_F(DropConnectionTest, SurvivesAStopThatThrows)
{
    for (const auto& fault :
         {scripted::raiseNetException, scripted::raiseOther, scripted::raiseNumber}) {
        if (m_connection == nullptr) {
            m_connection = new QZ::RPC::DispatchClient(QZ::Net::Address("127.0.0.1:9009"),
                                                       QZ::Net::TCPClient::NewFactory());
        }
        scripted::service().atStop = fault;
        EXPECT_FALSE(dropConnection(m_connection));
        EXPECT_EQ(m_connection, nullptr);
        EXPECT_EQ(scripted::service().connectionsAlive, 0);
    }
}
