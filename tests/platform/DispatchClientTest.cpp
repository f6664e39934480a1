#include "tests/platform/PeerLink.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>

namespace
{

using namespace peer_link;
using QZ::Net::Address;
using QZ::RPC::DispatchClient;
using QZ::RPC::SyncProxy;

std::ptrdiff_t openDescriptors()
{
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(DispatchClientTest, ACallSendsItsRequestAndGivesTheReply)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "result")));
    const Outcome outcome = call(link.client, kAmpleMs, "argument");
    EXPECT_FALSE(outcome.raised) << outcome.info;
    EXPECT_EQ(outcome.block, "result");
    QZ::RPC::ByteBuffer request;
    QZ::RPC::beginRequest(request, 1, "method");
    request.write("argument", 8, 0);
    ASSERT_TRUE(QZ::RPC::endFrame(request));
    EXPECT_EQ(link.takeRequest(), request.bytes());
    EXPECT_TRUE(link.isQuiet());
}

TEST(DispatchClientTest, CallsAreNumberedFromOne)
{
    PeerLink link;
    for (std::uint32_t id = 1; id <= 300; ++id) {
        ASSERT_TRUE(link.send(reply(id, std::to_string(id))));
        ASSERT_EQ(call(link.client, kAmpleMs).block, std::to_string(id));
        const Bytes request = link.takeRequest();
        ASSERT_EQ(request.at(4) | request.at(5) << 8, static_cast<int>(id));
    }
}

TEST(DispatchClientTest, AReplyMayBeEmpty)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "")));
    const Outcome outcome = call(link.client, kAmpleMs);
    EXPECT_TRUE(outcome.hasResult);
    EXPECT_EQ(outcome.block, "");
}

TEST(DispatchClientTest, AReplyMayComeByteByByte)
{
    PeerLink link;
    std::thread service([&link] {
        link.takeRequest();
        for (const unsigned char byte : reply(1, "slow")) link.send({byte});
    });
    EXPECT_EQ(call(link.client, kAmpleMs).block, "slow");
    service.join();
}

TEST(DispatchClientTest, TheLongestFramesGoBothWays)
{
    PeerLink link;
    const std::string result(QZ::RPC::kMaxFrameBytes - 5, 'r');
    const std::string argument(QZ::RPC::kMaxFrameBytes - 14, 'a');
    std::size_t received = 0;
    std::thread service([&] {
        received = link.takeRequest().size();
        link.send(reply(1, result));
    });
    const Outcome outcome = call(link.client, kAmpleMs, argument);
    service.join();
    EXPECT_FALSE(outcome.raised) << outcome.info;
    EXPECT_EQ(received, QZ::RPC::kMaxFrameBytes + 4);
    EXPECT_EQ(outcome.block, result);
}

TEST(DispatchClientTest, ARequestThatIsTooLongIsRefusedAndNothingIsSent)
{
    PeerLink link;
    const Outcome outcome =
        call(link.client, kAmpleMs, std::string(QZ::RPC::kMaxFrameBytes - 13, 'a'));
    EXPECT_TRUE(outcome.raised);
    EXPECT_EQ(outcome.func, "sync");
    EXPECT_EQ(outcome.info, "request longer than 1048576 bytes");
    EXPECT_TRUE(link.isQuiet());
    EXPECT_TRUE(link.client.online());
    ASSERT_TRUE(link.send(reply(1, "next")));
    EXPECT_EQ(call(link.client, kAmpleMs).block, "next");
}

TEST(DispatchClientTest, AnErrorReplyIsANormalReturnWithoutAResult)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "why", QZ::RPC::ReplyStatus::kError) + reply(2, "next")));
    const Outcome outcome = call(link.client, kAmpleMs);
    EXPECT_FALSE(outcome.raised);
    EXPECT_FALSE(outcome.hasResult);
    EXPECT_TRUE(link.client.online());
}

