#include "tests/vpnclient/ClientFixture.h"

#include <functional>
#include <vector>

using scripted::Bytes;
using scripted::encoded;

namespace
{

const Bytes kTextTag = encoded(std::string("QZ::utils::String"));
const Bytes kIntTag = encoded(std::string("int"));
const Bytes kBoolTag = encoded(std::string("bool"));

enum class Result { kNone, kInt, kBool, kText, kRecord };

struct Operation {
    const char* method;
    Bytes arguments;  // the whole block as it must be sent
    Result result;
    // Calls the operation; the answer as text.
    std::function<std::string(VPNRpcCtrlClient&)> call;
    unsigned int timeOutMs = 10000;
};

std::string shown(bool value) { return value ? "true" : "false"; }

std::vector<Operation> operations()
{
    using C = VPNRpcCtrlClient;
    const Bytes none = encoded(0);
    const auto text = [](const char* value) { return kTextTag + encoded(std::string(value)); };
    const auto number = [](int value) { return kIntTag + encoded(value); };
    return {
        {"changeServerIP", encoded(1) + text("h"), Result::kInt,
         [](C& c) { return std::to_string(c.changeServerIP("h")); }},
        {"hasPassword", none, Result::kBool, [](C& c) { return shown(c.hasPassword()); }},
        {"checkPassword", encoded(1) + text("pw"), Result::kBool,
         [](C& c) { return shown(c.checkPassword("pw")); }},
        {"getServerIP", none, Result::kText, [](C& c) { return c.getServerIP(); }},
        {"setServerIPAndPort", encoded(2) + text("h") + number(65535), Result::kInt,
         [](C& c) { return std::to_string(c.setServerIPAndPort("h", 65535)); }},
        {"setVPNCA", encoded(1) + text("PEM"), Result::kInt,
         [](C& c) { return std::to_string(c.setVPNCA("PEM")); }},
        {"checkCommState", none, Result::kNone,
         [](C& c) {
             c.checkCommState();
             return std::string();
         },
         3000},
        {"setDeviceSn", encoded(1) + text("SN"), Result::kNone,
         [](C& c) {
             c.setDeviceSn("SN");
             return std::string();
         }},
        {"startVPN", encoded(2) + text("10.0.0.1") + number(1194), Result::kInt,
         [](C& c) { return std::to_string(c.startVPN("10.0.0.1", 1194)); }},
        {"stopVPN", none, Result::kInt, [](C& c) { return std::to_string(c.stopVPN()); }},
        {"setBeatInterval", encoded(1) + number(-1), Result::kInt,
         [](C& c) { return std::to_string(c.setBeatInterval(-1)); }},
        {"getDeviceVPNInfo", none, Result::kRecord,
         [](C& c) {
             const DeviceVPNInfo i = c.getDeviceVPNInfo();
             return std::to_string(i.status) + "|" + i.serverIP + "|" +
                    std::to_string(i.serverPort) + "|" + i.deviceName + "|" + i.vpnIP + "|" +
                    std::to_string(i.beatInterval);
         }},
        {"setVPNEnabled", encoded(1) + kBoolTag + Bytes(1, '\0'), Result::kNone,
         [](C& c) {
             c.setVPNEnabled(false);
             return std::string();
         }},
        {"getVPNEnabled", none, Result::kBool, [](C& c) { return shown(c.getVPNEnabled()); }},
        {"setOnline", encoded(1) + kBoolTag + Bytes(1, '\1'), Result::kInt,
         [](C& c) { return std::to_string(c.setOnline(true)); }},
        {"getVpnState", none, Result::kInt, [](C& c) { return std::to_string(c.getVpnState()); }},
        {"getProductSn", none, Result::kText, [](C& c) { return c.getProductSn(); }},
        {"setVPNPassword", encoded(1) + text("abc123"), Result::kInt,
         [](C& c) { return std::to_string(c.setVPNPassword("abc123")); }},
        {"getVPNPassword", none, Result::kText, [](C& c) { return c.getVPNPassword(); }},
        {"setVPNUserName", encoded(1) + text("vpnuser"), Result::kInt,
         [](C& c) { return std::to_string(c.setVPNUserName("vpnuser")); }},
        {"getVPNUserName", none, Result::kText, [](C& c) { return c.getVPNUserName(); }},
    };
}

struct Sample {
    Bytes block;
    std::string shown;
};

// A good answer of the type.
Sample sampleOf(Result result)
{
    DeviceVPNInfo info;
    info.status = -3;
    info.serverIP = std::string("a\0b", 3);
    info.serverPort = 1194;
    info.deviceName = "name";
    info.vpnIP = "10.8.0.2";
    info.beatInterval = 30;
    switch (result) {
        case Result::kInt:
            return {scripted::result(-2147483647 - 1), "-2147483648"};
        case Result::kBool:
            return {scripted::result(true), "true"};
        case Result::kText:
            return {scripted::result(std::string("te\0xt", 5)), std::string("te\0xt", 5)};
        case Result::kRecord:
            return {scripted::result(info), std::string("-3|a\0b|1194|name|10.8.0.2|30", 28)};
        case Result::kNone:
            break;
    }
    return {"whatever the service sends", ""};
}

}  // namespace

