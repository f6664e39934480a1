#include "device/DevTables.h"
#include "host/StatusCodes.h"
#include "panel/runtime/ChannelTable.h"
#include "panel/runtime/CommandTable.h"
#include "panel/runtime/CommandText.h"
#include "panel/view/CodeNames.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>

namespace panel
{
namespace
{

using ::testing::ElementsAre;

// The cells of the rows of a page's tables, without their marks for code.
std::vector<std::vector<std::string>> rowsOf(const std::string& page)
{
    std::vector<std::vector<std::string>> rows;
    std::ifstream file(PANEL_DOCS "/" + page);
    for (std::string line; std::getline(file, line);) {
        if (line.rfind("| ", 0) != 0) continue;
        std::vector<std::string> cells;
        std::istringstream pieces(line.substr(1));
        for (std::string cell; std::getline(pieces, cell, '|');) {
            cells.push_back(trimmed(std::regex_replace(cell, std::regex("`"), "")));
        }
        rows.push_back(cells);
    }
    return rows;
}

TEST(VocabularyTest, ThePageOfTheCommandsSaysWhatTheTableSays)
{
    std::map<std::string, const CommandInfo*> missing;
    for (const CommandInfo& command : kCommands) missing[formOf(command)] = &command;
    const std::regex form("[A-Za-z]+\\([a-z,]*\\)");
    for (const auto& cells : rowsOf("commands.md")) {
        for (std::sregex_iterator at(cells[0].begin(), cells[0].end(), form), end;
             at != end && cells.size() == 4; ++at) {
            const auto known = missing.find(at->str());
            ASSERT_NE(known, missing.end()) << at->str();
            EXPECT_EQ(cells[1], known->second->service) << at->str();
            EXPECT_EQ(cells[3], known->second->codes) << at->str();
            missing.erase(known);
        }
    }
    for (const auto& [text, command] : missing) ADD_FAILURE() << text << " is not on the page";
}

TEST(VocabularyTest, ThePageOfTheChannelsSaysWhatTheTableSays)
{
    std::size_t found = 0;
    for (const auto& cells : rowsOf("channels.md")) {
        const ChannelInfo* channel = cells.size() == 5 ? findChannel(cells[0]) : nullptr;
        if (channel == nullptr) continue;
        ++found;
        EXPECT_EQ(cells[1], channel->projectName);
        EXPECT_EQ(cells[3].rfind(channel->type == DATATYPE_STRING ? "text" : "number", 0), 0U);
        EXPECT_EQ(cells[3].find("can be written") != std::string::npos, channel->write != nullptr);
    }
    EXPECT_EQ(found, kChannels.size());
}

// The codes of a page's tables of codes, in the order of these.
std::vector<std::set<int>> codesOf(const std::string& page)
{
    std::vector<std::set<int>> tables;
    const std::regex number("(-?[0-9]+)|0x[0-9A-F]+ \\((-[0-9]+)\\)");
    for (const auto& cells : rowsOf(page)) {
        if (cells.size() != 2) continue;
        if (cells[0] == "Code") tables.emplace_back();
        std::smatch match;
        if (tables.empty() || !std::regex_match(cells[0], match, number)) continue;
        tables.back().insert(std::stoi(match[1].matched ? match[1] : match[2]));
    }
    return tables;
}

TEST(VocabularyTest, ThePagesHaveTheCodesThatTheProgramHasWordsFor)
{
    const std::vector<std::set<int>> channels = codesOf("channels.md");
    const std::vector<std::set<int>> commands = codesOf("commands.md");
    ASSERT_EQ(channels.size(), 2U);
    ASSERT_EQ(commands.size(), 1U);
    const std::pair<CodeOf, std::set<int>> pages[] = {{CodeOf::kCollect, channels[0]},
                                                      {CodeOf::kWrite, channels[1]},
                                                      {CodeOf::kCommand, commands[0]}};
    std::set<int> all = {kStatusFailed};
    for (int code = -1000; code <= 1000; ++code) all.insert(code);
    for (const auto& [call, page] : pages) {
        for (const int code : all) {
            const bool known = meaningOf(call, code) != "unknown code";
            // The answer to a write that was sent as a command stands on the page of the channels.
            const bool elsewhere = code == kResultMalformedWrite && call == CodeOf::kCommand;
            EXPECT_EQ(page.count(code) == 1, known && !elsewhere)
                << static_cast<int>(call) << ": " << code;
        }
    }
}

TEST(VocabularyTest, TheDriverHasTheSameWordsAndChannels)
{
    ASSERT_EQ(kCommands.size(), std::size(IOCTRL_STR_PROPERTYNAME));
    for (std::size_t i = 0; i < kCommands.size(); ++i) {
        EXPECT_EQ(std::string(kCommands[i].word),
                  static_cast<const char*>(IOCTRL_STR_PROPERTYNAME[i]))
            << i;
    }
    ASSERT_EQ(kChannels.size(), std::size(DEV_STR_CHLNAMES));
    for (std::size_t i = 0; i < kChannels.size(); ++i) {
        EXPECT_EQ(std::string(kChannels[i].projectName),
                  static_cast<const char*>(DEV_STR_CHLNAMES[i]))
            << i;
        EXPECT_EQ(kChannels[i].write != nullptr, DEV_DWORD_CHLRWTYPE[i + 1] == CHANNEL_READWRITE);
    }
}

TEST(VocabularyTest, AChannelIsFoundByItsNumberAndByBothOfItsNames)
{
    EXPECT_EQ(findChannel("9")->number, 9);
    EXPECT_EQ(findChannel("VPN密码")->number, 9);
    EXPECT_EQ(findChannel("VPN用户名")->number, 10);
    EXPECT_EQ(findChannel("VPN user name")->number, 10);
    EXPECT_EQ(findChannel("vpn-user_name")->number, 10);
    for (const char* none : {"", "0", "11", "9 ", "VPN", "09x", "-1"}) {
        EXPECT_EQ(findChannel(none), nullptr) << none;
    }
}

TEST(VocabularyTest, ACommandIsTakenApartAsTheDeviceDoes)
{
    const CommandText text("  setvpnca ( a ,, b) c) ");
    EXPECT_TRUE(text.hasParentheses());
    EXPECT_EQ(text.word, "setvpnca");
    EXPECT_THAT(text.fields, ElementsAre("a", "", "b"));
    EXPECT_THAT(CommandText("A()").fields, ElementsAre(""));
    EXPECT_THAT(CommandText(")A(b").fields, ElementsAre(""));
    EXPECT_FALSE(CommandText("A(b").hasParentheses());
    EXPECT_TRUE(CommandText("A(b").opens);
    EXPECT_FALSE(CommandText("A)b").hasParentheses());
    EXPECT_TRUE(CommandText("A)b").closes);
    EXPECT_EQ(CommandText("A").word, "A");
}

}  // namespace
}  // namespace panel
