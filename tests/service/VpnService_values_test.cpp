#include "tests/service/CapturedLog.h"
#include "tests/service/ServiceCalls.h"
#include "tests/service/TestCertificates.h"

#include <gmock/gmock.h>

#include <string>

// Credentials, certificates and other values; the log.
namespace
{

using raw::args;
using raw::boolean;
using raw::integer;
using raw::string;
using testing::HasSubstr;
using testing::Not;

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
    EXPECT_EQ(set(0x0001003C), kInvalid) << "60 without its third byte";
    EXPECT_EQ(set(0x0100003C), kInvalid) << "60 without its top byte";
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
    const std::string der = certificates::certificate();
    EXPECT_EQ(setCa(certificates::pem(der)), kDone);
    EXPECT_EQ(state(), 6);
    settle();
    EXPECT_EQ(setCa(certificates::base64(der)), kDone) << "the same certificate in another form";
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(store().saves, 1);
    EXPECT_EQ(store().saved.certificates, certificates::pem(der));
    EXPECT_EQ(setCa("no certificate"), kInvalid);
    EXPECT_EQ(setCa(""), kInvalid);
    EXPECT_EQ(setCa(certificates::pem(certificates::privateKey())), kInvalid);
    EXPECT_EQ(state(), 5);
    EXPECT_EQ(store().saves, 1);
}

TEST_F(VpnServiceTest, TheLogShowsWhoseCertificatesWereSetAndWhyOthersWereRefused)
{
    certificates::Recipe recipe;
    recipe.subject = "Forged\nline";
    const std::string der = certificates::certificate(recipe);
    const std::string text = certificates::ca() + certificates::pem(der);
    const CapturedLog log;
    EXPECT_EQ(setCa(text), kDone);
    EXPECT_THAT(log.text(),
                HasSubstr("certificates: \"CN=Example CA, valid until 2036-01-31 23:59:59 UTC"));
    EXPECT_THAT(log.text(), HasSubstr("; CN=Forged\\0Aline, valid until 2036"));
    const std::string before = log.text();
    EXPECT_EQ(setCa(text), kDone);
    EXPECT_THAT(log.text().substr(before.size()), Not(HasSubstr("valid until"))) << "as before";
    store().fails = true;
    EXPECT_EQ(setCa(certificates::ca()), kNotStored);
    EXPECT_THAT(log.text().substr(before.size()), Not(HasSubstr("valid until"))) << "not in force";
    EXPECT_EQ(setCa("no certificate"), kInvalid);
    EXPECT_THAT(log.text(), HasSubstr("setVPNCA: invalid: not the base64 form of a certificate"));
    for (std::size_t at = 0; at + 16 <= text.size(); at += 16) {
        EXPECT_THAT(log.text(), Not(HasSubstr(text.substr(at, 16))));
    }
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
    const CapturedLog log;
    check("example123");
    check("GuessedSecret");
    setPassword("NewSecret1");
    setPassword("NewSecret2\n");
    call("setVPNUserName", args(string("OtherUser")));
    setCa(certificates::pem(certificates::privateKey()));
    setCa("SecretText");
    call("setDeviceSn", args(string("Secret\nforged log line")));
    start("vpn.example.com", 1194);
    store().fails = true;
    setPassword("NewSecret3");
    for (int i = 0; i < 10; ++i) check("GuessedSecret");
    pass(vpnd::CountedLog::kPauseMs);
    loop().turn(0);  // what was counted
    EXPECT_THAT(log.text(), HasSubstr("password: \"set\"")) << "the log must have been looked at";
    EXPECT_THAT(log.text(), HasSubstr("could not be stored"));
    const std::string key = certificates::base64(certificates::privateKey());
    for (const std::string& secret :
         {std::string("Secret"), std::string("secret"), std::string("example123"),
          key.substr(0, 16), key.substr(64, 16), std::string("forged")}) {
        EXPECT_THAT(log.text(), Not(HasSubstr(secret)));
    }
}

}  // namespace
