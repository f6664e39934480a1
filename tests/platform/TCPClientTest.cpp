#include "platform/QZNet.h"

#include "tests/platform/Interruptions.h"
#include "tests/platform/PeerLink.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{

using QZ::Net::Address;

sockaddr_in loopback(std::uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port);
    return address;
}

int tcpSocket()
{
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_GE(fd, 0);
    return fd;
}

bool connectTo(int fd, std::uint16_t port)
{
    const sockaddr_in address = loopback(port);
    return connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

// A port of the machine's choice, taken; listening when there is a backlog.
class Port
{
public:
    explicit Port(int backlog) : m_fd(tcpSocket())
    {
        sockaddr_in own = loopback(0);
        socklen_t length = sizeof own;
        EXPECT_EQ(bind(m_fd, reinterpret_cast<sockaddr*>(&own), sizeof own), 0);
        EXPECT_EQ(getsockname(m_fd, reinterpret_cast<sockaddr*>(&own), &length), 0);
        m_number = ntohs(own.sin_port);
        EXPECT_TRUE(backlog < 0 || listen(m_fd, backlog) == 0);
    }
    ~Port() { release(); }
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;

    std::uint16_t number() const { return m_number; }
    Address address() const { return Address(("127.0.0.1:" + std::to_string(m_number)).c_str()); }
    int accept() const { return ::accept(m_fd, nullptr, nullptr); }
    void release()
    {
        if (m_fd >= 0) close(m_fd);
        m_fd = -1;
    }

private:
    int m_fd;
    std::uint16_t m_number = 0;
};

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

// A listener whose queue is full lets further connections wait.
void expectTheTimeOutOfAConnectionThatDoesNotComeUp()
{
    const Port port(0);
    std::vector<int> waiting;
    for (int i = 0; i < 8; ++i) {
        waiting.push_back(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        connectTo(waiting.back(), port.number());
    }
    const auto begin = std::chrono::steady_clock::now();
    const int fd = connectTcp(port.address(), 100);
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - begin;
    EXPECT_EQ(fd, -1);
    EXPECT_GE(time.count(), 100);
    EXPECT_LE(time.count(), 1000);
    for (const int other : waiting) close(other);
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
