#include "service/core/Caller.h"
#include "service/daemon/Serial.h"
#include "tests/service/ConfigurationFixture.h"
#include "tests/service/TestCertificates.h"

#include <gmock/gmock.h>

namespace vpnd
{
namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::StartsWith;

class ConfigurationTest : public ConfigurationFixture
{
};

TEST_F(ConfigurationTest, WithoutAFileTheDefaultsCount)
{
    const LoadedConfiguration loaded = loadConfiguration(options, machine, names);
    ASSERT_TRUE(loaded.configuration);
    const Configuration& c = *loaded.configuration;
    EXPECT_EQ(c.file, "");
    EXPECT_EQ(c.tunnel, "simulated");
    EXPECT_EQ(c.listen, "127.0.0.1:9009");
    EXPECT_EQ(c.state, "/var/lib/orva-vpnd");
    EXPECT_EQ(c.deviceName, "line-3");
    EXPECT_TRUE(c.access.readers.everybody);
    EXPECT_FALSE(c.access.changers.everybody);
    EXPECT_THAT(c.access.changers.uids, ElementsAre(0, 990));
    EXPECT_FALSE(c.access.secretReaders.everybody);
    EXPECT_THAT(c.access.secretReaders.uids, ElementsAre(0, 990));
    EXPECT_TRUE(c.access.masksSecrets);
    EXPECT_EQ(c.history.rows, 10000U);
    EXPECT_EQ(c.history.bytesADay, 8U * 1024 * 1024);
    EXPECT_EQ(c.initial.server, "");
    EXPECT_EQ(c.initial.password, "");
    EXPECT_TRUE(c.initial.connect);
    EXPECT_EQ(c.logLevel, "info");
    EXPECT_THAT(c.warnings, IsEmpty());
    EXPECT_THAT(good("").file, path("vpnd.toml"));
}

TEST_F(ConfigurationTest, EveryKeyIsRead)
{
    write("ca.pem", certificates::ca());
    const Configuration c = good(R"(
tunnel = "simulated"
listen = "[::1]:9010"
state = "none"
[device]
name = "pump 7"
serial = "SN-1"
[callers]
read = ["hmi", 5]
change = ["root", "@operators", 7, 1001]
[secrets]
show-to = ["hmi"]
others-see = "nothing"
[history]
rows = 100
bytes-per-day = "64 KiB"
[settings]
server = "vpn.example.com"
port = 443
user = "u"
password = "p"
ca-file = "ca.pem"
device-number = "N"
device-name = "D"
beat-interval = 3600
enabled = false
online = false
connect = false
[log]
level = "debug"
)");
    EXPECT_EQ(c.listen, "[::1]:9010");
    EXPECT_EQ(c.state, kNoState);
    EXPECT_EQ(c.deviceName, "pump 7");
    EXPECT_EQ(c.serial, "SN-1");
    EXPECT_FALSE(c.access.readers.everybody);
    EXPECT_THAT(c.access.readers.uids, ElementsAre(5, 1000));
    EXPECT_THAT(c.access.changers.uids, ElementsAre(0, 7, 1001, 1002));
    EXPECT_THAT(c.access.secretReaders.uids, ElementsAre(1000));
    EXPECT_FALSE(c.access.masksSecrets);
    EXPECT_EQ(c.history.rows, 100U);
    EXPECT_EQ(c.history.bytesADay, 65536U);
    EXPECT_EQ(c.initial.server, "vpn.example.com");
    EXPECT_EQ(c.initial.port, 443);
    EXPECT_EQ(c.initial.userName, "u");
    EXPECT_EQ(c.initial.password, "p");
    EXPECT_EQ(c.initial.certificates, certificates::ca());
    EXPECT_EQ(c.initial.deviceNumber, "N");
    EXPECT_EQ(c.initial.deviceName, "D");
    EXPECT_EQ(c.initial.beatIntervalS, 3600);
    EXPECT_FALSE(c.initial.enabled);
    EXPECT_FALSE(c.initial.online);
    EXPECT_FALSE(c.initial.connect);
    EXPECT_EQ(c.logLevel, "debug");
    EXPECT_THAT(c.warnings, IsEmpty());
}

TEST_F(ConfigurationTest, BytesPerDayHaveUnits)
{
    const std::pair<const char*, std::uint64_t> cases[] = {{"65536", 65536},
                                                           {"\"65536\"", 65536},
                                                           {"\"100 KiB\"", 102400},
                                                           {"\"2 MiB\"", 2 * 1024 * 1024},
                                                           {"\"1 GiB\"", 1024 * 1024 * 1024},
                                                           {"1073741824", 1073741824}};
    for (const auto& [text, bytes] : cases) {
        EXPECT_EQ(good(std::string("[history]\nbytes-per-day = ") + text).history.bytesADay, bytes);
    }
}

TEST_F(ConfigurationTest, LineEndsOfWindowsAndAByteOrderMarkDoNotMatter)
{
    EXPECT_EQ(good("\xEF\xBB\xBF[history]\r\nrows = 200\r\n").history.rows, 200U);
}

TEST_F(ConfigurationTest, AFileThatIsNamedTakesThePlaceOfTheUsualOne)
{
    write("vpnd.toml", "[history]\nrows = 200\n");
    options.config = write("other.toml", "[history]\nrows = 300\n");
    const LoadedConfiguration loaded = loadConfiguration(options, machine, names);
    ASSERT_TRUE(loaded.configuration);
    EXPECT_EQ(loaded.configuration->history.rows, 300U);
    EXPECT_EQ(loaded.configuration->file, options.config);
}

TEST_F(ConfigurationTest, OptionsWinOverTheFile)
{
    options.listen = "127.0.0.1:0";
    options.state = "here";
    options.deviceName = "from options";
    options.serial = "OPT-1";
    options.logLevel = "off";
    const Configuration c = good(
        "listen = \"127.0.0.1:1\"\nstate = \"/there\"\n[device]\nname = \"file\"\n"
        "serial = \"F\"\n[log]\nlevel = \"warn\"\n");
    EXPECT_EQ(c.listen, "127.0.0.1:0");
    EXPECT_EQ(c.state, "here");
    EXPECT_EQ(c.deviceName, "from options");
    EXPECT_EQ(c.serial, "OPT-1");
    EXPECT_EQ(c.logLevel, "off");
}

TEST_F(ConfigurationTest, TheFileWinsOverTheFolderThatSystemdNames)
{
    machine.stateFolder = "/run/somewhere";
    EXPECT_EQ(good("").state, "/run/somewhere");
    EXPECT_EQ(good("state = \"/there\"\n").state, "/there");
}

TEST_F(ConfigurationTest, AHostNameThatIsNoDeviceNameIsNotOne)
{
    for (const char* name : {"", "a\"b", "tab\tbed"}) {
        machine.hostName = name;
        EXPECT_EQ(good("").deviceName, "panel") << name;
    }
}

TEST_F(ConfigurationTest, TheSerialNumberHasItsSources)
{
    write("sn", std::string("ABC-7\n\0", 7));
    EXPECT_EQ(good("[device]\nserial-file = \"sn\"\n").serial, "ABC-7");
    EXPECT_EQ(good("[device]\nserial-file = \"" + path("sn") + "\"\n").serial, "ABC-7");
    const std::string derived = good("[device]\nserial-from = \"machine-id\"\n").serial;
    EXPECT_THAT(derived, ::testing::MatchesRegex("ORVA-[0-9A-F]{12}"));
    EXPECT_EQ(good("").serial, derived);
    std::filesystem::remove(machine.idFile);
    EXPECT_EQ(good("").serial, kUnknownSerial);
}

TEST_F(ConfigurationTest, EverybodyInALongerListStaysEverybody)
{
    const Configuration c = good("[callers]\nchange = [\"hmi\", \"everybody\"]\nread = []\n");
    EXPECT_TRUE(c.access.changers.everybody);
    EXPECT_FALSE(c.access.readers.everybody);
    Caller unknown;
    unknown.interface = Interface::kRpc;
    EXPECT_FALSE(c.access.mayChange(unknown));
}

TEST_F(ConfigurationTest, UnknownUsersOfAGroupAreLeftOut)
{
    EXPECT_THAT(good("[callers]\nchange = [\"@mixed\", \"@empty\"]\n").access.changers.uids,
                ElementsAre(1002));
}

TEST_F(ConfigurationTest, APasswordThatOthersMayReadIsWarnedOfOnce)
{
    const std::string text = "[settings]\npassword = \"p\"\n";
    const auto warnings = [&](mode_t mode, gid_t group) {
        machine.group = group;
        return loadText(text, mode).configuration->warnings;
    };
    struct stat status = {};
    ASSERT_EQ(::stat(path("machine-id").c_str(), &status), 0);
    const gid_t own = status.st_gid;
    EXPECT_THAT(warnings(0600, own), IsEmpty());
    EXPECT_THAT(warnings(0640, own), IsEmpty());
    EXPECT_THAT(warnings(0644, own),
                ElementsAre(HasSubstr("holds a password, and others may read")));
    EXPECT_THAT(warnings(0604, own), ElementsAre(HasSubstr("chmod 600")));
    EXPECT_THAT(warnings(0622, own), ElementsAre(HasSubstr("others may write it")));
    EXPECT_THAT(loadText("", 0644).configuration->warnings, IsEmpty());
    if (own != 0) {
        EXPECT_THAT(warnings(0640, own + 1), ElementsAre(HasSubstr("others may read")));
    }
}

TEST_F(ConfigurationTest, ReadingAgainTakesOverWhatCanBeTakenOver)
{
    const Configuration before = good("[history]\nrows = 200\n");
    write("vpnd.toml",
          "listen = \"127.0.0.1:1\"\nstate = \"none\"\n[history]\nrows = 300\n[device]\n"
          "name = \"new\"\nserial = \"S\"\n[callers]\nchange = [\"hmi\"]\n[secrets]\n"
          "show-to = []\n[log]\nlevel = \"off\"\n");
    const ReloadedConfiguration again = reload(before, options, machine, names);
    ASSERT_TRUE(again.configuration);
    EXPECT_EQ(again.configuration->history.rows, 300U);
    EXPECT_EQ(again.configuration->deviceName, "new");
    EXPECT_EQ(again.configuration->serial, "S");
    EXPECT_THAT(again.configuration->access.changers.uids, ElementsAre(1000));
    EXPECT_THAT(again.configuration->access.secretReaders.uids, IsEmpty());
    EXPECT_EQ(again.configuration->logLevel, "off");
    EXPECT_EQ(again.configuration->listen, before.listen);
    EXPECT_EQ(again.configuration->state, before.state);
    EXPECT_THAT(again.needRestart, ElementsAre("listen: 127.0.0.1:1 counts after a restart",
                                               "state: none counts after a restart"));
    // The next time it is told again: it is still so.
    EXPECT_EQ(reload(*again.configuration, options, machine, names).needRestart.size(), 2U);
}

TEST_F(ConfigurationTest, ReadingAgainAWrongFileChangesNothing)
{
    const Configuration before = good("[history]\nrows = 200\n");
    write("vpnd.toml", "[history]\nrows = 300\n[callers]\nchange = [\"gone\"]\n");
    const ReloadedConfiguration again = reload(before, options, machine, names);
    EXPECT_FALSE(again.configuration);
    EXPECT_THAT(again.faults, ElementsAre(StartsWith(path("vpnd.toml") + ":4: [callers] change")));

    std::filesystem::remove(path("vpnd.toml"));
    const ReloadedConfiguration gone = reload(before, options, machine, names);
    EXPECT_FALSE(gone.configuration);
    EXPECT_THAT(gone.faults, ElementsAre(path("vpnd.toml") + ": is not there any more"));
}

TEST_F(ConfigurationTest, OptionsWinWhenTheFileIsReadAgainToo)
{
    options.deviceName = "from options";
    options.listen = "127.0.0.1:0";
    const Configuration before = good("[history]\nrows = 200\n");
    write("vpnd.toml", "listen = \"127.0.0.1:1\"\n[device]\nname = \"file\"\n");
    const ReloadedConfiguration again = reload(before, options, machine, names);
    ASSERT_TRUE(again.configuration);
    EXPECT_EQ(again.configuration->deviceName, "from options");
    EXPECT_EQ(again.configuration->listen, "127.0.0.1:0");
    EXPECT_THAT(again.needRestart, IsEmpty());
}

TEST_F(ConfigurationTest, AFileThatAppearsIsReadOnTheNextOccasion)
{
    const LoadedConfiguration none = loadConfiguration(options, machine, names);
    write("vpnd.toml", "[history]\nrows = 300\n");
    const ReloadedConfiguration again = reload(*none.configuration, options, machine, names);
    ASSERT_TRUE(again.configuration);
    EXPECT_EQ(again.configuration->history.rows, 300U);
}

TEST_F(ConfigurationTest, ACheckTellsWhatIsInForceWithoutSecrets)
{
    write("vpnd.toml",
          "[settings]\nuser = \"somebody\"\npassword = \"hidden1\"\n[callers]\nchange = [7]\n");
    const ConfigurationCheck check = checkConfiguration(options, machine, names);
    EXPECT_EQ(check.exitCode, 0);
    EXPECT_THAT(check.output, StartsWith(path("vpnd.toml") + ": good\n"));
    for (const char* part :
         {"tunnel      simulated\n", "change      user 7\n", "read        everybody\n",
          "user = somebody\n", "password = set\n", "rows"}) {
        EXPECT_THAT(check.output, HasSubstr(part));
    }
    EXPECT_EQ(check.output.find("hidden1"), std::string::npos);
    EXPECT_EQ(check.errors, "");
}

TEST_F(ConfigurationTest, ACheckTellsAWrongFileOnStandardError)
{
    write("vpnd.toml", "[history]\nrows = 5\n");
    const ConfigurationCheck check = checkConfiguration(options, machine, names);
    EXPECT_EQ(check.exitCode, 2);
    EXPECT_EQ(check.output, "");
    EXPECT_EQ(check.errors, path("vpnd.toml") +
                                ":2: [history] rows: 5 is not possible; right would be a whole "
                                "number from 100 to 100000\n");
}

TEST_F(ConfigurationTest, ACheckWithoutAFileSaysSo)
{
    const ConfigurationCheck check = checkConfiguration(options, machine, names);
    EXPECT_EQ(check.exitCode, 0);
    EXPECT_THAT(check.output, StartsWith(path("vpnd.toml") + ": not there, the defaults count\n"));
}

}  // namespace
}  // namespace vpnd
