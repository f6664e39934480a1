// The checked variants of libc's headers would be definitions of their own.
#undef _FORTIFY_SOURCE

#include "platform/QZNet.h"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <dlfcn.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>

namespace
{

// Whether a socket gets the very port that it is connected to, as it may happen
// with a port from which clients get theirs.
bool takeThePortOfThePeer = false;

}  // namespace

extern "C" __attribute__((visibility("default"))) int connect(int fd, const sockaddr* peer,
                                                              socklen_t length)
{
    EXPECT_TRUE(!takeThePortOfThePeer || bind(fd, peer, length) == 0);
    void* const address = dlsym(RTLD_NEXT, "connect");
    decltype(&connect) next = nullptr;
    std::memcpy(&next, &address, sizeof next);
    return next(fd, peer, length);
}

namespace
{

class SelfConnectionTest : public testing::Test
{
protected:
    SelfConnectionTest()
    {
        // A port that is free: of the machine's choice, and given back.
        const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        socklen_t length = sizeof m_address;
        m_address.sin_family = AF_INET;
        m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        EXPECT_EQ(bind(fd, raw(), length), 0);
        EXPECT_EQ(getsockname(fd, raw(), &length), 0);
        close(fd);
    }
    ~SelfConnectionTest() override { takeThePortOfThePeer = false; }

    sockaddr* raw() { return reinterpret_cast<sockaddr*>(&m_address); }
    int connectTcp()
    {
        const std::string text = "127.0.0.1:" + std::to_string(ntohs(m_address.sin_port));
        const std::unique_ptr<QZ::Net::IClientFactory> factory(QZ::Net::TCPClient::NewFactory());
        return factory->connect(QZ::Net::Address(text.c_str()), 3000);
    }

    sockaddr_in m_address = {};
};

TEST_F(SelfConnectionTest, ASocketCanBeConnectedToItself)
{
    takeThePortOfThePeer = true;
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(connect(fd, raw(), sizeof m_address), 0);
    const linger abort = {1, 0};
    setsockopt(fd, SOL_SOCKET, SO_LINGER, &abort, sizeof abort);
    close(fd);
}

TEST_F(SelfConnectionTest, SuchAConnectionIsNone)
{
    takeThePortOfThePeer = true;
    EXPECT_EQ(connectTcp(), -1);
}

TEST_F(SelfConnectionTest, TheServiceGetsItsPortAtOnceAfterwards)
{
    takeThePortOfThePeer = true;
    ASSERT_EQ(connectTcp(), -1);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(bind(fd, raw(), sizeof m_address), 0) << strerror(errno);
    EXPECT_EQ(listen(fd, 1), 0);
    takeThePortOfThePeer = false;
    const int client = connectTcp();
    EXPECT_GE(client, 0);
    close(client);
    close(fd);
}

}  // namespace