class OperationsTest : public ClientTest
{
};

TEST_F(OperationsTest, ThereAreTwentyOne) { EXPECT_EQ(operations().size(), 21u); }

TEST_F(OperationsTest, EachSendsItsNameAndArgumentsAndReturnsItsAnswer)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.method);
        const Sample sample = sampleOf(operation.result);
        service().replies(operation.method, sample.block);
        EXPECT_EQ(operation.call(m_client), sample.shown);
        EXPECT_EQ(service().calls.back(), operation.method);
        EXPECT_EQ(sent(), operation.arguments);
        EXPECT_EQ(service().timeOutsMs.back(), operation.timeOutMs);
    }
}

TEST_F(OperationsTest, EachFailsWhenItsExchangeFails)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.method);
        service().fails(operation.method);
        EXPECT_EQ(raisedBy([&] { operation.call(m_client); }), "net scripted/fault");
    }
}

TEST_F(OperationsTest, EachWithAResultRefusesEveryOtherTagAndEveryCutReply)
{
    for (const Operation& operation : operations()) {
        if (operation.result == Result::kNone) continue;
        SCOPED_TRACE(operation.method);
        for (const Result other : {Result::kInt, Result::kBool, Result::kText, Result::kRecord}) {
            if (other == operation.result) continue;
            service().replies(operation.method, sampleOf(other).block);
            EXPECT_EQ(raisedBy([&] { operation.call(m_client); }), "unpack failure");
        }
        const Bytes whole = sampleOf(operation.result).block;
        for (std::size_t length = 0; length < whole.size(); ++length) {
            service().replies(operation.method, whole.substr(0, length));
            EXPECT_EQ(raisedBy([&] { operation.call(m_client); }), "unpack failure") << length;
        }
    }
}

TEST_F(OperationsTest, EachWithAResultNeedsAResultBuffer)
{
    for (const Operation& operation : operations()) {
        SCOPED_TRACE(operation.method);
        service().replies(operation.method, sampleOf(operation.result).block).nullResult = true;
        EXPECT_EQ(raisedBy([&] { operation.call(m_client); }),
                  operation.result == Result::kNone ? "nothing" : "unpack failure");
    }
}

TEST_F(OperationsTest, ThoseWithoutAResultNeverLookAtTheReply)
{
    for (const char* method : {"checkCommState", "setDeviceSn", "setVPNEnabled"}) {
        service().replies(method, scripted::result(1)).atRead = scripted::raiseOther;
    }
    m_client.checkCommState();
    m_client.setDeviceSn("1");
    m_client.setVPNEnabled(false);
    EXPECT_EQ(service().readsOfResults, 0);
}

TEST_F(OperationsTest, EmptyStringIsAValidResult)
{
    service().answer("getVPNUserName", "");
    EXPECT_EQ(m_client.getVPNUserName(), "");
}

TEST_F(OperationsTest, TextsOf64KiBAndMoreTravelBothWays)
{
    struct Row {
        std::size_t length;
        Bytes prefix;
    };
    for (const Row& row : {Row{65535, Bytes("\xFF\xFF\0\0", 4)}, Row{65536, Bytes("\0\0\1\0", 4)},
                           Row{1000000, Bytes("\x40\x42\x0F\0", 4)}}) {
        const std::string text(row.length, 't');
        service().replies("getVPNUserName", kTextTag + row.prefix + text);
        EXPECT_EQ(m_client.getVPNUserName(), text);
        service().answer("setVPNCA", 0);
        EXPECT_EQ(m_client.setVPNCA(text), 0);
        EXPECT_EQ(sent(), encoded(1) + kTextTag + row.prefix + text);
    }
}

TEST_F(OperationsTest, IntegersTravelInAllFourBytes)
{
    const Bytes number("\x78\x56\x34\x12", 4);
    service().replies("setBeatInterval", kIntTag + number);
    EXPECT_EQ(m_client.setBeatInterval(0x12345678), 0x12345678);
    EXPECT_EQ(sent(), encoded(1) + kIntTag + number);
}

TEST_F(OperationsTest, TimeOutIsSetAnewForEachCall)
{
    service().acknowledges("checkCommState");
    service().answer("stopVPN", 0);
    m_client.checkCommState();
    m_client.stopVPN();
    EXPECT_EQ(service().timeOutsMs, (std::vector<unsigned int>{3000, 10000}));
}
