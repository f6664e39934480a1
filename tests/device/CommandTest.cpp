#include "tests/device/DeviceFixture.h"

#include <optional>
#include <vector>

using scripted::Bytes;
using scripted::encoded;

// Every command in every situation: what it returns, what it writes into its
// result variable and what goes out on the wire. The host has the variables
// i = 7 (int), d = 8.6 (double), t = "text12" (text), on = 1, off = 0.0,
// addr = "10.9.8.7", and r as the result variable.
class CommandTest : public DeviceTest
{
protected:
    static constexpr int kUntouched = -77;

    CommandTest() { reset(); }

    void reset()
    {
        orva_device::SvrExitDevRun(m_data);
        scripted::resetService();
        m_host.variables = {{"i", 7},
                            {"d", 8.6},
                            {"t", std::string("text12")},
                            {"on", 1},
                            {"off", 0.0},
                            {"addr", std::string("10.9.8.7")},
                            {"bad", std::string("no_good")},
                            {"r", kUntouched},
                            {"rd", -77.0}};
        for (const char* method : {"setServerIPAndPort", "startVPN", "setVPNCA", "stopVPN",
                                   "setBeatInterval", "setOnline", "setVPNPassword"}) {
            service().answer(method, 0);
        }
        for (const char* method : {"setDeviceSn", "setVPNEnabled", "checkCommState"}) {
            service().acknowledges(method);
        }
        service().answer("getVPNPassword", "secret99");
        DeviceVPNInfo info;
        info.serverIP = "192.0.2.1";
        info.serverPort = 443;
        service().answer("getDeviceVPNInfo", info);
    }
    int resultVariable() { return std::get<int>(m_host.variables["r"]); }

    // One situation that ends before anything is sent.
    struct Refusal {
        const char* text;
        int written = kUntouched;
    };
    void refuses(const std::vector<Refusal>& rows)
    {
        for (const Refusal& row : rows) {
            reset();
            SCOPED_TRACE(row.text);
            EXPECT_EQ(command(row.text), 5);
            EXPECT_EQ(resultVariable(), row.written);
            EXPECT_TRUE(service().calls.empty());
        }
    }

    // One situation that reaches the service with these arguments, answered 0.
    struct Sent {
        const char* text;
        Bytes arguments;
    };
    void sends(const char* method, const std::vector<Sent>& rows)
    {
        for (const Sent& row : rows) {
            reset();
            SCOPED_TRACE(row.text);
            EXPECT_EQ(command(row.text), 0);
            EXPECT_EQ(resultVariable(), 0);
            ASSERT_FALSE(service().calls.empty());
            EXPECT_EQ(service().calls.back(), method);
            EXPECT_EQ(service().arguments.back(), row.arguments);
            EXPECT_EQ(service().events.back(), "client gone");
        }
    }

    // The command's code for each answer of the service.
    struct Answered {
        int answer, code;
        std::optional<int> written = std::nullopt;  // the answer itself unless given
    };
    void maps(const char* method, const char* text, const std::vector<Answered>& rows)
    {
        for (const Answered& row : rows) {
            reset();
            SCOPED_TRACE(std::string(text) + " answered " + std::to_string(row.answer));
            service().answer(method, row.answer);
            EXPECT_EQ(command(text), row.code);
            EXPECT_EQ(resultVariable(), row.written.value_or(row.answer));
        }
    }

    void failsWithTheService(const char* method, const char* text)
    {
        reset();
        service().fails(method);
        EXPECT_EQ(outputOf([&] { EXPECT_EQ(command(text), 1); }),
                  "mfDevIOCtrl[293] failed with: scripted-fault\n");
        EXPECT_EQ(resultVariable(), kUntouched);
        EXPECT_EQ(service().connectionsAlive, 0);
    }

    static Bytes one(const Bytes& argument) { return encoded(1) + argument; }
    static Bytes server(const std::string& address, int port)
    {
        return encoded(2) + textArgument(address) + intArgument(port);
    }
};

TEST_F(CommandTest, SetVpnServer)
{
    refuses({{"SETVPNSERVER()"},
             {"SETVPNSERVER(a,1)"},
             {"SETVPNSERVER(a,1,r,r)"},
             {"SETVPNSERVER(a,1,t)"},
             {"SETVPNSERVER(a,1,none)"},
             {"SETVPNSERVER(a,1,)"},
             {"SETVPNSERVER(a,12.5,r)", 5},
             {"SETVPNSERVER(a,port,r)", 5},
             {"SETVPNSERVER(a,t,r)", 5},
             {"SETVPNSERVER(10.0.0.1,0,r)", 1},
             {"SETVPNSERVER(10.0.0.1,65536,r)", 1},
             {"SETVPNSERVER(10.0.0.1,-1,r)", 1}});
    sends("setServerIPAndPort", {{"SETVPNSERVER(10.0.0.1,65535,r)", server("10.0.0.1", 65535)},
                                 {"SETVPNSERVER(10.0.0.1,1,r)", server("10.0.0.1", 1)},
                                 {"SETVPNSERVER(myhost,1194,r)", server("myhost", 1194)},
                                 {"SETVPNSERVER(addr,i,r)", server("10.9.8.7", 7)},
                                 {"SETVPNSERVER(addr,d,r)", server("10.9.8.7", 8)},
                                 {"SETVPNSERVER(i,d,r)", server("i", 8)},
                                 {"SETVPNSERVER( a b , +22 ,r)", server("a b", 22)},
                                 {"SETVPNSERVER(,,r)", server("192.0.2.1", 443)},
                                 {"SETVPNSERVER(,1194,r)", server("192.0.2.1", 1194)},
                                 {"SETVPNSERVER(10.0.0.1,,r)", server("10.0.0.1", 443)}});
    maps("setServerIPAndPort", "SETVPNSERVER(a,1194,r)",
         {{0, 0}, {1, 5}, {2, 9}, {3, 0}, {-1, 0}, {20, 0}});
    failsWithTheService("setServerIPAndPort", "SETVPNSERVER(a,1194,r)");
    failsWithTheService("getDeviceVPNInfo", "SETVPNSERVER(,1194,r)");
}

TEST_F(CommandTest, SetVpnServerAsksForTheRecordOnlyWhenSomethingIsLeftOut)
{
    command("SETVPNSERVER(a,1,r)");
    EXPECT_EQ(service().calls, scripted::Calls{"setServerIPAndPort"});
    reset();
    command("SETVPNSERVER(,1,r)");
    EXPECT_EQ(service().calls, (scripted::Calls{"getDeviceVPNInfo", "setServerIPAndPort"}));
}

TEST_F(CommandTest, ServerCommandsRefuseWhatTheServiceItselfDoesNotKnow)
{
    for (const char* text : {"SETVPNSERVER(,,r)", "STARTVPN(,,r)"}) {
        reset();
        service().answer("getDeviceVPNInfo", DeviceVPNInfo());
        EXPECT_EQ(command(text), 5);
        EXPECT_EQ(resultVariable(), 1);
        EXPECT_EQ(service().calls, scripted::Calls{"getDeviceVPNInfo"});
    }
}

TEST_F(CommandTest, StartVpn)
{
    refuses({{"STARTVPN(10.0.0.1,1)"},
             {"STARTVPN(10.0.0.1,1,r,r)"},
             {"STARTVPN(10.0.0.1,1,t)"},
             {"STARTVPN(10.0.0.1,1,none)"},
             {"STARTVPN(10.0.0.1,12.5,r)", 5},
             {"STARTVPN(10.0.0.1,x,r)", 5},
             {"STARTVPN(myhost,1194,r)", 1},
             {"STARTVPN(010.0.0.1,1194,r)", 1},
             {"STARTVPN(10.1,1194,r)", 1},
             {"STARTVPN(255.255.255.255,1194,r)", 1},
             {"STARTVPN(i,1194,r)", 1},
             {"STARTVPN(10.0.0.1,0,r)", 1},
             {"STARTVPN(10.0.0.1,65536,r)", 1}});
    sends("startVPN", {{"STARTVPN(10.0.0.1,1194,r)", server("10.0.0.1", 1194)},
                       {"STARTVPN(addr,i,r)", server("10.9.8.7", 7)},
                       {"STARTVPN(addr,d,r)", server("10.9.8.7", 8)},
                       {"STARTVPN(,,r)", server("192.0.2.1", 443)}});
    maps("startVPN", "STARTVPN(10.0.0.1,1194,r)", {{0, 0}, {1, 5}, {2, 9}, {3, 0}, {-1, 0}});
    failsWithTheService("startVPN", "STARTVPN(10.0.0.1,1194,r)");
}

TEST_F(CommandTest, SetVpnCa)
{
    refuses({{"SETVPNCA(r)"}, {"SETVPNCA(a,b,r)"}, {"SETVPNCA(a,t)"}, {"SETVPNCA(a,none)"}});
    sends("setVPNCA", {{"SETVPNCA(literal,r)", one(textArgument("literal"))},
                       {"SETVPNCA(t,r)", one(textArgument("text12"))},
                       {"SETVPNCA(i,r)", one(textArgument("i"))},
                       {"SETVPNCA(d,r)", one(textArgument("d"))},
                       {"SETVPNCA(,r)", one(textArgument(""))}});
    maps("setVPNCA", "SETVPNCA(t,r)", {{0, 0}, {1, 4}, {2, 4}, {3, 4}, {-1, 4}});
    failsWithTheService("setVPNCA", "SETVPNCA(t,r)");
}

TEST_F(CommandTest, StopVpn)
{
    refuses({{"STOPVPN(r,x)"}, {"STOPVPN()"}, {"STOPVPN(t)"}, {"STOPVPN(none)"}});
    sends("stopVPN", {{"STOPVPN(r)", encoded(0)}});
    maps("stopVPN", "STOPVPN(r)", {{0, 0}, {1, 4}, {2, 4}, {3, 4}, {-1, 4}});
    failsWithTheService("stopVPN", "STOPVPN(r)");
}

TEST_F(CommandTest, SetDeviceSn)
{
    refuses({{"SETDEVICESN(r)"},
             {"SETDEVICESN(a,b,r)"},
             {"SETDEVICESN(a,t)"},
             {"SETDEVICESN(a,none)"},
             {"SETDEVICESN(i,r)", 5},
             {"SETDEVICESN(d,r)", 5}});
    sends("setDeviceSn", {{"SETDEVICESN(SN-77,r)", one(textArgument("SN-77"))},
                          {"SETDEVICESN(t,r)", one(textArgument("text12"))},
                          {"SETDEVICESN(,r)", one(textArgument(""))}});
    maps("setDeviceSn", "SETDEVICESN(t,r)", {{1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {-1, 0, 0}});
    failsWithTheService("setDeviceSn", "SETDEVICESN(t,r)");
}

TEST_F(CommandTest, SetAliveTime)
{
    refuses({{"SETALIVETIME(r)"},
             {"SETALIVETIME(1,2,r)"},
             {"SETALIVETIME(1,t)"},
             {"SETALIVETIME(1,none)"},
             {"SETALIVETIME(abc,r)", 5},
             {"SETALIVETIME(12.5,r)", 5},
             {"SETALIVETIME(,r)", 5},
             {"SETALIVETIME(t,r)", 5},
             {"SETALIVETIME(5 5,r)", 5}});
    sends("setBeatInterval", {{"SETALIVETIME(30,r)", one(intArgument(30))},
                              {"SETALIVETIME(-30,r)", one(intArgument(-30))},
                              {"SETALIVETIME(0,r)", one(intArgument(0))},
                              {"SETALIVETIME(99999999999,r)", one(intArgument(2147483647))},
                              {"SETALIVETIME(i,r)", one(intArgument(7))},
                              {"SETALIVETIME(d,r)", one(intArgument(8))}});
    maps("setBeatInterval", "SETALIVETIME(30,r)", {{0, 0}, {1, 5}, {2, 5}, {3, 5}, {-1, 5}});
    failsWithTheService("setBeatInterval", "SETALIVETIME(30,r)");
}

TEST_F(CommandTest, Refresh)
{
    for (const char* text : {"REFRESH()", "REFRESH(anything)", "REFRESH(a,b,c)", "refresh( )"}) {
        reset();
        EXPECT_EQ(command(text), 0) << text;
        EXPECT_EQ(service().calls, scripted::Calls{"checkCommState"});
        EXPECT_EQ(service().arguments.back(), encoded(0));
        EXPECT_EQ(service().timeOutsMs.back(), 3000u);
        EXPECT_EQ(resultVariable(), kUntouched);
    }
    failsWithTheService("checkCommState", "REFRESH()");
}

TEST_F(CommandTest, Enable)
{
    refuses({{"Enable(r)"},
             {"Enable(on,on,r)"},
             {"Enable(on,t)"},
             {"Enable(on,none)"},
             {"Enable(1,r)", 5},
             {"Enable(none,r)", 5},
             {"Enable(t,r)", 5},
             {"Enable(,r)", 5}});
    sends("setVPNEnabled", {{"Enable(on,r)", one(boolArgument(true))},
                            {"Enable(off,r)", one(boolArgument(false))},
                            {"Enable(d,r)", one(boolArgument(true))}});
    maps("setVPNEnabled", "Enable(on,r)", {{1, 0, 0}, {-1, 0, 0}});
    failsWithTheService("setVPNEnabled", "Enable(on,r)");
}

TEST_F(CommandTest, EnableTakesALiteralOnlyWhereAVariableHasThatName)
{
    m_host.variables["1"] = 0;
    EXPECT_EQ(command("Enable(1,r)"), 0);
    EXPECT_EQ(service().arguments.back(), one(boolArgument(false)));
}

TEST_F(CommandTest, EnableRoundsItsSwitch)
{
    struct Row {
        double value;
        bool enabled;
    };
    for (const Row& row : {Row{0.49, false}, Row{0.49999999999999994, true}, Row{0.5, true},
                           Row{-0.49, false}, Row{-0.5, true}, Row{4294967296.0, true},
                           Row{4294967295.0, true}, Row{1e300, true}, Row{-1e300, true}}) {
        reset();
        m_host.variables["d"] = row.value;
        EXPECT_EQ(command("Enable(d,r)"), 0);
        EXPECT_EQ(service().arguments.back(), one(boolArgument(row.enabled))) << row.value;
    }
}

TEST_F(CommandTest, OnlineAndOffline)
{
    refuses({{"Online()"},
             {"Online(r,r)"},
             {"Online(t)"},
             {"Online(none)"},
             {"Offline()"},
             {"Offline(r,r)"},
             {"Offline(t)"},
             {"Offline(none)"}});
    sends("setOnline",
          {{"Online(r)", one(boolArgument(true))}, {"Offline(r)", one(boolArgument(false))}});
    for (const char* text : {"Online(r)", "Offline(r)"}) {
        maps("setOnline", text, {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {-1, 0, 0}});
        failsWithTheService("setOnline", text);
    }
}

TEST_F(CommandTest, GetVpnPasswd)
{
    refuses({{"GetVPNPasswd(r)"},
             {"GetVPNPasswd(t,t,r)"},
             {"GetVPNPasswd(t,t)"},
             {"GetVPNPasswd(t,none)"},
             {"GetVPNPasswd(i,r)"},
             {"GetVPNPasswd(d,r)"},
             {"GetVPNPasswd(none,r)"},
             {"GetVPNPasswd(,r)"}});
    sends("getVPNPassword", {{"GetVPNPasswd(t,r)", encoded(0)}});
    EXPECT_EQ(std::get<std::string>(m_host.variables["t"]), "secret99");
    failsWithTheService("getVPNPassword", "GetVPNPasswd(t,r)");
    EXPECT_EQ(std::get<std::string>(m_host.variables["t"]), "text12");
}

TEST_F(CommandTest, SetVpnPasswd)
{
    refuses({{"SetVPNPasswd(r)"},
             {"SetVPNPasswd(a,b,r)"},
             {"SetVPNPasswd(t,t)"},
             {"SetVPNPasswd(t,none)"},
             {"SetVPNPasswd(i,r)"},
             {"SetVPNPasswd(d,r)"},
             {"SetVPNPasswd(bad,r)", 5},
             {"SetVPNPasswd(abc12,r)", 5},
             {"SetVPNPasswd(abc_123,r)", 5},
             {"SetVPNPasswd(,r)", 5}});
    // A literal is let through: unlike Enable, a name without a variable is the password itself.
    sends("setVPNPassword", {{"SetVPNPasswd(t,r)", one(textArgument("text12"))},
                             {"SetVPNPasswd(abc123,r)", one(textArgument("abc123"))}});
    maps("setVPNPassword", "SetVPNPasswd(t,r)",
         {{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {-1, 0, 0}});
    failsWithTheService("setVPNPassword", "SetVPNPasswd(t,r)");
}

TEST_F(CommandTest, ResultVariableMayBeADouble)
{
    service().answer("stopVPN", 3);
    EXPECT_EQ(command("STOPVPN(rd)"), 4);
    EXPECT_EQ(std::get<double>(m_host.variables["rd"]), 3.0);
}

TEST_F(CommandTest, TextFromAVariableMayHoldCommasAndParentheses)
{
    m_host.variables["t"] = std::string("a,b)c(");
    EXPECT_EQ(command("SETVPNCA(t,r)"), 0);
    EXPECT_EQ(service().arguments.back(), one(textArgument("a,b)c(")));
}

TEST_F(CommandTest, TextFromAVariableIsCutAtItsFirstZeroByte)
{
    m_host.variables["t"] = std::string("abc\0def", 7);
    EXPECT_EQ(command("SETVPNCA(t,r)"), 0);
    EXPECT_EQ(service().arguments.back(), one(textArgument("abc")));
}

TEST_F(CommandTest, ClientsAreGoneBeforeAHostVariableIsWritten)
{
    struct WatchingHost : scripted::FakeRtdb {
        int SetParamInt(const char* name, int value) override
        {
            lastEvent = scripted::service().events.back();
            return FakeRtdb::SetParamInt(name, value);
        }
        std::string lastEvent;
    } watching;
    watching.variables = m_host.variables;
    m_data.pRtdb = &watching;
    for (const char* text :
         {"SETVPNSERVER(a,1,r)", "STARTVPN(10.0.0.1,1,r)", "SETVPNCA(t,r)", "STOPVPN(r)",
          "SETDEVICESN(t,r)", "SETALIVETIME(1,r)", "Enable(on,r)", "Online(r)", "Offline(r)",
          "GetVPNPasswd(t,r)", "SetVPNPasswd(abc123,r)"}) {
        EXPECT_EQ(command(text), 0) << text;
        EXPECT_EQ(watching.lastEvent, "client gone") << text;
    }
}

TEST_F(CommandTest, FailedWriteOfTheResultIsToldWhereTheCommandTellsIt)
{
    // A result variable that vanishes between the check and the write.
    struct VanishingHost : scripted::FakeRtdb {
        int GetParamType(const char* name, DATATYPE& type) override
        {
            const int answer = FakeRtdb::GetParamType(name, type);
            if (std::string(name) == "r" && ++queries == 1) variables.erase("r");
            return answer;
        }
        int queries = 0;
    } host;
    m_data.pRtdb = &host;
    const auto run = [&](const char* text) {
        host.variables = {{"r", 0}, {"on", 1}, {"t", std::string("text12")}};
        host.queries = 0;
        return command(text);
    };
    EXPECT_EQ(run("STOPVPN(r)"), 5);
    EXPECT_EQ(run("SETVPNCA(t,r)"), 5);
    EXPECT_EQ(run("SETDEVICESN(t,r)"), 5);
    EXPECT_EQ(run("SETALIVETIME(1,r)"), 5);
    EXPECT_EQ(run("SETVPNSERVER(a,1,r)"), 5);
    EXPECT_EQ(run("STARTVPN(10.0.0.1,1,r)"), 5);
    service().answer("startVPN", 2);
    EXPECT_EQ(run("STARTVPN(10.0.0.1,1,r)"), 5) << "goes before the service's \"not now\"";
    EXPECT_EQ(run("Enable(on,r)"), 0);
    EXPECT_EQ(run("Online(r)"), 0);
    EXPECT_EQ(run("GetVPNPasswd(t,r)"), 0);
    EXPECT_EQ(run("SetVPNPasswd(t,r)"), 0);
}

TEST_F(CommandTest, WithoutTypeQueryThereIsNoResultVariable)
{
    m_data.pfnGetParamType = nullptr;
    for (const char* text : {"STOPVPN(r)", "Enable(on,r)", "SetVPNPasswd(abc123,r)", "Online(r)"}) {
        EXPECT_EQ(command(text), 5) << text;
    }
    EXPECT_TRUE(service().calls.empty());
}

TEST_F(CommandTest, NoCommandWritesIntoTheValueArrays)
{
    for (const char* text :
         {"STOPVPN(r)", "GetVPNPasswd(t,r)", "REFRESH()", "ORVA_WRITE(9=abc123)"}) {
        command(text);
        for (int i = 0; i <= 10; ++i) {
            EXPECT_EQ(m_numbers[i], 0.0);
            EXPECT_STREQ(m_texts[i], "");
        }
    }
}