TEST(DispatchClientTest, TheResultIsGoneWithTheNextCall)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "result")));
    ASSERT_TRUE(call(link.client, kAmpleMs).hasResult);
    SyncProxy proxy(&link.client);
    EXPECT_NE(proxy.resultBuffer(), nullptr);
    proxy.argsBuffer("method");
    EXPECT_EQ(proxy.resultBuffer(), nullptr);
}

TEST(DispatchClientTest, AnArgumentBlockMayBeStartedOver)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "")));
    SyncProxy proxy(&link.client);
    QZ::utils::IBuffer* args = proxy.argsBuffer("abandoned");
    args->write("abandoned", 9, 0);
    args = proxy.argsBuffer("method");
    args->write("wrong", 5, 0);
    args->clear();
    EXPECT_EQ(args->size(), 0u);
    args->write("ok", 2, 0);
    proxy.sync();
    const Bytes request = link.takeRequest();
    EXPECT_EQ(std::string(request.begin() + 12, request.end()), "methodok");
    EXPECT_TRUE(link.isQuiet());
}

TEST(DispatchClientTest, AProxyWithoutConnectionRaisesInSync)
{
    SyncProxy byName(QZ::utils::String("Local"));
    EXPECT_EQ(byName.argsBuffer("method"), nullptr);
    EXPECT_THROW(byName.sync(), QZ::Net::Exception);
    EXPECT_EQ(byName.resultBuffer(), nullptr);
    SyncProxy toNone(static_cast<DispatchClient*>(nullptr));
    EXPECT_EQ(toNone.argsBuffer("method"), nullptr);
    EXPECT_THROW(toNone.sync(), QZ::Net::Exception);
    EXPECT_EQ(toNone.resultBuffer(), nullptr);
}

std::string infoOfSync(SyncProxy& proxy)
{
    try {
        proxy.sync();
    } catch (const QZ::Net::Exception& exception) {
        return exception.info();
    }
    return "";
}

TEST(DispatchClientTest, SyncNeedsACallThatWasStarted)
{
    PeerLink link;
    ASSERT_TRUE(link.send(reply(1, "") + reply(1, "")));
    SyncProxy proxy(&link.client);
    proxy.setTimeOut(100);
    EXPECT_EQ(infoOfSync(proxy), "no call was started");
    EXPECT_NE(proxy.argsBuffer("method"), nullptr);
    EXPECT_EQ(infoOfSync(proxy), "");
    EXPECT_EQ(infoOfSync(proxy), "no call was started");
    EXPECT_EQ(proxy.resultBuffer(), nullptr);
    EXPECT_TRUE(link.client.online());
}

TEST(DispatchClientTest, AMethodNameThatDoesNotFitStartsNoCall)
{
    PeerLink link;
    SyncProxy proxy(&link.client);
    EXPECT_EQ(proxy.argsBuffer(""), nullptr);
    EXPECT_EQ(proxy.argsBuffer(std::string(QZ::RPC::kMaxMethodBytes + 1, 'm')), nullptr);
    EXPECT_THROW(proxy.sync(), QZ::Net::Exception);
    EXPECT_TRUE(link.isQuiet());
    EXPECT_NE(proxy.argsBuffer(std::string(QZ::RPC::kMaxMethodBytes, 'm')), nullptr);
}

TEST(DispatchClientTest, PendingBytesCountAsOnlineAndAClosedPeerDoesNot)
{
    PeerLink link;
    EXPECT_TRUE(link.client.online());
    ASSERT_TRUE(link.send(reply(1, "early")));
    EXPECT_TRUE(link.client.online());
    EXPECT_TRUE(link.client.online());
    EXPECT_EQ(call(link.client, kAmpleMs).block, "early");
    link.hangUp();
    EXPECT_FALSE(link.client.online());
    EXPECT_FALSE(link.client.online());
}

TEST(DispatchClientTest, StopClosesTheConnectionForGood)
{
    PeerLink link;
    link.client.stop();
    char byte = 0;
    EXPECT_EQ(recv(link.peer(), &byte, 1, 0), 0);
    link.client.stop();
    EXPECT_FALSE(link.client.online());
    const Outcome outcome = call(link.client, kAmpleMs);
    EXPECT_EQ(outcome.func, "sync");
    EXPECT_EQ(outcome.info, "not connected");
}

