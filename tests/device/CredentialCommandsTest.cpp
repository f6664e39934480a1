#include "tests/device/CommandFixture.h"

class CredentialCommandsTest : public CommandTest
{
};

TEST_F(CredentialCommandsTest, GetVpnPasswd)
{
    refuses({{"GetVPNPasswd(r)"},
             {"GetVPNPasswd(t,t,r)"},
             {"GetVPNPasswd(t,t)"},
             {"GetVPNPasswd(t,none)"},
             {"GetVPNPasswd(i,r)"},
             {"GetVPNPasswd(d,r)"},
             {"GetVPNPasswd(none,r)"},
             {"GetVPNPasswd(,r)"},
             {"GetVPNPasswd(o,r)"}});
    sends("getVPNPassword", {{"GetVPNPasswd(t,r)", encoded(0)}});
    EXPECT_EQ(std::get<std::string>(m_host.variables["t"]), "secret99");
    failsWithTheService("getVPNPassword", "GetVPNPasswd(t,r)");
    EXPECT_EQ(std::get<std::string>(m_host.variables["t"]), "text12");
}

TEST_F(CredentialCommandsTest, SetVpnPasswd)
{
    refuses({{"SetVPNPasswd(r)"},
             {"SetVPNPasswd(a,b,r)"},
             {"SetVPNPasswd(t,t)"},
             {"SetVPNPasswd(t,none)"},
             {"SetVPNPasswd(i,r)"},
             {"SetVPNPasswd(o,r)"},
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

TEST_F(CredentialCommandsTest, PasswordInAVariableIsJudgedByItsValue)
{
    struct Row {
        const char* value;
        int code, written;
    };
    for (const Row& row : {Row{"abc12", 5, 5}, Row{"abc123", 0, 0}, Row{"abc_123", 5, 5}}) {
        reset();
        m_host.variables["p"] = std::string(row.value);
        EXPECT_EQ(command("SetVPNPasswd(p,r)"), row.code) << row.value;
        EXPECT_EQ(resultVariable(), row.written);
        EXPECT_EQ(service().calls.size(), row.code == 0 ? 1u : 0u);
    }
}

TEST_F(CredentialCommandsTest, PasswordThatIsNoTextIsAnUnusableReply)
{
    for (const int answer : {0, 1, 2, 3, -1}) {
        reset();
        service().answer("getVPNPassword", answer);
        EXPECT_EQ(outputOf([&] { EXPECT_EQ(command("GetVPNPasswd(t,r)"), 1); }),
                  "mfDevIOCtrl[293] failed with: GeneratedUnpack-deserialize failed\n");
        EXPECT_EQ(resultVariable(), kUntouched);
    }
}
