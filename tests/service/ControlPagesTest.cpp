#include "tests/service/ControlFixture.h"

#include <fstream>
#include <iterator>
#include <map>
#include <regex>

namespace
{

std::string page()
{
    std::ifstream file(SERVICE_DOCS "/control-api.md");
    return {std::istreambuf_iterator<char>(file), {}};
}

class ControlPagesTest : public ControlFixture
{
};

TEST_F(ControlPagesTest, ThePageHasTheTableOfErrors)
{
    std::string table;
    for (const vpnd::RefusalText& each : vpnd::refusals()) {
        table += fmt::format("| `{}` | {} | {} | {} {} | {} {} |\n", each.code, each.httpStatus,
                             each.exitCode, each.english, each.chinese, each.remedyEnglish,
                             each.remedyChinese);
    }
    EXPECT_NE(page().find("|---|---|---|---|---|\n" + table + "\n"), std::string::npos) << table;
}

TEST_F(ControlPagesTest, EveryErrorIsToldWithItsOwnStatusAndTexts)
{
    for (std::size_t i = 0; i < vpnd::refusals().size(); ++i) {
        const vpnd::RefusalText& each = vpnd::refusals()[i];
        EXPECT_EQ(static_cast<std::size_t>(each.refusal), i) << "the order of the table";
        const vpnd::HttpReply reply = vpnd::replyOf(each.refusal, "F", "D");
        EXPECT_EQ(reply.status, each.httpStatus);
        const auto error = nlohmann::json::parse(reply.body)["error"];
        EXPECT_EQ(error["code"], each.code);
        EXPECT_EQ(error["message_english"], each.english);
        EXPECT_EQ(error["message_chinese"], each.chinese);
        EXPECT_EQ(error["remedy_english"], each.remedyEnglish);
        EXPECT_EQ(error["remedy_chinese"], each.remedyChinese);
        EXPECT_EQ(error["field"], "F");
        EXPECT_EQ(error["detail"], "D");
        EXPECT_EQ(vpnd::findRefusal(each.code), &each);
        EXPECT_EQ(vpnd::headOf(reply, true, false).find("HTTP/1.1 500 "),
                  each.httpStatus == 500 ? 0u : std::string::npos)
            << "a phrase of its own: " << each.httpStatus;
        if (each.httpStatus != 500) {
            EXPECT_EQ(vpnd::headOf(reply, true, false).find("Internal"), std::string::npos);
        }
    }
}

TEST_F(ControlPagesTest, ThePageNamesEveryRequest)
{
    const std::string text = page();
    for (const std::string& each : vpnd::ControlService::requests()) {
        const std::string path = each.substr(each.rfind('/') + 1);
        EXPECT_TRUE(text.find('`' + each + '`') != std::string::npos ||
                    text.find("` `" + path + '`') != std::string::npos)
            << each;
        EXPECT_TRUE(std::regex_search(text, std::regex("curl [^\n]*" + path))) << each;
    }
}

TEST_F(ControlPagesTest, ThePageNamesEveryNumberAndNoOther)
{
    const std::string text = page();
    std::map<std::string, bool> told;
    const std::string metrics = ask("GET /metrics").body;
    const std::regex sample("\n(orva_vpn_[a-z_]+)[ {]");
    for (std::sregex_iterator at(metrics.begin(), metrics.end(), sample), end; at != end; ++at) {
        const std::string name =
            std::regex_replace((*at)[1].str(), std::regex("_(bucket|count|sum)$"), "");
        told[name] = true;
        EXPECT_NE(text.find('`' + name + '`'), std::string::npos) << name;
    }
    const std::regex named("`(orva_vpn_[a-z_]+)`");
    for (std::sregex_iterator at(text.begin(), text.end(), named), end; at != end; ++at) {
        EXPECT_TRUE(told[(*at)[1].str()]) << (*at)[1];
    }
}

}  // namespace
