#include "tests/service/ControlFixture.h"

#include <sys/stat.h>

#include <deque>
#include <fstream>
#include <vector>

namespace
{

using vpnd::ControlError;
using vpnd::ControlListener;
using vpnd::HttpConnection;

class ControlListenerTest : public ControlFixture
{
};

TEST_F(ControlListenerTest, EverybodyMayOpenTheSocketAndItGoesWithTheService)
{
    struct stat status {
    };
    ASSERT_EQ(::lstat(path().c_str(), &status), 0);
    EXPECT_TRUE(S_ISSOCK(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777U, 0666U);
    listener.reset();
    EXPECT_NE(::lstat(path().c_str(), &status), 0);
}

TEST_F(ControlListenerTest, ASocketThatNobodyListensAtIsReplacedAndNothingElseIs)
{
    const auto message = [&](const std::string& where) {
        try {
            const ControlListener other(loop(), where, *service, log());
        } catch (const ControlError& error) {
            return std::string(error.what());
        }
        return std::string();
    };
    EXPECT_NE(message(path()).find("another service answers there"), std::string::npos);
    EXPECT_EQ(ask("GET /v1/status").status, 200) << "it is still the first one";
    std::ofstream(folder + "/file") << "mine";
    EXPECT_NE(message(folder + "/file").find("no socket"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists(folder + "/file"));
    EXPECT_NE(message(folder + "/none/socket").find("No such file"), std::string::npos);
    EXPECT_NE(message("relative").find("right would be"), std::string::npos);
    EXPECT_NE(message("/" + std::string(107, 'x')).find("107 bytes"), std::string::npos);

    const std::string left = folder + "/left";
    {
        const vpnd::Descriptor old(::socket(AF_UNIX, SOCK_STREAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        left.copy(address.sun_path, sizeof address.sun_path - 1);
        ASSERT_EQ(::bind(old.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    }
    EXPECT_EQ(message(left), "");
}

TEST_F(ControlListenerTest, RequestsSentAheadAreAnsweredInOrder)
{
    UnixClient client(path());
    client.send(request("POST /v1/disable") + request("GET /v1/status") + request("GET /nothing"));
    EXPECT_EQ(response(client).json()["state"]["name"], "disabled");
    EXPECT_EQ(response(client).json()["state"]["number"], 0);
    EXPECT_EQ(response(client).status, 404);
    EXPECT_FALSE(client.closed());
}

TEST_F(ControlListenerTest, TheNextRequestWaitsForTheAnswerOfAChange)
{
    stores = false;
    UnixClient client(path());
    client.send(request("PATCH /v1/settings", R"({"port": 5})") + request("GET /v1/settings"));
    work();
    EXPECT_EQ(client.received(), "");
    store().answerAll();
    EXPECT_EQ(response(client).json()["changed"][0], "port");
    EXPECT_EQ(response(client).json()["settings"]["port"], 5);
}

TEST_F(ControlListenerTest, AHeadHasTenSecondsABodyThirtyARestSixty)
{
    const auto begun = [&](const std::string& bytes) {
        UnixClient client(path());
        client.send(bytes);
        work();
        return client;
    };
    UnixClient silent = begun("");
    UnixClient slow = begun("GET /v1/sta");
    const std::string whole = request("POST /v1/stop", "{}");
    UnixClient slowBody = begun(whole.substr(0, whole.size() - 1));
    UnixClient resting = begun(request("GET /v1/reasons"));
    EXPECT_EQ(response(resting).status, 200);
    pass(HttpConnection::kHeadMs - 1);
    work();
    EXPECT_FALSE(silent.closed());
    slow.send("t");
    work();
    pass(1);
    work();
    EXPECT_TRUE(silent.closed());
    EXPECT_EQ(response(slow).status, 408) << "a byte now and then gains nothing";
    EXPECT_FALSE(slowBody.closed());
    pass(HttpConnection::kBodyMs - HttpConnection::kHeadMs);
    work();
    EXPECT_EQ(response(slowBody).code(), "timeout");
    EXPECT_FALSE(resting.closed());
    pass(HttpConnection::kIdleMs - HttpConnection::kBodyMs);
    work();
    EXPECT_TRUE(resting.closed());
}

TEST_F(ControlListenerTest, WhatIsNoRequestIsToldSoAndTheConnectionEnds)
{
    UnixClient client(path());
    client.send(
        "POST /v1/stop HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\n"
        "Transfer-Encoding: chunked\r\n\r\n{}" +
        request("POST /v1/disable"));
    const HttpResponse refusal = response(client);
    EXPECT_EQ(refusal.status, 400);
    EXPECT_EQ(refusal.code(), "bad_request");
    EXPECT_EQ(refusal.header("Connection"), "close");
    pass(2000);
    work();
    EXPECT_TRUE(client.closed());
    EXPECT_TRUE(controller().settings().enabled) << "what came behind it was not looked at";
}

TEST_F(ControlListenerTest, ABodyThatIsTooLargeIsAnsweredWhileItIsStillBeingSent)
{
    UnixClient client(path());
    std::string rest = client.send(request("PATCH /v1/settings", std::string(600 * 1024, 'x')));
    work();
    while (!rest.empty() && !client.closed()) {
        const std::size_t before = rest.size();
        rest = client.send(rest);
        work();
        if (rest.size() == before) break;
    }
    EXPECT_EQ(response(client).code(), "body_too_large");
}

TEST_F(ControlListenerTest, AClientThatWaitsForAWordGetsIt)
{
    UnixClient client(path());
    client.send(
        "POST /v1/stop HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n"
        "Content-Length: 2\r\n\r\n");
    work();
    EXPECT_EQ(client.received(), "HTTP/1.1 100 Continue\r\n\r\n");
    client.take(client.received().size());
    client.send("{}");
    EXPECT_EQ(response(client).status, 200);
}

TEST_F(ControlListenerTest, TheOldestAtRestMakesRoomAndWithoutOneANewClientIsToldSo)
{
    std::deque<UnixClient> clients;
    for (std::size_t i = 0; i < ControlListener::kMaxClients; ++i) clients.emplace_back(path());
    work();
    EXPECT_EQ(listener->clientCount(), ControlListener::kMaxClients);
    {
        UnixClient one(path());
        work();
        EXPECT_EQ(response(one).code(), "too_many_clients");
    }
    work();
    pass(1000);
    UnixClient other(path());
    other.send(request("GET /v1/status"));
    EXPECT_EQ(response(other).status, 200);
    EXPECT_TRUE(clients.front().closed());
    EXPECT_FALSE(clients.back().closed());
    // However many come, no more are kept.
    std::deque<UnixClient> more;
    for (int i = 0; i < 200; ++i) {
        more.emplace_back(path());
        work();
    }
    EXPECT_LE(listener->clientCount(), ControlListener::kMaxClients + 16);
    EXPECT_GE(listener->turnedAway(), 1u);
}

TEST_F(ControlListenerTest, AClientThatGoesBeforeItsAnswerTakesNothingWithIt)
{
    stores = false;
    {
        UnixClient client(path());
        client.send(request("POST /v1/disable"));
        work();
    }
    work();
    EXPECT_EQ(listener->clientCount(), 0u);
    store().answerAll();
    EXPECT_FALSE(controller().settings().enabled);
}

}  // namespace
