#include "tests/platform/Cancellation.h"

#include "platform/FileDescriptor.h"
#include "tests/platform/PeerLink.h"
#include "tests/platform/Port.h"

#include <gtest/gtest.h>

#include <fcntl.h>

#include <memory>
#include <string>

// A thread that the host cancels inside the platform leaks nothing, stops no unwind and
// leaves no connection whose next call could be misunderstood.
namespace
{

using namespace cancellation;
using namespace peer_link;
using QZ::Net::FileDescriptor;

constexpr int kTimes = 20;

bool isOpen(int fd) { return fcntl(fd, F_GETFD) >= 0; }

int newDescriptor() { return open("/dev/null", O_RDONLY | O_CLOEXEC); }

TEST(FileDescriptorTest, IsClosedByItsOwnerUnlessItWasReleased)
{
    EXPECT_FALSE(FileDescriptor().isOpen());
    const int first = newDescriptor();
    const int second = newDescriptor();
    {
        FileDescriptor owner(first);
        EXPECT_TRUE(owner.isOpen());
        EXPECT_EQ(owner.get(), first);
        owner.reset(second);
        EXPECT_FALSE(isOpen(first));
        EXPECT_EQ(owner.release(), second);
        EXPECT_FALSE(owner.isOpen());
    }
    EXPECT_TRUE(isOpen(second));
    FileDescriptor(second).reset();
    EXPECT_FALSE(isOpen(second));
}

TEST(FileDescriptorTest, ClosingIsNeverWhereACancelledThreadEnds)
{
    const int first = newDescriptor();
    const int second = newDescriptor();
    bool closed = false;
    EXPECT_TRUE(endsAtOnce([&] {
        {
            FileDescriptor owner(first);
            owner.reset(second);
        }
        closed = true;
        pthread_testcancel();
    }));
    EXPECT_TRUE(closed);
    EXPECT_FALSE(isOpen(first));
    EXPECT_FALSE(isOpen(second));
}

TEST(CancellationTest, AThreadThatConnectsLeavesNoDescriptor)
{
    const FullPort port;
    const auto before = openDescriptors();
    const auto connect = [&port] {
        const QZ::RPC::DispatchClient client(port.address(), QZ::Net::TCPClient::NewFactory());
    };
    for (int i = 0; i < kTimes; ++i) EXPECT_TRUE(endsWhileWaiting(connect));
    for (int i = 0; i < kTimes; ++i) EXPECT_TRUE(endsAtOnce(connect));
    EXPECT_EQ(openDescriptors(), before);
}

// The connection is broken: a part of a frame may have gone or come unseen.
void expectABrokenConnection(PeerLink& link)
{
    EXPECT_FALSE(link.client.online());
    EXPECT_FALSE(isOpen(link.clientSocket()));
    EXPECT_EQ(call(link.client, 1000).info, "not connected");
}

TEST(CancellationTest, AThreadThatWaitsForAReplyBreaksTheConnection)
{
    const auto before = openDescriptors();
    for (int i = 0; i < kTimes; ++i) {
        PeerLink link;
        EXPECT_TRUE(endsWhileWaiting([&link] { call(link.client, 60000); }));
        expectABrokenConnection(link);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CancellationTest, AThreadThatWaitsForTheRestOfAReplyBreaksTheConnection)
{
    for (int i = 0; i < kTimes; ++i) {
        PeerLink link;
        const Bytes whole = reply(1, "answer");
        ASSERT_TRUE(link.send(Bytes(whole.begin(), whole.end() - 1)));
        EXPECT_TRUE(endsWhileWaiting([&link] { call(link.client, 60000); }));
        expectABrokenConnection(link);
    }
}

TEST(CancellationTest, AThreadThatSendsBreaksTheConnection)
{
    const std::string megabyte(1000000, 'a');
    for (int i = 0; i < kTimes; ++i) {
        PeerLink link;
        EXPECT_TRUE(endsWhileWaiting([&] { call(link.client, 60000, megabyte); }));
        expectABrokenConnection(link);
    }
}

TEST(CancellationTest, AThreadThatIsCancelledBeforeItSendsBreaksTheConnection)
{
    PeerLink link;
    EXPECT_TRUE(endsAtOnce([&link] { call(link.client, 60000); }));
    expectABrokenConnection(link);
}

TEST(CancellationTest, AConnectionIsStoppedAndDestroyedByACancelledThread)
{
    const auto connected = [](int fd) {
        return std::make_unique<QZ::RPC::DispatchClient>(QZ::Net::Address("127.0.0.1:1"),
                                                         new OneSocketFactory(fd));
    };
    const int first = newDescriptor();
    const int second = newDescriptor();
    auto stopped = connected(first);
    auto destroyed = connected(second);
    EXPECT_TRUE(endsAtOnce([&] {
        stopped->stop();
        destroyed.reset();
        pthread_testcancel();
    }));
    EXPECT_FALSE(isOpen(first));
    EXPECT_EQ(destroyed, nullptr);
    EXPECT_FALSE(isOpen(second));
}

}  // namespace
