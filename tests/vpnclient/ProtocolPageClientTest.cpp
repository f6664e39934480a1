// The client over the real platform, against the bytes that docs/rpc-protocol.md shows.

#include "platform/QZRPC.h"
#include "tests/platform/ProtocolPage.h"
#include "vpnclient/VPNRpcCtrlClient.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <map>

namespace
{

using protocol_page::Example;
using protocol_page::Value;
using Values = std::vector<Value>;
using Bytes = std::vector<unsigned char>;

// Hands out one end of a socket pair; the test is the service at the other.
class PairFactory : public QZ::Net::IClientFactory
{
public:
    explicit PairFactory(int& peer) : m_peer(peer) {}
    int connect(const QZ::Net::Address&, unsigned int) override
    {
        int ends[2] = {-1, -1};
        EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        m_peer = ends[1];
        return ends[0];
    }

private:
    int& m_peer;
};

// Makes the call with the arguments of the example; what comes back as values.
Values call(VPNRpcCtrlClient& client, const Example& request)
{
    const auto text = [&](std::size_t i) {
        return QZ::utils::String(std::get<std::string>(request.values.at(i)));
    };
    const auto number = [&](std::size_t i) { return std::get<std::int32_t>(request.values.at(i)); };
    const auto flag = [&](std::size_t i) { return std::get<bool>(request.values.at(i)); };
    const auto string = [](const QZ::utils::String& value) { return Values{std::string(value)}; };

    const std::map<std::string, std::function<Values()>> calls = {
        {"changeServerIP", [&] { return Values{client.changeServerIP(text(0))}; }},
        {"hasPassword", [&] { return Values{client.hasPassword()}; }},
        {"checkPassword", [&] { return Values{client.checkPassword(text(0))}; }},
        {"getServerIP", [&] { return string(client.getServerIP()); }},
        {"setServerIPAndPort",
         [&] { return Values{client.setServerIPAndPort(text(0), number(1))}; }},
        {"setVPNCA", [&] { return Values{client.setVPNCA(text(0))}; }},
        {"checkCommState", [&] { return client.checkCommState(), Values(); }},
        {"setDeviceSn", [&] { return client.setDeviceSn(text(0)), Values(); }},
        {"startVPN", [&] { return Values{client.startVPN(text(0), number(1))}; }},
        {"stopVPN", [&] { return Values{client.stopVPN()}; }},
        {"setBeatInterval", [&] { return Values{client.setBeatInterval(number(0))}; }},
        {"getDeviceVPNInfo",
         [&] {
             const DeviceVPNInfo info = client.getDeviceVPNInfo();
             return Values{info.status,     info.serverIP, info.serverPort,
                           info.deviceName, info.vpnIP,    info.beatInterval};
         }},
        {"setVPNEnabled", [&] { return client.setVPNEnabled(flag(0)), Values(); }},
        {"getVPNEnabled", [&] { return Values{client.getVPNEnabled()}; }},
        {"setOnline", [&] { return Values{client.setOnline(flag(0))}; }},
        {"getVpnState", [&] { return Values{client.getVpnState()}; }},
        {"getProductSn", [&] { return string(client.getProductSn()); }},
        {"setVPNPassword", [&] { return Values{client.setVPNPassword(text(0))}; }},
        {"getVPNPassword", [&] { return string(client.getVPNPassword()); }},
        {"setVPNUserName", [&] { return Values{client.setVPNUserName(text(0))}; }},
        {"getVPNUserName", [&] { return string(client.getVPNUserName()); }},
    };
    return calls.at(request.method)();
}

}  // namespace

TEST(ProtocolPageClientTest, EveryCallSendsAndReadsTheBytesOfThePage)
{
    int peer = -1;
    QZ::RPC::DispatchClient connection(QZ::Net::Address("127.0.0.1:9009"), new PairFactory(peer));
    VPNRpcCtrlClient client(&connection);
    const std::vector<Example> examples = protocol_page::load(ORVA_PROTOCOL_PAGE);

    int calls = 0;
    for (std::size_t i = 0; i + 1 < examples.size(); i += 2) {
        const Example& request = examples[i];
        const Example& reply = examples[i + 1];
        SCOPED_TRACE(request.method);
        if (reply.type == "error") continue;  // a method that no client has
        ASSERT_TRUE(request.isRequest);
        ASSERT_EQ(reply.callId, request.callId);
        // The reply lies ready before the call: the client reads it behind its request.
        ASSERT_EQ(write(peer, reply.bytes.data(), reply.bytes.size()),
                  static_cast<ssize_t>(reply.bytes.size()));
        EXPECT_EQ(call(client, request), reply.values);
        Bytes sent(request.bytes.size() + 1);
        const ssize_t count = recv(peer, sent.data(), sent.size(), MSG_DONTWAIT);
        ASSERT_GT(count, 0);
        sent.resize(static_cast<std::size_t>(count));
        EXPECT_EQ(sent, request.bytes);
        ++calls;
    }
    EXPECT_EQ(calls, 21);
    close(peer);
}