class NoConnectionFactory final : public QZ::Net::IClientFactory
{
public:
    struct Seen {
        std::uint32_t ip = 0;
        int port = 0;
        unsigned int timeOutMs = 0;
        int deleted = 0;
    };
    NoConnectionFactory(Seen& seen, bool raises) : m_seen(seen), m_raises(raises) {}
    ~NoConnectionFactory() override { ++m_seen.deleted; }
    int connect(const Address& address, unsigned int timeOutMs) override
    {
        m_seen.ip = address.ip();
        m_seen.port = address.port();
        m_seen.timeOutMs = timeOutMs;
        if (m_raises) throw std::runtime_error("no");
        return -1;
    }

private:
    Seen& m_seen;
    bool m_raises;
};

TEST(DispatchClientTest, WithoutAConnectionItIsOfflineAndRaisesNothing)
{
    NoConnectionFactory::Seen seen;
    {
        DispatchClient client(Address("127.0.0.1:9009"), new NoConnectionFactory(seen, false));
        EXPECT_EQ(seen.ip, 0x7F000001u);
        EXPECT_EQ(seen.port, 9009);
        EXPECT_EQ(seen.timeOutMs, 3000u);
        EXPECT_FALSE(client.online());
        EXPECT_EQ(call(client, kAmpleMs).info, "not connected");
        client.stop();
        EXPECT_EQ(seen.deleted, 0);
    }
    EXPECT_EQ(seen.deleted, 1);
    DispatchClient withoutFactory(Address("127.0.0.1:9009"), nullptr);
    EXPECT_FALSE(withoutFactory.online());
}

TEST(DispatchClientTest, TheFactoryIsDeletedAlsoWhenItRaises)
{
    NoConnectionFactory::Seen seen;
    EXPECT_THROW(DispatchClient(Address("127.0.0.1:9009"), new NoConnectionFactory(seen, true)),
                 std::runtime_error);
    EXPECT_EQ(seen.deleted, 1);
}

TEST(DispatchClientTest, TheFactoryLivesAsLongAsTheClient)
{
    int deleted = 0;
    {
        PeerLink link(&deleted);
        link.client.stop();
        EXPECT_EQ(deleted, 0);
    }
    EXPECT_EQ(deleted, 1);
}

TEST(DispatchClientTest, NoDescriptorStaysOpen)
{
    const std::ptrdiff_t before = openDescriptors();
    for (int i = 0; i < 20; ++i) {
        PeerLink link;
        ASSERT_TRUE(link.send(reply(1, "x")));
        call(link.client, kAmpleMs);
        if (i % 2 == 0) link.client.stop();
        if (i % 3 == 0) link.hangUp();
        if (i % 5 == 0) call(link.client, 1);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(DispatchClientTest, DescriptorsAboveAThousandAndTwentyFourWork)
{
    rlimit limit = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlim_t wanted = 3000;
    if (limit.rlim_max != RLIM_INFINITY && limit.rlim_max < wanted) {
        GTEST_SKIP() << "at most " << limit.rlim_max << " descriptors are allowed here";
    }
    const rlimit raised = {std::max(limit.rlim_cur, wanted), limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
    int fds[2] = {-1, -1};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds), 0);
    const int high = fcntl(fds[0], F_DUPFD_CLOEXEC, 2500);
    ASSERT_GE(high, 2500);
    close(fds[0]);
    {
        DispatchClient client(Address("127.0.0.1:1"), new OneSocketFactory(high));
        EXPECT_TRUE(client.online());
        const Bytes late = reply(1, "late") + reply(2, "answer");
        ASSERT_EQ(call(client, 20).info, "no reply within 20 ms");  // through poll
        ASSERT_EQ(write(fds[1], late.data(), late.size()), static_cast<ssize_t>(late.size()));
        EXPECT_EQ(call(client, kAmpleMs).block, "answer");
    }
    close(fds[1]);
    setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace
