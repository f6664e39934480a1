#include "tests/device/CommandFixture.h"

class CommandRulesTest : public CommandTest
{
};

TEST_F(CommandRulesTest, ResultVariableMayBeADouble)
{
    service().answer("stopVPN", 3);
    EXPECT_EQ(command("STOPVPN(rd)"), 4);
    EXPECT_EQ(std::get<double>(m_host.variables["rd"]), 3.0);
}

TEST_F(CommandRulesTest, TextFromAVariableMayHoldCommasAndParentheses)
{
    m_host.variables["t"] = std::string("a,b)c(");
    EXPECT_EQ(command("SETVPNCA(t,r)"), 0);
    EXPECT_EQ(lastSent(), one(textArgument("a,b)c(")));
}

TEST_F(CommandRulesTest, TextFromAVariableIsCutAtItsFirstZeroByte)
{
    m_host.variables["t"] = std::string("abc\0def", 7);
    EXPECT_EQ(command("SETVPNCA(t,r)"), 0);
    EXPECT_EQ(lastSent(), one(textArgument("abc")));
}

TEST_F(CommandRulesTest, ClientsAreGoneBeforeAHostVariableIsWritten)
{
    struct WatchingHost : scripted::FakeRtdb {
        int SetParamInt(const char* name, int value) override
        {
            lastEvent = scripted::service().events.back();
            return FakeRtdb::SetParamInt(name, value);
        }
        int SetParamString(const char* name, const std::string& value) override
        {
            EXPECT_EQ(scripted::service().events.back(), "client gone") << name;
            return FakeRtdb::SetParamString(name, value);
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

TEST_F(CommandRulesTest, FailedWriteOfTheResultIsToldWhereTheCommandTellsIt)
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
    service().answer("stopVPN", 3);
    service().answer("setVPNCA", 3);
    EXPECT_EQ(run("STOPVPN(r)"), 5) << "goes before the refusal";
    EXPECT_EQ(run("SETVPNCA(t,r)"), 5) << "goes before the refusal";
    service().answer("startVPN", 2);
    EXPECT_EQ(run("STARTVPN(10.0.0.1,1,r)"), 5) << "goes before the service's \"not now\"";
    EXPECT_EQ(run("Enable(on,r)"), 0);
    EXPECT_EQ(run("Online(r)"), 0);
    EXPECT_EQ(run("GetVPNPasswd(t,r)"), 0);
    EXPECT_EQ(run("SetVPNPasswd(t,r)"), 0);
}

TEST_F(CommandRulesTest, WithoutTypeQueryThereIsNoResultVariable)
{
    m_data.pfnGetParamType = nullptr;
    for (const char* text : {"STOPVPN(r)", "Enable(on,r)", "SetVPNPasswd(abc123,r)", "Online(r)"}) {
        EXPECT_EQ(command(text), 5) << text;
    }
    EXPECT_TRUE(service().calls.empty());
}

TEST_F(CommandRulesTest, NoCommandWritesIntoTheValueArrays)
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

TEST_F(CommandRulesTest, HostThatCleansUpInTheMiddleOfACommandEndsItWithoutAService)
{
    struct CleaningHost : scripted::FakeRtdb {
        int GetParamType(const char* name, DATATYPE& type) override
        {
            orva_device::SvrExitDevRun(*data);
            return FakeRtdb::GetParamType(name, type);
        }
        ORVA_DATA* data = nullptr;
    } host;
    host.variables = m_host.variables;
    host.data = &m_data;
    m_data.pRtdb = &host;
    for (const char* text : {"STOPVPN(r)", "SETVPNSERVER(,,r)", "SETVPNCA(t,r)", "Online(r)"}) {
        EXPECT_EQ(outputOf([&] { EXPECT_EQ(command(text), 1) << text; }),
                  "mfDevIOCtrl[293] failed with: sync-no connection\n");
    }
}
