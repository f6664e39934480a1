#include "tests/service/ServiceCalls.h"

#include <spdlog/sinks/ostream_sink.h>
#include <spdlog/spdlog.h>

#include <memory>
#include <sstream>
#include <string>

// Credentials, certificates and other values; the log.
namespace
{

using raw::args;
using raw::boolean;
using raw::integer;
using raw::string;

TEST_F(VpnServiceTest, BeatIntervalsAreJudgedHere)
{
    connected();
    const auto set = [this](int seconds) {
        return call("setBeatInterval", args(integer(seconds)));
    };
    EXPECT_EQ(set(1), kDone);
    EXPECT_EQ(set(3600), kDone);
    EXPECT_EQ(info().beatInterval, 3600);
    EXPECT_EQ(set(0), kInvalid);
    EXPECT_EQ(set(-5), kInvalid);
    EXPECT_EQ(set(3601), kInvalid);
    EXPECT_EQ(info().beatInterval, 3600);
    EXPECT_EQ(state(), 5) << "applied at the next connect";
}

TEST_F(VpnServiceTest, TheDeviceNumberReplacesTheFactorySerial)
{
    EXPECT_EQ(call("setDeviceSn", args(string("LINE-3/7"))), "");
    EXPECT_EQ(call("getProductSn"), string("LINE-3/7"));
    // Answered all the same: the method has no result.
    EXPECT_EQ(call("setDeviceSn", args(string("a\"b"))), "");
    EXPECT_EQ(call("setDeviceSn", args(string(""))), "");
    EXPECT_EQ(call("getProductSn"), string("LINE-3/7"));
}

TEST_F(VpnServiceTest, CredentialsAreJudgedByTheServicesOwnRule)
{
    const auto setUser = [this](const std::string& t) {
        return call("setVPNUserName", args(string(t)));
    };
    EXPECT_EQ(setUser("panel01"), kDone);
    EXPECT_EQ(setUser("user@site"), kDone);
    EXPECT_EQ(call("getVPNUserName"), string("user@site"));
    EXPECT_EQ(setPassword("a b\"c\\d"), kDone);
    EXPECT_EQ(call("getVPNPassword"), string("a b\"c\\d"));
    for (const std::string& text : {std::string(), std::string("abc\nsignal"),
                                    std::string("abc\0x", 5), std::string(129, 'x')}) {
        EXPECT_EQ(setUser(text), kInvalid);
        EXPECT_EQ(setPassword(text), kInvalid);
    }
    EXPECT_EQ(call("getVPNUserName"), string("user@site"));
    EXPECT_EQ(call("getVPNPassword"), string("a b\"c\\d"));
}

TEST_F(VpnServiceTest, RefusedCredentialsAreFault101UntilThePasswordChanges)
{
    idle();
    EXPECT_EQ(setPassword("wrong123"), kDone);
    EXPECT_EQ(start("vpn.example.com", 1194), kDone);
    settle();
    EXPECT_EQ(state(), 101);
    EXPECT_EQ(status(), 4);
    EXPECT_EQ(call("setBeatInterval", args(integer(5))), kDone);
    EXPECT_EQ(state(), 101);
    EXPECT_EQ(setPassword("right123"), kDone);
    EXPECT_EQ(state(), 2);
    settle();
    EXPECT_EQ(state(), 5);
}

TEST_F(VpnServiceTest, EnablingAtAFaultDoesNotTryTheSameCredentialsAgain)
{
    EXPECT_EQ(setPassword("wrong123"), kDone);
    EXPECT_EQ(start("10.0.0.1", 1194), kDone);
    settle();
    ASSERT_EQ(state(), 101);
    enable(true);
    EXPECT_EQ(state(), 101);
    EXPECT_EQ(start("10.0.0.1", 1194), kDone) << "a start does";
    EXPECT_EQ(state(), 2);
}

TEST_F(VpnServiceTest, ACertificateReconnectsAndTheSameOneDoesNot)
{
    connected();
    const auto set = [this](const std::string& text) {
        return call("setVPNCA", args(string(text)));
    };
    EXPECT_EQ(set("-----BEGIN CERTIFICATE-----\\nMAA=\\n-----END CERTIFICATE-----"), kDone);
    EXPECT_EQ(state(), 6);
    settle();
    EXPECT_EQ(set("MAA="), kDone) << "the same certificate in another form";
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(store().saves, 1);
    EXPECT_EQ(set("no certificate"), kInvalid);
    EXPECT_EQ(set(""), kInvalid);
    EXPECT_EQ(state(), 5);
}

TEST_F(VpnServiceTest, PasswordsCanBeTriedFiveTimesAMinute)
{
    EXPECT_EQ(check("example123"), boolean(true));
    EXPECT_EQ(check("example12"), boolean(false));
    EXPECT_EQ(check(""), boolean(false));
    pass(30000);
    EXPECT_EQ(check("Example123"), boolean(false));
    EXPECT_EQ(check("example123"), boolean(true));
    EXPECT_EQ(check("example123"), boolean(false)) << "the sixth";
    pass(29999);
    EXPECT_EQ(check("example123"), boolean(false));
    // Only the three from the beginning are a minute old.
    pass(1);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(check("example123"), boolean(true));
    EXPECT_EQ(check("example123"), boolean(false));
    pass(60000);
    EXPECT_EQ(check("example123"), boolean(true));
}

TEST_F(VpnServiceTest, SecretsReachNoLogLine)
{
    std::ostringstream log;
    const auto before = spdlog::default_logger();
    auto logger = std::make_shared<spdlog::logger>(
        "test", std::make_shared<spdlog::sinks::ostream_sink_st>(log));
    logger->set_level(spdlog::level::trace);
    spdlog::set_default_logger(logger);
    check("example123");
    check("GuessedSecret");
    setPassword("NewSecret1");
    setPassword("NewSecret2\n");
    call("setVPNUserName", args(string("SecretUser")));
    call("setVPNCA", args(string("MAIFAA==")));
    call("setVPNCA", args(string("SecretText")));
    call("setDeviceSn", args(string("Secret\nforged log line")));
    start("vpn.example.com", 1194);
    store().fails = true;
    setPassword("NewSecret3");
    for (int i = 0; i < 10; ++i) check("GuessedSecret");
    spdlog::set_default_logger(before);
    EXPECT_NE(log.str().find("password: set"), std::string::npos)
        << "the log must have been looked at";
    EXPECT_NE(log.str().find("password: could not be stored"), std::string::npos);
    for (const char* secret : {"Secret", "secret", "example123", "MAIF", "forged"}) {
        EXPECT_EQ(log.str().find(secret), std::string::npos) << log.str();
    }
}

}  // namespace
