#include "panel/project/ProjectFile.h"
#include "panel/project/ProjectKeys.h"
#include "panel/runtime/ConfigBlob.h"
#include "panel/runtime/PanelError.h"
#include "tests/panel/PanelProgram.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <fstream>
#include <map>
#include <regex>

namespace panel
{
namespace
{

using ::testing::HasSubstr;

constexpr const char* kDevice = "[[device]]\nname = \"A\"\ndriver = \"a.so\"\n";  // lines 1 to 3
constexpr const char* kVariable =
    "[[variable]]\nname = \"v\"\ntype = \"int\"\nvalue = 1\n";  // 4 to 7

class ProjectFileTest : public ::testing::Test
{
protected:
    Project load(const std::string& text) { return loadProject(m_folder.write("p.toml", text)); }
    // What is said about the file, from the line number on.
    std::string errorOf(const std::string& text)
    {
        try {
            load(text);
            return "";
        } catch (const PanelError& error) {
            const std::string file = m_folder.path("p.toml") + ":";
            EXPECT_EQ(std::string(error.what()).compare(0, file.size(), file), 0) << error.what();
            return std::string(error.what()).substr(file.size());
        }
    }
    TestFolder m_folder;
};

TEST_F(ProjectFileTest, WhatIsNotGivenHasItsDefault)
{
    const Project project = load(kDevice);
    ASSERT_EQ(project.devices.size(), 1U);
    EXPECT_EQ(project.devices[0].name, "A");
    EXPECT_EQ(project.devices[0].driver, m_folder.path("a.so"));
    EXPECT_EQ(project.devices[0].blob, makeConfigBlob(10));
    EXPECT_EQ(project.devices[0].channels, allChannels());
    EXPECT_EQ(project.devices[0].periodMs, 1000);
    EXPECT_EQ(project.durationMs, 0);
    EXPECT_EQ(project.watchdogMs, 30000);
}

TEST_F(ProjectFileTest, EverythingThatCanBeSaidIsRead)
{
    m_folder.write("blob", "\x23\x4E");
    m_folder.write("secret", "abc\n");
    const Project project = load(
        "duration_ms = 5\nwatchdog_ms = 10\n"
        "[[device]]\nname = \"A\"\ndriver = \"/x/a.so\"\nblob = \"blob\"\nperiod_ms = 10\n"
        "channels = \"1-2\"\n"
        "[[device]]\nname = \"B\"\ndriver = \"b.so\"\nno_config = true\n"
        "[[device]]\nname = \"C\"\ndriver = \"b.so\"\nmax_channel = -1\n"
        "[[variable]]\nname = \"d\"\ntype = \"double\"\nvalue = 1\n"
        "[[variable]]\nname = \"s\"\ntype = \"string\"\nvalue = { file = \"secret\" }\n"
        "[[action]]\ndevice = \"B\"\nat_ms = 1\nevery_ms = 20\ntimes = 3\ncommand = \"X()\"\n"
        "[[action]]\ndevice = \"A\"\nwrite = { channel = 9, type = \"int\", value = -5 }\n"
        "[[action]]\ndevice = \"C\"\nwhen = { variable = \"d\", equals = 2.5 }\n"
        "set = { variable = \"s\", value = \"x\" }\n");
    EXPECT_EQ(project.durationMs, 5);
    EXPECT_EQ(project.watchdogMs, 10);
    EXPECT_EQ(project.devices[0].driver, "/x/a.so");
    EXPECT_EQ(project.devices[0].blob, (std::vector<unsigned char>{0x23, 0x4E}));
    EXPECT_EQ(project.devices[0].channels, parseChannelList("1-2"));
    EXPECT_TRUE(project.devices[1].blob.empty());
    EXPECT_EQ(project.devices[2].blob, makeConfigBlob(-1));
    EXPECT_EQ(project.variables[0].value, Value(1.0));
    EXPECT_EQ(project.variables[1].value, Value(std::string("abc\n")));
    ASSERT_EQ(project.actions.size(), 3U);
    EXPECT_EQ(project.actions[0].device, 1U);
    EXPECT_EQ(project.actions[0].everyMs, 20);
    EXPECT_EQ(project.actions[0].times, 3);
    EXPECT_EQ(std::get<CommandAction>(project.actions[0].what).text, "X()");
    EXPECT_EQ(std::get<WriteAction>(project.actions[1].what).value, Value(-5));
    EXPECT_EQ(project.actions[2].when->value, Value(2.5));
    EXPECT_EQ(std::get<SetAction>(project.actions[2].what).variable.name, "s");
}

struct Wrong {
    const char* text;
    const char* says;
};

TEST_F(ProjectFileTest, AWrongDeviceGetsLineKeyAndWhatWouldBeRight)
{
    const Wrong cases[] = {
        {"[[device]]\ndriver = \"A\"\n", "1: device: key 'name' is missing; right would be a text"},
        {"[[device]]\nname = \"A\"\ndriver = \"\"\n",
         "3: key 'driver' in device: right would be a text"},
        {"[[device]]\nname = 5\n", "2: key 'name' in device: right would be a text"},
        {"[[device]]\nname = \"\"\n", "2: key 'name' in device: right would be a text"},
        {"\n[device]\nname = \"A\"\n",
         "2: key 'device' in the project: right would be tables of "
         "the form [[device]]"},
        {"device = [1]\n", "1: key 'device' in the project: right would be tables of the form"},
        {"", "1: the project: key 'device' is missing; right would be a table [[device]]"},
        {"duration_ms = 0\n",
         "1: key 'duration_ms' in the project: right would be a whole number "
         "from 1 to 86400000"},
        {"duration_ms = \"1\"\n", "1: key 'duration_ms' in the project: right would be a whole"},
        {"watchdog_ms = 1.5\n", "1: key 'watchdog_ms' in the project: right would be a whole"},
    };
    for (const Wrong& wrong : cases) EXPECT_THAT(errorOf(wrong.text), HasSubstr(wrong.says));

    const Wrong lines[] = {
        {"perod_ms = 5\n",
         "4: key 'perod_ms' is not known in device; right would be name, driver,"},
        {"period_ms = 9\n", "4: key 'period_ms' in device: right would be a whole number from 10"},
        {"channels = \"11\"\n", "4: key 'channels' in device: right would be a list such as"},
        {"channels = 11\n", "4: key 'channels' in device: right would be a text"},
        {"max_channel = 3000000000\n", "4: key 'max_channel' in device: right would be a whole"},
        {"no_config = true\nmax_channel = 3\n",
         "4: key 'no_config' in device: right would be only "
         "one of max_channel, blob and no_config"},
        {"no_config = 1\n", "4: key 'no_config' in device: right would be true or false"},
        {"blob = \"missing\"\n", "4: key 'blob' in device: right would be a file that can be read"},
        {"[[device]]\nname = \"A\\u009B\"\n",
         "5: key 'name' in device: right would be a name without control characters"},
        {"[[device]]\nname = \"A\"\n", "5: key 'name' in device: right would be a name that no"},
    };
    for (const Wrong& wrong : lines) {
        EXPECT_THAT(errorOf(std::string(kDevice) + wrong.text), HasSubstr(wrong.says));
    }
}

TEST_F(ProjectFileTest, AWrongVariableGetsLineKeyAndWhatWouldBeRight)
{
    const Wrong cases[] = {
        {"[[variable]]\nname = \"a b\"\n",
         "5: key 'name' in variable: right would be a name without"},
        {"[[variable]]\nname = \"a\"\nvalue = 1\n", "4: variable: key 'type' is missing"},
        {"[[variable]]\nname = \"a\"\ntype = \"bool\"\n",
         "6: key 'type' in variable: right would be "
         "\"int\", \"double\" or \"string\""},
        {"[[variable]]\nname = \"a\"\ntype = \"int\"\nvalue = 1.5\n",
         "7: key 'value' in variable: right would be a whole number from -2147483648 to "
         "2147483647"},
        {"[[variable]]\nname = \"a\"\ntype = \"double\"\nvalue = true\n",
         "7: key 'value' in variable: right would be a number such as 2.5"},
        {"[[variable]]\nname = \"a\"\ntype = \"string\"\nvalue = 1\n",
         "7: key 'value' in variable: right would be a text in quotes"},
        {"[[variable]]\nname = \"a\"\ntype = \"string\"\nvalue = { file = \"missing\" }\n",
         "7: key 'file' in variable.value: right would be a file that can be read; cannot read"},
        {"[[variable]]\nname = \"a\"\ntype = \"int\"\nvalue = 1\n[[variable]]\nname = \"a\"\n",
         "9: key 'name' in variable: right would be a name that no other variable has"},
    };
    for (const Wrong& wrong : cases) {
        EXPECT_THAT(errorOf(std::string(kDevice) + wrong.text), HasSubstr(wrong.says));
    }
}

TEST_F(ProjectFileTest, AWrongActionGetsLineKeyAndWhatWouldBeRight)
{
    const Wrong cases[] = {
        {"", "8: action: a key is missing; right would be one of command, write and set"},
        {"command = \"A()\"\nset = { variable = \"v\", value = 1 }\n",
         "10: key 'set' in action: right would be only one of command, write and set"},
        {"command = 5\n", "9: key 'command' in action: right would be a text"},
        {"device = \"B\"\n", "9: key 'device' in action: right would be the name of a [[device]]"},
        {"times = 2\n", "9: key 'times' in action: right would be every_ms besides it"},
        {"at_ms = -1\n", "9: key 'at_ms' in action: right would be a whole number from 0"},
        {"at_ms = 5\nwhen = { variable = \"v\", equals = 1 }\n",
         "9: key 'at_ms' in action: right would be either when or times, not both"},
        {"when = 5\n", "9: key 'when' in action: right would be { ... } with variable and equals"},
        {"when = { variable = \"x\", equals = 1 }\n",
         "9: key 'variable' in action.when: right would be the name of a [[variable]]"},
        {"when = { variable = \"v\", equals = \"1\" }\n",
         "9: key 'equals' in action.when: right would be a whole number"},
        {"when = { variable = \"v\", is = 1 }\n",
         "9: key 'is' is not known in action.when; right "
         "would be variable or equals"},
        {"set = { variable = \"v\" }\n", "9: action.set: key 'value' is missing"},
        {"write = { channel = 11, type = \"int\", value = 1 }\n",
         "9: key 'channel' in action.write: right would be a whole number from 1 to 10"},
        {"write = { channel = 9, type = \"int\", value = \"x\" }\n",
         "9: key 'value' in action.write: right would be a whole number"},
    };
    for (const Wrong& wrong : cases) {
        EXPECT_THAT(errorOf(std::string(kDevice) + kVariable + "[[action]]\n" + wrong.text),
                    HasSubstr(wrong.says));
    }
}

TEST_F(ProjectFileTest, AFileThatIsNoTomlGetsItsLine)
{
    EXPECT_THAT(errorOf("duration_ms = 1\n[[device\n"), ::testing::StartsWith("2: no TOML: "));
    EXPECT_THAT(errorOf("a = 1\na = 2\n"), ::testing::StartsWith("2: no TOML: "));
    // The parser asserts that no key begins so before it looks whether one does.
    EXPECT_THAT(errorOf("[="), ::testing::StartsWith("1: no TOML: "));
    EXPECT_THROW(loadProject(m_folder.path("missing.toml")), PanelError);
}

std::string names(std::size_t count)
{
    std::string key = "a";
    while (--count > 0) key += ".a";
    return key;
}

TEST_F(ProjectFileTest, AFileThatIsTooDeepGetsItsLineAndWhatIsAllowed)
{
    const std::string says =
        ": too deep; right would be at most 16 names in a key and 16 brackets in each other";
    const std::string deep = names(150000);
    EXPECT_EQ(errorOf("duration_ms = 1\n" + deep + " = 1\n"), "2" + says);
    EXPECT_EQ(errorOf("[" + deep + "]\n"), "1" + says);
    EXPECT_EQ(errorOf("[[" + deep + "]]\n"), "1" + says);
    EXPECT_EQ(errorOf("x = { " + deep + " = 1 }\n"), "1" + says);
    EXPECT_EQ(errorOf("x = " + std::string(100000, '[') + "\n"), "1" + says);
    EXPECT_EQ(errorOf(names(17) + " = 1\n"), "1" + says);
    EXPECT_EQ(errorOf("a = [\n" + std::string(16, '[') + "\n"), "2" + says);
    // Behind everything that it could hide in.
    for (const char* before :
         {"x = \"a.a\\\"\"\n", "x = 'a\\'\n", "x = \"\"\"\na\\\"\"\"\"\"\n", "x = '''a'''''\n",
          "# \" '''\n", "x = \"\"\n", "x = ''\r\n", "x = \"\"\"a\\\n\"\"\"\n", "x = \"a\n"}) {
        EXPECT_THAT(errorOf(before + deep + " = 1\n"), HasSubstr(says)) << before;
    }
    EXPECT_EQ(errorOf("x = { y = \"\"\"a\"\"\"\", " + deep + " = 1 }\n"), "1" + says);
    EXPECT_EQ(errorOf("x = { y = \"\\\"\", " + deep + " = 1 }\n"), "1" + says);
    EXPECT_EQ(errorOf("x = { y = '''a''''', " + deep + " = 1 }\n"), "1" + says);
}

TEST_F(ProjectFileTest, WhatIsAsDeepAsAllowedAndWhatStandsInTextsIsNoHarm)
{
    EXPECT_THAT(errorOf(names(16) + " = 1\n"), HasSubstr("1: key 'a' is not known"));
    EXPECT_THAT(errorOf("a = " + std::string(16, '[') + std::string(16, ']') + "\n"),
                HasSubstr("1: key 'a' is not known"));
    const std::string dots(100, '.');
    const std::string brackets(100, '[');
    const Project project =
        load(std::string(kDevice) + "# " + dots + brackets +
             "\n[[variable]]\nname = \"s\"\ntype = \"string\"\nvalue = \"\"\"\n\\\"" + dots + "\n" +
             brackets + "\"\"\"\n[[variable]]\nname = 't'\ntype = 'string'\nvalue = '" + dots +
             brackets + "\\'\n");
    EXPECT_EQ(project.variables[0].value, Value("\"" + dots + "\n" + brackets));
    EXPECT_EQ(project.variables[1].value, Value(dots + brackets + "\\"));
}

TEST_F(ProjectFileTest, NoTruncationDoesHarm)
{
    const std::string whole =
        std::string(kDevice) + kVariable +
        "[[action]]\nwhen = { variable = \"v\", equals = 1 }\ncommand = \"A\"\n";
    for (std::size_t length = 0; length < whole.size(); ++length) {
        try {
            load(whole.substr(0, length));
        } catch (const PanelError& error) {
            EXPECT_THAT(error.what(), HasSubstr("p.toml:"));
        }
    }
    EXPECT_EQ(load(whole).actions.size(), 1U);
}

// The rows of the tables below "## Keys", each with the table that they belong to: "" is
// the top of the file.
struct PageKey {
    std::string table;
    std::string key;
    std::string value;
    std::string otherwise;
};
std::vector<PageKey> keysOfThePage()
{
    std::vector<PageKey> keys;
    std::ifstream file(PANEL_DOCS "/project-files.md");
    const std::regex row("\\| `([a-z_]+)` \\| (.*?) \\|(?: (.*?) ?\\|)?");
    const std::regex heading("`\\[\\[([a-z]+)\\]\\]`.*");
    std::string table;
    std::string line;
    while (std::getline(file, line) && line != "## Keys") continue;
    while (std::getline(file, line) && line.rfind("## ", 0) != 0) {
        std::smatch match;
        if (std::regex_match(line, match, heading)) table = match[1];
        if (std::regex_match(line, match, row))
            keys.push_back({table, match[1], match[2], match[3]});
    }
    return keys;
}

TEST_F(ProjectFileTest, ThePageHasTheKeysOfTheProgramInTheirOrder)
{
    std::map<std::string, std::vector<std::string>> page;
    std::vector<std::string> tables;
    for (const PageKey& one : keysOfThePage()) {
        if (!one.table.empty() && page.count(one.table) == 0) tables.push_back(one.table);
        page[one.table].push_back(one.key);
    }
    page[""].insert(page[""].end(), tables.begin(), tables.end());
    const std::pair<const char*, KeyList> program[] = {{"", kProjectKeys},
                                                       {"device", kDeviceKeys},
                                                       {"variable", kVariableKeys},
                                                       {"action", kActionKeys}};
    for (const auto& [table, keys] : program) {
        EXPECT_EQ(page[table], std::vector<std::string>(keys.begin(), keys.end())) << table;
    }
    EXPECT_EQ(page.size(), std::size(program));
}

TEST_F(ProjectFileTest, TheRangesAndTheRequiredKeysOfThePageAreThoseOfTheProgram)
{
    const std::regex range("([0-9]+) to ([0-9]+)");
    std::size_t ranges = 0;
    std::size_t required = 0;
    for (const PageKey& one : keysOfThePage()) {
        // The table with this key; at the top it stands in front of the device.
        const auto with = [&one](const std::string& line) {
            if (one.table.empty()) return line + kDevice;
            const std::string head = one.table == "device" ? "" : std::string(kDevice) + kVariable;
            return head + "[[" + one.table + "]]\n" + line;
        };
        std::smatch numbers;
        if (std::regex_search(one.value, numbers, range) && one.key != "write") {
            ++ranges;
            const std::string says =
                "a whole number from " + numbers[1].str() + " to " + numbers[2].str();
            for (const long long outside :
                 {std::stoll(numbers[1]) - 1, std::stoll(numbers[2]) + 1}) {
                const std::string name = one.table == "device" ? "name = \"B\"\n" : "";
                EXPECT_THAT(errorOf(with(name + one.key + " = " + std::to_string(outside) + "\n")),
                            HasSubstr("key '" + one.key + "' in "))
                    << outside;
                EXPECT_THAT(errorOf(with(name + one.key + " = " + std::to_string(outside) + "\n")),
                            HasSubstr(says));
            }
        }
        if (one.otherwise == "required") {
            ++required;
            EXPECT_THAT(errorOf(with("")), HasSubstr("key '" + one.key + "' is missing"));
        }
    }
    EXPECT_EQ(ranges, 6U);
    EXPECT_EQ(required, 1U);
}

}  // namespace
}  // namespace panel
