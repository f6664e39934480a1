#include "tests/service/CapturedLog.h"
#include "tests/service/ListenerFixture.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

// Calls that are answered when something else has happened.
namespace
{

using QZ::utils::IBuffer;
using vpnd::LaterReply;
using vpnd::RpcListener;

std::string later(std::uint32_t callId, const std::string& block = "x")
{
    return raw::request(callId, "later", block);
}

std::string special(std::uint32_t callId) { return raw::request(callId, "special", ""); }

const std::string kForsaken = raw::refusal(1, "internal error");

class RpcListenerLaterTest : public ListenerFixture
{
protected:
    // With a call that waits for its answer.
    LoopbackClient waiting(std::uint32_t callId = 1, const std::string& behind = "")
    {
        const std::size_t before = handler().waiting.size();
        LoopbackClient client = connected();
        client.send(later(callId) + behind);
        EXPECT_TRUE(soon([&] { return handler().waiting.size() > before; }));
        return client;
    }
    void someTurns()
    {
        for (int turn = 0; turn < 5; ++turn) loop().turn(0);
    }
    // Whether the server has nothing to do, however often it looks.
    bool rests()
    {
        someTurns();
        return !loop().turn(0);
    }
    // Of a reply; from now on, for new connections.
    void systemTakesLittleAtATime()
    {
        const int bytes = 4096;
        for (int fd = 0; fd < 1024; ++fd) {
            int isListening = 0;
            socklen_t size = sizeof isListening;
            ::getsockopt(fd, SOL_SOCKET, SO_ACCEPTCONN, &isListening, &size);
            if (isListening != 0) ::setsockopt(fd, SOL_SOCKET, SO_SNDBUF, &bytes, sizeof bytes);
        }
    }
    // Where write must not be called.
    static const char* unexpected(IBuffer&)
    {
        ADD_FAILURE() << "nobody waits";
        return nullptr;
    }
};

TEST_F(RpcListenerLaterTest, TheAnswerGoesOutWhenItIsGiven)
{
    LoopbackClient client = waiting();
    EXPECT_TRUE(rests());
    EXPECT_EQ(client.received(), "");
    handler().answerOne();
    EXPECT_EQ(client.received(), raw::reply(1, "x")) << "at once";
    client.forget();
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerLaterTest, ItMayBeARefusal)
{
    LoopbackClient client = waiting();
    handler().waiting.front().reply.finish([](IBuffer& result) {
        EchoHandler::write(result, "half");
        return "not today";
    });
    EXPECT_TRUE(answers(client, raw::refusal(1, "not today")));
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerLaterTest, OthersAreServedMeanwhile)
{
    LoopbackClient client = waiting();
    LoopbackClient other = connected();
    for (int call = 0; call < 20; ++call) EXPECT_TRUE(works(other));
    EXPECT_EQ(client.received(), "");
    handler().answerOne();
    EXPECT_TRUE(answers(client, raw::reply(1, "x")));
}

TEST_F(RpcListenerLaterTest, FurtherRequestsOfTheConnectionWaitBehindItAndKeepTheirOrder)
{
    LoopbackClient client = waiting(1, request(2) + later(3, "y"));
    client.send(request(4) + later(5, "z") + request(6));
    EXPECT_TRUE(rests());
    EXPECT_EQ(handler().calls, 1);
    const std::string expected = raw::reply(1, "x") + reply(2) + raw::reply(3, "y") + reply(4) +
                                 raw::reply(5, "z") + reply(6);
    EXPECT_TRUE(soon([&] {
        if (!handler().waiting.empty()) handler().answerOne();
        return client.received().size() >= expected.size();
    }));
    EXPECT_EQ(client.received(), expected);
}

TEST_F(RpcListenerLaterTest, AThousandRequestsSentTogetherAreAnsweredInOrder)
{
    LoopbackClient client = connected();
    std::string expected;
    std::string requests;
    for (std::uint32_t id = 0; id < 1000; ++id) {
        requests += later(id, std::to_string(id));
        expected += raw::reply(id, std::to_string(id));
    }
    client.send(requests);
    EXPECT_TRUE(soon([&] {
        handler().answerAll();
        return client.received().size() >= expected.size();
    }));
    EXPECT_EQ(client.received(), expected);
}

TEST_F(RpcListenerLaterTest, WhoeverAnswersIsNotCalledMeanwhile)
{
    LoopbackClient client = waiting(1, request(2));
    someTurns();
    handler().answerOne();
    EXPECT_EQ(handler().calls, 1);
    EXPECT_TRUE(answers(client, raw::reply(1, "x") + reply(2)));
    EXPECT_EQ(handler().calls, 2);
}

TEST_F(RpcListenerLaterTest, AWaitingClientIsNotReadFromAndCostsNoTurns)
{
    LoopbackClient client = waiting();
    const std::string chunk(64 * 1024, '\0');
    std::size_t sent = 0;
    for (int fruitless = 0; fruitless < 50; ++fruitless) {
        const std::size_t count = client.trySend(chunk);
        sent += count;
        if (count > 0) fruitless = 0;
        loop().turn(0);
        ASSERT_LT(sent, 256u * 1024 * 1024);
    }
    EXPECT_TRUE(rests());
    EXPECT_FALSE(client.closed());
    handler().answerOne();
    EXPECT_TRUE(isClosed(client)) << "what it sent is no request";
}

TEST_F(RpcListenerLaterTest, OneThatGoesAwayIsLetGoAtOnce)
{
    for (const bool hasSentMore : {false, true}) {
        std::optional<LoopbackClient> client(waiting());
        client->resetAtTheEnd();
        if (hasSentMore) client->send(request(2));
        someTurns();
        client.reset();
        EXPECT_TRUE(soon([&] { return listener()->clientCount() == 0; })) << hasSentMore;
        handler().waiting.front().reply.finish(unexpected);
        handler().waiting.clear();
        EXPECT_TRUE(rests());
    }
}

TEST_F(RpcListenerLaterTest, OneThatEndsItsSendingStillGetsItsAnswers)
{
    LoopbackClient client = waiting(1, request(2) + later(3) + request(4));
    client.finishSending();
    EXPECT_TRUE(rests());
    EXPECT_EQ(listener()->clientCount(), 1u);
    handler().answerOne();
    EXPECT_TRUE(soon([&] { return !handler().waiting.empty(); }));
    EXPECT_TRUE(rests());
    handler().answerOne();
    EXPECT_TRUE(isClosed(client));
    EXPECT_EQ(client.received(), raw::reply(1, "x") + reply(2) + raw::reply(3, "x") + reply(4));
    EXPECT_EQ(listener()->clientCount(), 0u);
}

TEST_F(RpcListenerLaterTest, OneThatClosedIsLetGoWithItsAnswer)
{
    {
        const LoopbackClient client = waiting();
    }
    EXPECT_TRUE(rests());
    handler().answerOne();
    EXPECT_TRUE(soon([&] { return listener()->clientCount() == 0; }));
}

TEST_F(RpcListenerLaterTest, OnlyTheFirstAnswerCounts)
{
    LoopbackClient client = waiting(1, later(2, "y"));
    const LaterReply reply = handler().waiting.front().reply;
    handler().answerOne();
    EXPECT_TRUE(soon([&] { return !handler().waiting.empty(); }));
    // The second call waits by now; this is still the answer of the first.
    reply.finish(unexpected);
    EXPECT_TRUE(answers(client, raw::reply(1, "x")));
    handler().answerOne();
    EXPECT_TRUE(answers(client, raw::reply(2, "y")));
    reply.finish(unexpected);
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerLaterTest, AnAnswerThatNobodyGivesAnyMoreIsAnError)
{
    LoopbackClient client = waiting();
    LaterReply copy = handler().waiting.front().reply;
    handler().waiting.clear();
    EXPECT_TRUE(rests());
    EXPECT_EQ(client.received(), "") << "a copy is left";
    copy = LaterReply();
    EXPECT_TRUE(answers(client, kForsaken));
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerLaterTest, AnAnswerToNobodyDoesNothing) { LaterReply().finish(unexpected); }

TEST_F(RpcListenerLaterTest, ItMayBeGivenWhileTheCallIsBeingHandled)
{
    handler().special = [](auto&, IBuffer& result, vpnd::IPendingCall& call) {
        EchoHandler::write(result, "half");
        const LaterReply reply = call.answerLater();
        reply.finish([](IBuffer& late) {
            EchoHandler::write(late, "whole");
            return nullptr;
        });
        reply.finish(unexpected);
        call.answerLater().finish(unexpected);
        return QZ::RPC::kAnswersLater;
    };
    LoopbackClient client = connected();
    for (int round = 0; round < 3; ++round) {
        client.send(special(1));
        EXPECT_TRUE(answers(client, raw::reply(1, "whole")));
    }
}

TEST_F(RpcListenerLaterTest, WhileTheCallIsBeingHandledItMayBeARefusalToo)
{
    const char* refusal = "not today";
    handler().special = [&](auto&, IBuffer&, vpnd::IPendingCall& call) {
        call.answerLater().finish([&](IBuffer& late) {
            EchoHandler::write(late, "half");
            return refusal;
        });
        return QZ::RPC::kAnswersLater;
    };
    LoopbackClient client = connected();
    client.send(special(1));
    EXPECT_TRUE(answers(client, raw::refusal(1, "not today")));
    refusal = QZ::RPC::kAnswersLater;
    client.send(special(1));
    EXPECT_TRUE(answers(client, kForsaken));
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerLaterTest, AHandlerThatKeepsNoAnswerLeavesNobodyWaiting)
{
    bool takes = false;
    handler().special = [&](auto&, IBuffer&, vpnd::IPendingCall& call) {
        if (takes) call.answerLater();
        return QZ::RPC::kAnswersLater;
    };
    LoopbackClient client = connected();
    for (const bool each : {false, true}) {
        takes = each;
        client.send(special(1));
        EXPECT_TRUE(answers(client, kForsaken));
    }
    EXPECT_TRUE(works(client));
}

TEST_F(RpcListenerLaterTest, AHandlerThatAnswersAtOnceAfterAllHasAnswered)
{
    std::vector<LaterReply> kept;
    bool keeps = false;
    handler().special = [&](auto&, IBuffer& result, vpnd::IPendingCall& call) {
        EchoHandler::write(result, "now");
        const LaterReply reply = call.answerLater();
        if (keeps) kept.push_back(reply);
        return nullptr;
    };
    LoopbackClient client = connected();
    for (const bool each : {false, true}) {
        keeps = each;
        client.send(special(1));
        EXPECT_TRUE(answers(client, raw::reply(1, "now")));
    }
    client.send(later(2));
    EXPECT_TRUE(soon([&] { return !handler().waiting.empty(); }));
    kept.front().finish(unexpected);
    kept.clear();
    EXPECT_TRUE(rests());
    EXPECT_EQ(client.received(), "");
    handler().answerOne();
    EXPECT_TRUE(answers(client, raw::reply(2, "x")));
}

TEST_F(RpcListenerLaterTest, TheAnswerOfOneCallIsTheSameHoweverOftenItIsAskedFor)
{
    std::vector<LaterReply> kept;
    handler().special = [&](auto&, IBuffer&, vpnd::IPendingCall& call) {
        kept = {call.answerLater(), call.answerLater()};
        return QZ::RPC::kAnswersLater;
    };
    LoopbackClient client = connected();
    client.send(special(1));
    EXPECT_TRUE(soon([&] { return !kept.empty(); }));
    kept.pop_back();
    EXPECT_TRUE(rests());
    EXPECT_EQ(client.received(), "");
    kept.clear();
    EXPECT_TRUE(answers(client, kForsaken));
}

TEST_F(RpcListenerLaterTest, AnAnswerThatCannotBeWrittenClosesTheConnection)
{
    const auto raises = [](IBuffer&) -> const char* { throw std::bad_alloc(); };
    LoopbackClient other = served();
    LoopbackClient client = waiting();
    handler().waiting.front().reply.finish(raises);
    EXPECT_TRUE(isClosed(client));
    EXPECT_EQ(client.received(), "");
    // While the call is being handled there is still a way to say so.
    handler().special = [&](auto&, IBuffer&, vpnd::IPendingCall& call) {
        call.answerLater().finish(raises);
        return QZ::RPC::kAnswersLater;
    };
    other.send(special(1));
    EXPECT_TRUE(answers(other, kForsaken));
}

TEST_F(RpcListenerLaterTest, ALateResultMayBeLongAndTheClientSlow)
{
    systemTakesLittleAtATime();
    const std::string block(1024 * 1024 - 5, 'x');
    LoopbackClient client(4096);
    client.connect(port());
    client.send(later(1) + request(2));
    EXPECT_TRUE(soon([&] { return !handler().waiting.empty(); }));
    handler().waiting.front().block = block;
    handler().answerOne();
    EXPECT_TRUE(rests());
    EXPECT_EQ(handler().calls, 1) << "the reply has gone out only in part";
    const std::string expected = raw::reply(1, block) + reply(2);
    EXPECT_TRUE(soon([&] { return client.received().size() >= expected.size(); }));
    EXPECT_TRUE(client.received() == expected);
}

TEST_F(RpcListenerLaterTest, AnswersComeFromWhereverTheyLike)
{
    std::vector<LoopbackClient> clients;
    for (std::uint32_t id = 0; id < 6; ++id) clients.push_back(waiting(id));
    // A call of another client.
    handler().special = [&](auto&, IBuffer&, vpnd::IPendingCall&) {
        handler().answerOne();
        handler().answerOne();
        return nullptr;
    };
    LoopbackClient other = connected();
    other.send(special(9));
    EXPECT_TRUE(answers(other, raw::reply(9, "")));
    // A timer.
    vpnd::Timer timer(loop(), [&] { handler().answerOne(); });
    timer.start(5);
    pass(5);
    EXPECT_TRUE(soon([&] { return handler().waiting.size() == 3; }));
    // Another watch; several in one turn, in another order.
    struct Waker final : vpnd::IWatcher {
        explicit Waker(EchoHandler& handler) : m_handler(handler) {}
        void onReady(std::uint32_t) override
        {
            std::swap(m_handler.waiting[0], m_handler.waiting[2]);
            m_handler.answerAll();
            watch.reset();
        }
        EchoHandler& m_handler;
        std::optional<vpnd::Watch> watch;
    } waker(handler());
    vpnd::IWatcher& watcher = waker;
    waker.watch.emplace(loop(), vpnd::Descriptor(::eventfd(1, EFD_CLOEXEC)), EPOLLIN, watcher);
    EXPECT_TRUE(soon([&] { return handler().waiting.empty(); }));
    for (std::uint32_t id = 0; id < 6; ++id) {
        EXPECT_TRUE(answers(clients[id], raw::reply(id, "x")));
        EXPECT_TRUE(works(clients[id]));
    }
}

TEST_F(RpcListenerLaterTest, AnAnswerToOneThatHasGoneEndsItWithinTheCallOfAnother)
{
    // Both in one turn: the server learns of the end only by the answer.
    std::optional<LoopbackClient> gone(waiting());
    LoopbackClient other = served();
    handler().special = [&](auto&, IBuffer&, vpnd::IPendingCall&) {
        gone->resetAtTheEnd();
        gone.reset();
        handler().answerOne();
        return nullptr;
    };
    other.send(special(9));
    EXPECT_TRUE(answers(other, raw::reply(9, "")));
    EXPECT_EQ(listener()->clientCount(), 1u);
    EXPECT_TRUE(works(other));
}

TEST_F(RpcListenerLaterTest, BehindTheEndOfTheListenerNothingHappens)
{
    for (const bool isDestroyed : {false, true}) {
        listen(10);
        LoopbackClient client = waiting();
        LoopbackClient forsaken = waiting();
        if (isDestroyed) {
            listener().reset();
        } else {
            listener()->stop();
        }
        EXPECT_TRUE(isClosed(client));
        handler().waiting.front().reply.finish(unexpected);
        handler().waiting.clear();
        someTurns();
        EXPECT_EQ(client.received(), "");
        EXPECT_EQ(forsaken.received(), "");
    }
}

TEST_F(RpcListenerLaterTest, OneThatWaitsKeepsItsPlace)
{
    listen(2);
    LoopbackClient first = waiting();
    LoopbackClient idle = served();
    pass(10 * RpcListener::kAtWorkMs);
    LoopbackClient newcomer = connected();
    EXPECT_TRUE(works(newcomer));
    EXPECT_TRUE(isClosed(idle));
    LoopbackClient late = connected();
    EXPECT_TRUE(isClosed(late)) << "nobody is left to make room";
    handler().answerOne();
    EXPECT_TRUE(answers(first, raw::reply(1, "x")));
}

TEST_F(RpcListenerLaterTest, OneThatWaitsAndHasSentMoreKeepsItsPlaceToo)
{
    listen(1);
    LoopbackClient client = waiting(1, request(2));
    client.send(request(3));
    someTurns();
    pass(10 * RpcListener::kAtWorkMs);
    LoopbackClient newcomer = connected();
    EXPECT_TRUE(isClosed(newcomer));
    handler().answerOne();
    EXPECT_TRUE(answers(client, raw::reply(1, "x") + reply(2) + reply(3)));
}

TEST_F(RpcListenerLaterTest, TheAnswerIsItsLastSignOfLife)
{
    listen(2);
    LoopbackClient slow = waiting();
    LoopbackClient other = served();
    pass(RpcListener::kAtWorkMs - 1);
    handler().answerOne();
    EXPECT_TRUE(answers(slow, raw::reply(1, "x")));
    pass(1);
    LoopbackClient newcomer = served();
    EXPECT_TRUE(isClosed(other));
    EXPECT_TRUE(works(slow));
}

TEST_F(RpcListenerLaterTest, WhatWaitingClientsHoldIsCountedAndGivenBack)
{
    // Half a request behind a call that waits: each is let in, as its share is small.
    const std::string half = std::string("\0\0\x10\0", 4) + std::string(8 * 1024, 'x');
    constexpr std::size_t kBig = RpcListener::kMaxHeldBytes / (1024 * 1024) + 1;
    const std::string big = std::string("\0\0\x10\0", 4) + std::string(1024 * 1024 - 8, 'x');
    std::vector<LoopbackClient> modest;
    while (modest.size() < 10) modest.push_back(waiting(1, half));
    std::vector<LoopbackClient> greedy(kBig);
    const auto fill = [&](LoopbackClient& client) {
        client.connect(port());
        for (std::size_t sent = 0; sent < big.size() && !client.closed();) {
            sent += client.trySend(big.substr(sent, 64 * 1024));
            loop().turn(0);
        }
        while (loop().turn(0)) {
        }
    };
    for (LoopbackClient& client : greedy) fill(client);
    EXPECT_TRUE(greedy.back().closed());
    handler().answerAll();
    for (LoopbackClient& client : modest) EXPECT_TRUE(answers(client, raw::reply(1, "x")));
    greedy.clear();
    modest.clear();
    EXPECT_TRUE(soon([&] { return listener()->clientCount() == 0; }));
    greedy.resize(kBig - 2);
    for (LoopbackClient& client : greedy) fill(client);
    for (LoopbackClient& client : greedy) EXPECT_FALSE(client.closed());
}

TEST_F(RpcListenerLaterTest, AShareThatALateAnswerMakesTooLargeEndsIt)
{
    // Nobody reads, so the replies are held.
    systemTakesLittleAtATime();
    constexpr std::size_t kReplyBytes = 1024 * 1024;
    constexpr std::size_t kAllowed = RpcListener::kMaxHeldBytes / kReplyBytes;
    std::vector<LoopbackClient> clients;
    while (clients.size() < kAllowed + 5) {
        clients.emplace_back(4096);
        clients.back().connect(port());
        clients.back().send(later(1));
    }
    ASSERT_TRUE(soon([&] { return handler().waiting.size() == clients.size(); }));
    CapturedLog lines;
    for (EchoHandler::Waiting& each : handler().waiting) {
        each.block = std::string(kReplyBytes - raw::reply(1, "").size(), 'x');
    }
    handler().answerAll();
    EXPECT_EQ(listener()->clientCount(), kAllowed);
    EXPECT_EQ(lines.take(),
              (std::vector<std::string>{"warning a connection is closed: too much is under way"}));
}

}  // namespace
