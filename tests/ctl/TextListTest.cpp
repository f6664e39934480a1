#include "ctl/view/TextList.h"

#include "service/core/Reasons.h"
#include "service/core/States.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using ctl::Format;
using ctl::textList;

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The rows of a CSV text, by a reader of the test's own.
std::vector<std::vector<std::string>> rowsOf(const std::string& text)
{
    std::vector<std::vector<std::string>> rows{{""}};
    bool isQuoted = false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (isQuoted && c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
            rows.back().back() += '"';
            ++i;
        } else if (c == '"') {
            isQuoted = !isQuoted;
        } else if (!isQuoted && c == ',') {
            rows.back().emplace_back();
        } else if (!isQuoted && c == '\n') {
            rows.push_back({""});
        } else {
            rows.back().back() += c;
        }
    }
    EXPECT_FALSE(isQuoted);
    rows.pop_back();
    return rows;
}

TEST(TextListTest, TheCsvListHasOneRowForEachValueOfChannel7)
{
    const auto rows = rowsOf(textList(Format::kCsv));
    ASSERT_EQ(rows.size(), 1 + vpnd::states().size() + vpnd::reasons().size());
    std::map<std::string, std::string> byState;
    for (std::size_t i = 1; i < rows.size(); ++i) {
        ASSERT_EQ(rows[i].size(), rows[0].size()) << i;
        if (rows[i][0].empty()) continue;
        EXPECT_TRUE(byState.emplace(rows[i][0], rows[i][3]).second) << rows[i][0];
    }
    for (int state = 0; state <= 7; ++state) {
        EXPECT_EQ(byState[std::to_string(state)],
                  vpnd::states()[static_cast<std::size_t>(state)].english);
    }
    for (const vpnd::ReasonText& each : vpnd::reasons()) {
        const auto found = byState.find(std::to_string(100 + each.number()));
        ASSERT_EQ(found != byState.end(), each.effect == vpnd::Effect::kFault) << each.name;
        if (found != byState.end()) {
            EXPECT_EQ(found->second, each.english);
        }
    }
}

TEST(TextListTest, TheJsonListHasAllTexts)
{
    const nlohmann::json all = nlohmann::json::parse(textList(Format::kJson));
    ASSERT_EQ(all["states"].size(), vpnd::states().size());
    ASSERT_EQ(all["reasons"].size(), vpnd::reasons().size());
    for (std::size_t i = 0; i < vpnd::reasons().size(); ++i) {
        const vpnd::ReasonText& reason = vpnd::reasons()[i];
        EXPECT_EQ(all["reasons"][i]["number"], reason.number());
        EXPECT_EQ(all["reasons"][i]["remedy_chinese"], reason.remedyChinese);
    }
}

TEST(TextListTest, NoTextHoldsWhatTheListsWouldHaveToEscape)
{
    for (const Format format : {Format::kPo, Format::kMarkdown}) {
        const std::string text = textList(format);
        EXPECT_EQ(text.find("\\\""), std::string::npos);
    }
    for (const vpnd::ReasonText& each : vpnd::reasons()) {
        for (const std::string text :
             {each.english, each.chinese, each.remedyEnglish, each.remedyChinese}) {
            EXPECT_EQ(text.find_first_of("\"\\|\n"), std::string::npos) << text;
        }
    }
}

TEST(TextListTest, ThePoListHasAnEntryForEachText)
{
    const std::string text = textList(Format::kPo);
    std::size_t entries = 0;
    for (std::size_t at = 0; (at = text.find("msgctxt", at)) != std::string::npos; ++at) ++entries;
    EXPECT_EQ(entries, vpnd::states().size() + 2 * vpnd::reasons().size());
}

TEST(TextListTest, ThePageHoldsTheTables)
{
    const std::string page = contentOf(std::string(CTL_DOCS) + "/reasons.md");
    EXPECT_NE(page.find("\n\n" + textList(Format::kMarkdown) + "\n"), std::string::npos)
        << "write it anew: orva-vpnctl reasons --format markdown";
}

}  // namespace
