#include "service/daemon/ConfigurationRules.h"
#include "service/daemon/Options.h"
#include "tests/service/ConfigurationFixture.h"
#include "tests/service/TestCertificates.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <regex>
#include <set>

namespace vpnd
{
namespace
{

using ::testing::Contains;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

const std::string kPage = ORVA_SOURCE "/docs/configuration.md";
const std::string kPackaged = ORVA_SOURCE "/packaging/vpnd.toml";
const std::string kDemo = ORVA_SOURCE "/examples/vpnd-demo.toml";

std::vector<std::string> linesOf(const std::string& text)
{
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// A key with its section: "device.name", ".listen".
std::set<std::string> keysOfTheParser()
{
    std::set<std::string> keys;
    for (const ConfigurationRule& rule : configurationRules())
        keys.insert(rule.section + "." + rule.key);
    return keys;
}

class ConfigurationPagesTest : public ConfigurationFixture
{
protected:
    // The packaged file's keys as they would stand there: section, then "key = value".
    std::vector<std::pair<std::string, std::string>> packagedKeys() const
    {
        std::vector<std::pair<std::string, std::string>> keys;
        std::string section;
        static const std::regex head("\\[([a-z]+)\\]");
        static const std::regex key("#([a-z][a-z-]* = .*)");
        std::smatch found;
        for (const std::string& line : linesOf(contentOf(kPackaged))) {
            if (std::regex_match(line, found, head)) section = found[1];
            if (std::regex_match(line, found, key)) keys.emplace_back(section, found[1]);
        }
        return keys;
    }

    // With the machine's files in the test's own folder.
    std::string here(std::string text) const
    {
        const std::pair<const char*, std::string> files[] = {
            {"/sys/firmware/devicetree/base/serial-number", write("sn", "SN-1")},
            {"/etc/orva/ca.pem", write("ca.pem", certificates::ca())}};
        for (const auto& [name, other] : files) {
            const std::size_t at = text.find(name);
            if (at != text.npos) text.replace(at, std::string(name).size(), other);
        }
        return text;
    }

    // What the parts of a configuration say that a file decides.
    static std::string told(Configuration configuration) { return summaryOf(configuration); }
};

TEST_F(ConfigurationPagesTest, TheExampleOfThePageIsGoodAndHasEveryKeyButTheOtherSerials)
{
    const std::string page = contentOf(kPage);
    const std::string open = "```toml\n";
    const std::size_t begin = page.find(open) + open.size();
    const std::string example = page.substr(begin, page.find("```", begin) - begin);
    ASSERT_THAT(example, HasSubstr("[settings]"));
    write("ca.pem", certificates::ca());
    const Configuration configuration = good(example);
    EXPECT_THAT(configuration.access.changers.uids, ::testing::ElementsAre(0, 1000, 1001, 1002));

    std::set<std::string> keys;
    std::string section;
    static const std::regex line("\\[([a-z]+)\\]|([a-z-]+) = .*");
    std::smatch found;
    for (const std::string& text : linesOf(example)) {
        if (!std::regex_match(text, found, line)) continue;
        if (found[1].matched) section = found[1];
        if (found[2].matched) keys.insert(section + "." + found[2].str());
    }
    std::set<std::string> expected = keysOfTheParser();
    expected.erase("device.serial");
    expected.erase("device.serial-file");
    EXPECT_EQ(keys, expected);
}

TEST_F(ConfigurationPagesTest, TheTablesOfThePageHaveTheParsersKeysAndNoOthers)
{
    std::set<std::string> keys;
    std::string section;
    bool isTold = true;
    static const std::regex line(
        "## (?:\\[([a-z]+)\\]|(.*))|\\| `([a-z-]+)` \\|.*\\| (at once|after a restart|at first) "
        "\\|");
    std::smatch found;
    for (const std::string& text : linesOf(contentOf(kPage))) {
        if (text.rfind("| `", 0) == 0 && text.find("--") == text.npos) {
            EXPECT_TRUE(std::regex_match(text, line)) << text;
        }
        if (!std::regex_match(text, found, line)) continue;
        if (found[1].matched) section = found[1];
        if (found[2].matched) section = "";
        if (found[3].matched) isTold = keys.insert(section + "." + found[3].str()).second;
        EXPECT_TRUE(isTold) << text << " stands there twice";
    }
    EXPECT_EQ(keys, keysOfTheParser());
}

TEST_F(ConfigurationPagesTest, ThePageSaysWhatARestartAndASignalTakeOver)
{
    const Configuration before = good("");
    static const std::regex row("\\| `([a-z-]+)` \\|.*\\| (at once|after a restart|at first) \\|");
    std::map<std::string, std::string> counts;
    std::smatch found;
    for (const std::string& text : linesOf(contentOf(kPage))) {
        if (std::regex_match(text, found, row)) counts[found[1]] = found[2];
    }
    for (const auto& [section, line] : packagedKeys()) {
        const std::string key = line.substr(0, line.find(' '));
        // Another value than the default, for those for which there is one.
        const std::map<std::string, std::string> others = {{"listen", "\"127.0.0.1:1\""},
                                                           {"state", "\"none\""}};
        const auto other = others.find(key);
        write("vpnd.toml", "[" + section + "]\n");
        if (section.empty() && other == others.end()) continue;
        write("vpnd.toml",
              section.empty() ? key + " = " + other->second : "[" + section + "]\n" + here(line));
        const ReloadedConfiguration again = reload(before, options, machine, names);
        ASSERT_TRUE(again.configuration) << key;
        EXPECT_EQ(again.needRestart.size(), counts[key] == "after a restart" ? 1U : 0U) << key;
    }
}

TEST_F(ConfigurationPagesTest, ThePackagedFileSaysNothingButHasEveryKey)
{
    const Configuration defaults = good("");
    EXPECT_EQ(told(good(contentOf(kPackaged))), told(defaults));
    std::set<std::string> keys;
    for (const auto& [section, line] : packagedKeys()) {
        EXPECT_TRUE(keys.insert(section + "." + line.substr(0, line.find(' '))).second) << line;
    }
    EXPECT_EQ(keys, keysOfTheParser());
}

TEST_F(ConfigurationPagesTest, EachLineOfThePackagedFileIsGoodWithoutItsMark)
{
    for (const auto& [section, line] : packagedKeys()) {
        good((section.empty() ? "" : "[" + section + "]\n") + here(line) + "\n");
    }
}

TEST_F(ConfigurationPagesTest, WhatThePackagedFileCallsADefaultIsOne)
{
    machine.hostName = "";
    const std::string defaults = told(good(""));
    const std::set<std::string> examples = {"serial-file",   "serial",     "change",   "show-to",
                                            "server",        "user",       "password", "ca-file",
                                            "device-number", "device-name"};
    for (const auto& [section, line] : packagedKeys()) {
        if (examples.count(line.substr(0, line.find(' '))) != 0) continue;
        EXPECT_EQ(told(good((section.empty() ? "" : "[" + section + "]\n") + line + "\n")),
                  defaults)
            << line;
    }
}

TEST_F(ConfigurationPagesTest, TheDemonstrationFillsEveryChannel)
{
    const Configuration c = good(contentOf(kDemo));
    EXPECT_EQ(c.initial.server, "vpn.example.com");
    EXPECT_EQ(c.initial.port, 1194);
    EXPECT_EQ(c.initial.userName, "exampleuser");
    EXPECT_EQ(c.initial.password, "example123");
    EXPECT_EQ(c.initial.beatIntervalS, 30);
    EXPECT_EQ(c.serial, "ORVA-000001");
    EXPECT_TRUE(c.initial.enabled && c.initial.online && c.initial.connect);
    // Its own user changes and sees the password.
    EXPECT_THAT(c.access.changers.uids, Contains(machine.user));
    EXPECT_THAT(c.access.secretReaders.uids, Contains(machine.user));
}

TEST_F(ConfigurationPagesTest, ThePageHasEveryOption)
{
    const std::vector<const char*> help = {"orva-vpnd", "--help"};
    const std::string told = readCommandLine(2, help.data()).text;
    static const std::regex option("--[a-z][a-z-]+");
    const auto optionsIn = [](const std::string& text) {
        return std::set<std::string>(std::sregex_token_iterator(text.begin(), text.end(), option),
                                     std::sregex_token_iterator());
    };
    EXPECT_EQ(optionsIn(contentOf(kPage)), optionsIn(told));
}

// Names of the 21 operations, with what docs/security.md says of them.
TEST_F(ConfigurationPagesTest, ThePageOnSecurityJudgesEachOperationOnce)
{
    static const std::regex method("\\| `([A-Za-z]+)` \\| (?:[a-z]+: [a-z]+|none).*");
    std::set<std::string> operations;
    std::smatch found;
    for (const std::string& line : linesOf(contentOf(ORVA_SOURCE "/docs/rpc-protocol.md"))) {
        if (std::regex_match(line, found, method)) operations.insert(found[1]);
    }
    ASSERT_THAT(operations, SizeIs(21));
    static const std::regex judged("\\| `([A-Za-z]+)` \\| (read|change) \\|.*");
    std::set<std::string> seen;
    for (const std::string& line : linesOf(contentOf(ORVA_SOURCE "/docs/security.md"))) {
        if (!std::regex_match(line, found, judged)) continue;
        EXPECT_TRUE(seen.insert(found[1]).second) << line;
    }
    EXPECT_EQ(seen, operations);
}

}  // namespace
}  // namespace vpnd
