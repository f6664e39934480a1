#include "service/daemon/ConfigurationReader.h"
#include "service/daemon/ConfigurationRules.h"
#include "tests/service/ConfigurationFixture.h"

#include <gmock/gmock.h>

#include <sys/stat.h>

namespace vpnd
{
namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::SizeIs;
using ::testing::StartsWith;

class ConfigurationFaultsTest : public ConfigurationFixture
{
};

struct Wrong {
    const char* text;
    const char* says;
};

TEST_F(ConfigurationFaultsTest, AWrongValueGetsFileLineKeyAndWhatWouldBeRight)
{
    const Wrong cases[] = {
        {"tunnel = \"openvpn\"",
         "1: tunnel: \"openvpn\" is not possible; right would be \"simulated\""},
        {"tunnel = 1", "1: tunnel: a whole number; right would be \"simulated\""},
        {"listen = \"localhost:9009\"",
         "1: listen: \"localhost:9009\" is not possible; right would be a numeric address with "
         "port, "
         "such as \"127.0.0.1:9009\""},
        {"listen = \"127.0.0.1\"", "1: listen: \"127.0.0.1\" is not possible"},
        {"listen = 9009", "1: listen: a whole number; right"},
        {"state = \"here\"", "1: state: \"here\" is not possible; right would be a folder's path"},
        {"state = \"\"", "1: state: \"\" is not possible"},
        {"state = false", "1: state: true or false; right"},
        {"[device]\nname = \"\"",
         "2: [device] name: \"\" is not possible; right would be 1 to 64 bytes"},
        {"[device]\nname = \"a\\tb\"", "2: [device] name: \"a\\x09b\" is not possible"},
        {"[device]\nname = 7", "2: [device] name: a whole number; right"},
        {"[device]\nserial = \"a b\"",
         "2: [device] serial: \"a b\" is not possible; right would be 1 to 64"},
        {"[device]\nserial = 1.5", "2: [device] serial: a number with a point or exponent; right"},
        {"[device]\nserial-file = \"none\"",
         "2: [device] serial-file: \"none\" cannot be read: No such file or directory; right would "
         "be a file"},
        {"[device]\nserial-file = \".\"",
         "2: [device] serial-file: \".\" cannot be read: no regular file"},
        {"[device]\nserial-file = []", "2: [device] serial-file: a list; right"},
        {"[device]\nserial-from = \"mac\"",
         "2: [device] serial-from: \"mac\" is not possible; right would be \"machine-id\""},
        {"[device]\nserial-from = 2026-01-01", "2: [device] serial-from: a date or time; right"},
        {"[device]\nserial = \"a\"\nserial-from = \"machine-id\"",
         "3: [device] serial-from: stands beside serial; right would be one of serial, serial-file "
         "and serial-from"},
        {"[callers]\nread = \"everybody\"",
         "2: [callers] read: a text in quotes; right would be users, \"@group\""},
        {"[callers]\nread = [\n\"hmi\",\n\"hmx\"]",
         "4: [callers] read: there is no user 'hmx'; right would be users"},
        {"[callers]\nchange = [\"@staff\"]",
         "2: [callers] change: there is no group 'staff'; right"},
        {"[callers]\nchange = [\"@\"]",
         "2: [callers] change: \"@\" is no name of a user or group; right"},
        {"[callers]\nchange = [\"\"]",
         "2: [callers] change: \"\" is no name of a user or group; right"},
        {"[callers]\nchange = [\"a\\u0000b\"]", "2: [callers] change: \"a\\x00b\" is no name"},
        {"[callers]\nchange = [-1]", "2: [callers] change: -1 is no number of a user; right"},
        {"[callers]\nchange = [4294967295]",
         "2: [callers] change: 4294967295 is no number of a user"},
        {"[callers]\nchange = [65534]",
         "2: [callers] change: 65534 stands for callers whom the kernel does not know"},
        {"[callers]\nchange = [\"unknown\"]",
         "2: [callers] change: \"unknown\" stands for callers whom"},
        {"[callers]\nchange = [true]", "2: [callers] change: true or false; right"},
        {"[callers]\nchange = [[\"hmi\"]]", "2: [callers] change: a list; right"},
        {"[secrets]\nshow-to = {}", "2: [secrets] show-to: a section; right would be users"},
        {"[secrets]\nothers-see = \"all\"",
         "2: [secrets] others-see: \"all\" is not possible; right would be \"stars\" or "
         "\"nothing\""},
        {"[secrets]\nothers-see = true", "2: [secrets] others-see: true or false; right"},
        {"[history]\nrows = 99",
         "2: [history] rows: 99 is not possible; right would be a whole number from 100 to 100000"},
        {"[history]\nrows = 100001", "2: [history] rows: 100001 is not possible"},
        {"[history]\nrows = -100", "2: [history] rows: -100 is not possible"},
        {"[history]\nrows = \"100\"", "2: [history] rows: a text in quotes; right"},
        {"[history]\nbytes-per-day = 65535",
         "2: [history] bytes-per-day: 65535 is not possible; right would be \"64 KiB\""},
        {"[history]\nbytes-per-day = 1073741825",
         "2: [history] bytes-per-day: 1073741825 is not possible"},
        {"[history]\nbytes-per-day = \"2 GiB\"",
         "2: [history] bytes-per-day: \"2 GiB\" is not possible"},
        {"[history]\nbytes-per-day = \"18014398509481984 KiB\"",
         "2: [history] bytes-per-day: \"18014398509481984 KiB\" is"},
        {"[history]\nbytes-per-day = \"8 MB\"",
         "2: [history] bytes-per-day: \"8 MB\" is not possible"},
        {"[history]\nbytes-per-day = \" MiB\"",
         "2: [history] bytes-per-day: \" MiB\" is not possible"},
        {"[history]\nbytes-per-day = 1e6",
         "2: [history] bytes-per-day: a number with a point or exponent; right"},
        {"[settings]\nserver = \"123\"",
         "2: [settings] server: \"123\" is not possible; right would be an IP address"},
        {"[settings]\nserver = 1", "2: [settings] server: a whole number; right"},
        {"[settings]\nport = 0",
         "2: [settings] port: 0 is not possible; right would be a whole number from 1 to 65535"},
        {"[settings]\nport = 65536", "2: [settings] port: 65536 is not possible"},
        {"[settings]\nport = \"1194\"", "2: [settings] port: a text in quotes; right"},
        {"[settings]\nuser = \"\\n\"",
         "2: [settings] user: \"\\x0A\" is not possible; right would be 1 to 128"},
        {"[settings]\nca-file = \"none\"",
         "2: [settings] ca-file: \"none\" cannot be read: No such file"},
        {"[settings]\nca-file = \"machine-id\"",
         "2: [settings] ca-file: \"machine-id\" is refused: "},
        {"[settings]\ndevice-number = 5", "2: [settings] device-number: a whole number; right"},
        {"[settings]\ndevice-name = \"\\\"\"", "2: [settings] device-name: \"\"\" is not possible"},
        {"[settings]\nbeat-interval = 3601",
         "2: [settings] beat-interval: 3601 is not possible; right would be a whole number of "
         "seconds"},
        {"[settings]\nenabled = 1",
         "2: [settings] enabled: a whole number; right would be true or false"},
        {"[settings]\nonline = \"true\"",
         "2: [settings] online: a text in quotes; right would be true or false"},
        {"[settings]\nconnect = [true]",
         "2: [settings] connect: a list; right would be true or false"},
        {"[log]\nlevel = \"verbose\"",
         "2: [log] level: \"verbose\" is not possible; right would be \"debug\", \"info\""},
    };
    for (const Wrong& wrong : cases) {
        EXPECT_THAT(faultsOf(wrong.text), ElementsAre(StartsWith(wrong.says))) << wrong.text;
    }
}

TEST_F(ConfigurationFaultsTest, EveryKeyRefusesAWrongType)
{
    for (const ConfigurationRule& rule : configurationRules()) {
        const std::string text = (rule.section.empty() ? "" : "[" + rule.section + "]") + "\n" +
                                 rule.key + " = 1979-05-27\n";
        EXPECT_THAT(
            faultsOf(text),
            ElementsAre(HasSubstr("2: " + (rule.section.empty() ? "" : "[" + rule.section + "] ") +
                                  rule.key + ": a date or time; right would be " + rule.right)));
    }
}

TEST_F(ConfigurationFaultsTest, AnUnknownKeyOrSectionIsToldWithTheNearest)
{
    const Wrong cases[] = {
        {"listn = \"127.0.0.1:1\"", "1: listn: is not known; right would be listen"},
        {"[history]\nrow = 5", "2: [history] row: is not known; right would be rows"},
        {"[history]\nbytes_per_day = 5",
         "2: [history] bytes_per_day: is not known; right would be bytes-per-day"},
        {"[histroy]\nrows = 100", "1: [histroy]: is not known; right would be [history]"},
        {"[xyzzy]", "1: [xyzzy]: is not known; right would be one of "},
        {"[callers]\nxyzzy = 1",
         "2: [callers] xyzzy: is not known; right would be one of read, change"},
        {"[device]\nrows = 100",
         "2: [device] rows: is not known; right would be rows in [history]"},
        {"password = 1", "1: password: is not known; right would be password in [settings]"},
        {"[device]\nlisten = 1",
         "2: [device] listen: is not known; right would be listen above the first section"},
        {"[settings]\ncertificates = 1",
         "2: [settings] certificates: is not known; right would be "},
        {"history = 5", "1: [history]: a whole number; right would be a section [history]"},
        {"[[history]]\nrows = 100", "1: [history]: a list; right would be a section [history]"},
        {"[history.more]\nrows = 100", "1: [history.more]: is not known; right would be "},
        {"\"\" = 5", "1: : is not known; right would be one of "},
        {"\"a\\nb\" = 5", "1: a\\x0Ab: is not known; right"},
    };
    for (const Wrong& wrong : cases) {
        EXPECT_THAT(faultsOf(wrong.text), ElementsAre(StartsWith(wrong.says))) << wrong.text;
    }
}

TEST_F(ConfigurationFaultsTest, WhatIsNoTomlGetsItsLine)
{
    const Wrong cases[] = {
        {"[history]\nrows = 100\nrows = 200\n",
         "3: this stands here a second time; right would be each key and each [SECTION] once"},
        {"[history]\nrows = 100\n[log]\n[history]\n", "4: this stands here a second time"},
        {"[log]\nlevel = info\n", "2: no TOML from column 12 on; right would be KEY = VALUE"},
        {"[log\nlevel = \"info\"\n", "1: no TOML from column"},
        {"\nlisten\n", "2: no TOML from column"},
        {"[=", "1: no TOML from column 2 on"},
        {"[[ :", "1: no TOML from column"},
        {"listen = \"127.0.0.1:1",
         "1: the file ends in the middle; right would be a quote or a bracket that closes"},
        {"\n\n\x01", "3: no TOML from column"},
        {"a = \"\xFF\xFE\"", "1: no TOML from column"},
    };
    for (const Wrong& wrong : cases) {
        EXPECT_THAT(faultsOf(wrong.text), ElementsAre(StartsWith(wrong.says))) << wrong.text;
    }
    EXPECT_THAT(faultsOf(std::string("a\0b", 3)), SizeIs(1));
    EXPECT_THAT(faultsOf(std::string("\x7f"
                                     "ELF\x02\x01\x01\0\0\0",
                                     10)),
                SizeIs(1));
    EXPECT_THAT(faultsOf(std::string("\xFF\xFEl\0i\0", 6)), SizeIs(1));
}

TEST_F(ConfigurationFaultsTest, AllFaultsAreToldByLineUpToABound)
{
    EXPECT_THAT(faultsOf("listn = 1\n[log]\nlevel = 5\n[history]\nrows = 1\nrow = 2\n"
                         "[callers]\nchange = [\"a\", \"hmi\", \"b\"]\n"),
                ElementsAre(StartsWith("1: listn"), StartsWith("3: [log] level"),
                            StartsWith("5: [history] rows"), StartsWith("6: [history] row:"),
                            HasSubstr("'a'"), HasSubstr("'b'")));
    std::string many;
    for (int i = 0; i < 60; ++i) many += "k" + std::to_string(i) + " = 1\n";
    write("vpnd.toml", many);
    const std::vector<std::string> faults = loadConfiguration(options, machine, names).faults;
    ASSERT_THAT(faults, SizeIs(kMaxFaults + 1));
    EXPECT_EQ(faults.back(), path("vpnd.toml") + ": and 10 more");
}

TEST_F(ConfigurationFaultsTest, LongValuesAndListsAreCut)
{
    const std::vector<std::string> faults = faultsOf("tunnel = \"" + std::string(5000, 'x') + "\"");
    ASSERT_THAT(faults, SizeIs(1));
    EXPECT_LT(faults[0].size(), 200U);
    std::string list = "[callers]\nchange = [0";
    for (int i = 0; i < 100; ++i) list += ", 0";
    EXPECT_THAT(faultsOf(list + "]"),
                ElementsAre("2: [callers] change: 101 entries; right would be at most 100"));
}

TEST_F(ConfigurationFaultsTest, AFileThatCannotBeReadIsAFaultUnlessItIsTheUsualOneAndNotThere)
{
    const auto faults = [this] { return loadConfiguration(options, machine, names).faults; };
    EXPECT_THAT(faults(), SizeIs(0));
    std::filesystem::create_directory(path("vpnd.toml"));
    EXPECT_THAT(faults(), ElementsAre(path("vpnd.toml") + ": cannot be read: no regular file"));
    options.config = path("none.toml");
    EXPECT_THAT(faults(),
                ElementsAre(path("none.toml") + ": cannot be read: No such file or directory"));
    options.config = path("machine-id") + "/vpnd.toml";
    EXPECT_THAT(faults(), ElementsAre(HasSubstr(": cannot be read: Not a directory")));
    // Root reads whatever its mode is; a loop of links nobody does.
    std::filesystem::create_symlink("loop.toml", path("loop.toml"));
    machine.configurationFile = path("loop.toml");
    options.config = "";
    EXPECT_THAT(faults(), ElementsAre(HasSubstr("loop.toml: cannot be read: ")));
    options.config = path("pipe");
    ASSERT_EQ(::mkfifo(options.config.c_str(), 0600), 0);
    EXPECT_THAT(faults(), ElementsAre(options.config + ": cannot be read: no regular file"));
    options.config = write("big.toml", std::string(kMaxConfigurationBytes + 1, '#'));
    EXPECT_THAT(faults(),
                ElementsAre(options.config + ": cannot be read: larger than 65536 bytes"));
    options.config = write("full.toml", std::string(kMaxConfigurationBytes, '#'));
    EXPECT_THAT(faults(), SizeIs(0));
}

TEST_F(ConfigurationFaultsTest, WhatIsNestedTooDeepNeverReachesTheParser)
{
    for (const char* open : {"[", "{a=", "a."}) {
        std::string text = "x = ";
        if (open[0] == 'a') text = "";
        while (text.size() < 60000) text += open;
        EXPECT_THAT(faultsOf("\n" + text),
                    ElementsAre("2: too deep; right would be at most 16 names in "
                                "a key and 16 brackets in each other"));
    }
}

TEST_F(ConfigurationFaultsTest, WhatASerialFileHoldsIsNotTold)
{
    write("shadow", "root:$6$MARKER:1::::\n");
    const std::vector<std::string> faults = faultsOf("[device]\nserial-file = \"shadow\"\n");
    EXPECT_THAT(faults, ElementsAre(HasSubstr("\"shadow\" holds no serial number")));
    EXPECT_THAT(faults, ElementsAre(Not(HasSubstr("MARKER"))));
}

// Everywhere where somebody may have put a password, right or wrong.
TEST_F(ConfigurationFaultsTest, AValueOfASecretKeyIsNeverTold)
{
    const std::string marker = "Marker9Zq";
    std::vector<std::string> texts;
    for (const ConfigurationRule& rule : configurationRules()) {
        if (!rule.isSecret) continue;
        for (const std::string& key : {rule.key, "\"" + rule.key + "\"", rule.key + "x"}) {
            for (const std::string section :
                 {"[settings]\n", "[device]\n", "", "settings.", "[[settings]]\n"}) {
                for (const std::string value : {"\"MARK\\u0001\"",
                                                "\"MARK",
                                                "'MARK",
                                                "MARK",
                                                "\"MARK\" MARK",
                                                "\"\"\"\nMARK\nMARK = MARK\n",
                                                "[\"MARK\"]",
                                                "[MARK]",
                                                "{ a = \"MARK\" }",
                                                "{ MARK = 1 }",
                                                "true MARK",
                                                "trueMARK",
                                                "\"MARK\\q\"",
                                                "\"MARK\"\npassword = \"MARK\"",
                                                "\"MARK\"\n]MARK",
                                                "\"MARK\\n\"",
                                                "12345678901234567890MARK",
                                                "inf MARK",
                                                "2026-01-01MARK",
                                                "0xMARK",
                                                "\"MARK\xFF\"",
                                                "\"********\" # MARK",
                                                "\"\"\"MARK\n\"\"\"",
                                                "\"MARK\"\nserver = MARK",
                                                "\"MARK\"\n\n[MARK"}) {
                    std::string text = section + key + " = " + value + "\n";
                    for (std::size_t at = text.find("MARK"); at != text.npos;
                         at = text.find("MARK", at + 1)) {
                        text.replace(at, 4, marker);
                    }
                    texts.push_back(text);
                }
            }
        }
    }
    ASSERT_GT(texts.size(), 100U);
    std::size_t wrong = 0;
    for (const std::string& text : texts) {
        const LoadedConfiguration loaded = loadText(text);
        std::string all;
        for (const std::string& fault : loaded.faults) all += fault;
        if (loaded.configuration) all += summaryOf(*loaded.configuration);
        // Not its beginning either: parsers quote what they have read so far.
        EXPECT_THAT(all, Not(HasSubstr(marker.substr(0, 4)))) << text;
        if (!loaded.faults.empty()) ++wrong;
    }
    EXPECT_GT(wrong, texts.size() / 2);
}

// As it slips while somebody edits the file: one character too many, too few or wrong.
TEST_F(ConfigurationFaultsTest, ASlipAnywhereTellsNoPassword)
{
    const std::string text =
        "[callers]\nchange = [\"hmi\"]\n[settings]\nuser = \"u\"\npassword = \"Marker9Zq\"\n"
        "port = 443\n[log]\nlevel = \"info\"\n";
    std::size_t wrong = 0;
    const auto look = [&](const std::string& slipped) {
        Configuration configuration;
        ConfigurationReader reader("f", machine, names, configuration);
        reader.read(slipped);
        for (const std::string& fault : reader.faults()) {
            ++wrong;
            EXPECT_THAT(fault, Not(HasSubstr("Mark"))) << slipped;
            EXPECT_THAT(fault, Not(HasSubstr("9Zq"))) << slipped;
        }
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        look(std::string(text).erase(i, 1));
        for (const char c : std::string("\"'[]{}=#\n.,\\ a0\xFF")) {
            look(std::string(text).replace(i, 1, 1, c));
            look(std::string(text).insert(i, 1, c));
        }
    }
    EXPECT_GT(wrong, 1000U);
}

// A number that is too large is quoted by the parser.
TEST_F(ConfigurationFaultsTest, ANumericPasswordIsNeverTold)
{
    for (const char* value : {"98765432109876543210987", "987654", "9876.54",
                              "0x98765432109876543210", "1e9876", "9876-54-32"}) {
        const std::vector<std::string> faults =
            faultsOf(std::string("[settings]\npassword = ") + value + "\n");
        ASSERT_THAT(faults, SizeIs(1)) << value;
        EXPECT_THAT(faults[0], Not(HasSubstr("9876"))) << value;
    }
}

}  // namespace
}  // namespace vpnd
