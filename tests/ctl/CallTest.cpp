#include "ctl/commands/RpcMethods.h"
#include "tests/ctl/CtlProgram.h"
#include "tests/service/Daemon.h"

#include <gtest/gtest.h>

// "call" against the real service, over TCP.
namespace
{

class CallTest : public testing::Test
{
protected:
    CtlResult call(std::vector<std::string> arguments)
    {
        arguments.insert(arguments.begin(),
                         {"call", "--service", "127.0.0.1:" + std::to_string(daemon.port)});
        return program.run(arguments);
    }
    std::string out(const std::vector<std::string>& arguments)
    {
        const CtlResult result = call(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.err << result.out;
        return result.out;
    }

    Daemon daemon{Arguments{"--no-connect"}};
    CtlProgram program;
};

TEST_F(CallTest, EachOfTheMethodsIsCalledAndItsResultPrinted)
{
    const std::string done = "0 (done)\n";
    const std::string sent = "sent; this method answers nothing\n";
    std::set<std::string> called;
    const auto expect = [&](const std::vector<std::string>& arguments, const std::string& text) {
        called.insert(arguments[0]);
        EXPECT_EQ(out(arguments), text) << arguments[0];
    };
    expect({"changeServerIP", "192.0.2.1"}, done);
    expect({"getServerIP"}, "192.0.2.1\n");
    expect({"setServerIPAndPort", "192.0.2.2", "1195"}, done);
    expect({"setBeatInterval", "15"}, done);
    expect({"setVPNUserName", "panel-9"}, done);
    expect({"getVPNUserName"}, "panel-9\n");
    program.setInput("hunter2\n");
    expect({"setVPNPassword"}, done);
    expect({"checkPassword"}, "true\n");
    expect({"hasPassword"}, "true\n");
    expect({"getVPNPassword"}, "********\n");
    expect({"getVPNPassword", "--show-secrets"}, "hunter2\n");
    expect({"setDeviceSn", "SN-7"}, sent);
    expect({"getProductSn"}, "SN-7\n");
    expect({"setOnline", "off"}, done);
    expect({"setOnline", "on"}, done);
    expect({"setVPNEnabled", "false"}, sent);
    expect({"getVPNEnabled"}, "false\n");
    expect({"getVpnState"}, "0\n");
    expect({"setVPNEnabled", "1"}, sent);
    expect({"checkCommState"}, sent);
    expect({"stopVPN"}, done);
    const std::string info = out({"getDeviceVPNInfo"});
    called.insert("getDeviceVPNInfo");
    EXPECT_NE(info.find("serverIP      192.0.2.2\nserverPort    1195\n"), std::string::npos)
        << info;
    EXPECT_NE(info.find("beatInterval  15\n"), std::string::npos) << info;
    expect({"startVPN", "192.0.2.3", "1196"}, done);
    const CtlResult refused = call({"setVPNCA", program.write("ca.pem", "no certificate")});
    called.insert("setVPNCA");
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_EQ(refused.out, "1 (invalid argument, nothing changed)\n");
    for (const ctl::RpcMethod& each : ctl::rpcMethods()) {
        EXPECT_EQ(called.count(each.name), 1U) << each.name;
    }
}

TEST_F(CallTest, JsonHasMethodResultAndMeaning)
{
    EXPECT_EQ(out({"getServerIP", "--get", "result"}), "vpn.example.com\n");
    EXPECT_EQ(out({"stopVPN", "--json"}),
              "{\n  \"method\": \"stopVPN\",\n  \"result\": 0,\n  \"meaning\": \"done\"\n}\n");
    EXPECT_EQ(out({"getDeviceVPNInfo", "--get", "result.serverPort"}), "1194\n");
    EXPECT_EQ(out({"getVPNPassword", "--get", "result"}), "********\n");
}

TEST_F(CallTest, ArgumentsAreCheckedBeforeAnythingIsSent)
{
    const std::pair<std::vector<std::string>, const char*> rows[] = {
        {{"changeServerIP"}, "right would be: call changeServerIP ADDRESS"},
        {{"getServerIP", "x"}, "more arguments than expected"},
        {{"setServerIPAndPort", "a", "b"}, "PORT 'b': a whole number would be right"},
        {{"setServerIPAndPort", "a", "3000000000"}, "it does not fit 32 bits"},
        {{"setOnline", "perhaps"}, "'perhaps': on or off would be right"},
        {{"setVPNCA", "/no/file"}, "cannot read /no/file"},
    };
    for (const auto& [arguments, message] : rows) {
        const CtlResult result = call(arguments);
        EXPECT_EQ(result.exitCode, 2) << message;
        EXPECT_NE(result.err.find(message), std::string::npos) << result.err;
    }
}

TEST_F(CallTest, NobodyThereAndAWrongAddressAreTold)
{
    const CtlResult nobody = program.run({"call", "getVpnState", "--service", "127.0.0.1:1"});
    EXPECT_EQ(nobody.exitCode, 8);
    EXPECT_NE(nobody.err.find("there is no service at 127.0.0.1:1"), std::string::npos);
    const CtlResult wrong = program.run({"call", "getVpnState", "--service", "here"});
    EXPECT_EQ(wrong.exitCode, 2);
    EXPECT_NE(wrong.err.find("--service here: not an IPv4 address with a port"), std::string::npos)
        << wrong.err;
}

}  // namespace
