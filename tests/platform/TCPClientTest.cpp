#include "platform/QZNet.h"

#include "tests/platform/Interruptions.h"
#include "tests/platform/PeerLink.h"
#include "tests/platform/Port.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <chrono>
#include <memory>
#include <thread>

namespace
{

using QZ::Net::Address;

int connectTcp(const Address& address, unsigned int timeOutMs)
{
    const std::unique_ptr<QZ::Net::IClientFactory> factory(QZ::Net::TCPClient::NewFactory());
    return factory->connect(address, timeOutMs);
}

TEST(TCPClientTest, AConnectedSocketBlocksAndHasNoDelayAndClosesOnExec)
{
    const Port port(1);
    const int fd = connectTcp(port.address(), 3000);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(fcntl(fd, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_EQ(fcntl(fd, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    int noDelay = 0;
    socklen_t length = sizeof noDelay;
    EXPECT_EQ(getsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &noDelay, &length), 0);
    EXPECT_NE(noDelay, 0);
    close(fd);
}

TEST(TCPClientTest, ARefusedConnectionIsNone)
{
    const Port port(-1);
    EXPECT_EQ(connectTcp(port.address(), 3000), -1);
}

TEST(TCPClientTest, AnUnreachableAddressIsNone)
{
    EXPECT_EQ(connectTcp(Address("255.255.255.255:9"), 3000), -1);
}

void expectTheTimeOutOfAConnectionThatDoesNotComeUp()
{
    const FullPort port;
    const auto begin = std::chrono::steady_clock::now();
    const int fd = connectTcp(port.address(), 100);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(fd, -1);
    EXPECT_GE(time.count(), 100);
    EXPECT_LE(time.count(), 1000);
}

TEST(TCPClientTest, AConnectionThatDoesNotComeUpEndsWithTheTimeOut)
{
    expectTheTimeOutOfAConnectionThatDoesNotComeUp();
}

TEST(TCPClientTest, InterruptionsNeitherShortenNorProlongTheTimeToConnect)
{
    const Interruptions interruptions;
    expectTheTimeOutOfAConnectionThatDoesNotComeUp();
}

TEST(TCPClientTest, CallsGoOverTcp)
{
    const Port port(1);
    std::thread service([&port] {
        const int fd = port.accept();
        unsigned char request[22];
        EXPECT_EQ(recv(fd, request, sizeof request, MSG_WAITALL), 22);
        const peer_link::Bytes answer = peer_link::reply(1, "over tcp");
        EXPECT_EQ(send(fd, answer.data(), answer.size(), MSG_NOSIGNAL),
                  static_cast<ssize_t>(answer.size()));
        char byte = 0;
        EXPECT_EQ(recv(fd, &byte, 1, 0), 0);
        close(fd);
    });
    QZ::RPC::DispatchClient client(port.address(), QZ::Net::TCPClient::NewFactory());
    EXPECT_TRUE(client.online());
    EXPECT_EQ(peer_link::call(client, 5000, "abcd").block, "over tcp");
    client.stop();
    service.join();
}

TEST(TCPClientTest, APeerThatAbortsIsNoticed)
{
    const Port port(1);
    QZ::RPC::DispatchClient client(port.address(), QZ::Net::TCPClient::NewFactory());
    const int fd = port.accept();
    const linger abort = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    close(fd);
    EXPECT_FALSE(client.online());
    EXPECT_TRUE(peer_link::call(client, 5000).raised);
    EXPECT_FALSE(client.online());
}

}  // namespace
