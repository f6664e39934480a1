#include "ctl/base/ExitCodes.h"
#include "tests/ctl/CtlProgram.h"
#include "tests/ctl/Scripts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

// docs/vpnctl.md: its commands print what it says.
namespace
{

constexpr const char* kPage = CTL_DOCS "/vpnctl.md";

std::vector<std::string> pageLines()
{
    std::ifstream file(kPage);
    EXPECT_TRUE(file.is_open());
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) lines.push_back(line);
    return lines;
}

// Words with blanks between them; 'one word' is one.
std::vector<std::string> wordsOf(const std::string& text)
{
    std::vector<std::string> words;
    const std::regex word("'([^']*)'|(\\S+)");
    for (std::sregex_iterator at(text.begin(), text.end(), word), end; at != end; ++at) {
        words.push_back((*at)[1].matched ? (*at)[1] : (*at)[2]);
    }
    return words;
}

std::string onOneLine(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
}

void play(FakeService& service, const std::string& name)
{
    std::string status = scripts::status();
    if (name == "at a fault") status = scripts::faultStatus();
    if (name == "disabled") status = scripts::disabledStatus();
    if (name == "not for this user") {
        service.answer("*", 403,
                       R"({"error": {"code": "not_allowed", "field": "callers.change", "exit": 7,
                         "detail": "[callers] change in /etc/orva/vpnd.toml",
                         "message_english": "This user may not do that.",
                         "remedy_english": "Have the administrator add the user to the list that the detail names, then reload the service."}})");
        return;
    }
    service.answer("GET /v1/status", 200, status);
    if (name != "connected") {
        service.stream("GET /v1/events", eventText("status", "7f3a9c21-9", onOneLine(status)));
    }
    scripts::play(service);
}

std::string withoutTimes(const std::string& text)
{
    return std::regex_replace(text, std::regex(" [0-9]+ ms +"), " T ms  ");
}

// What a command of the page prints, with the service as its comment says.
std::string outputOf(const std::string& command, const std::string& serviceName)
{
    CtlProgram program;
    FakeService service(program.socketPath());
    program.write("settings.toml", "server = \"192.0.2.10\"\nport = 1194\n");
    program.setInput("hunter2\n");
    std::vector<std::string> words = wordsOf(command);
    if (words.front() == "set") {
        service.answer("PATCH /v1/settings", 200,
                       scripts::change(false, words[1] == "server", '"' + words[1] + '"'));
    }
    play(service, serviceName);
    for (std::string& word : words) {
        if (word == "settings.toml" || word == "backup.toml") word = program.path(word);
    }
    const CtlResult result = program.run(words);
    std::string text = result.out + result.err;
    const std::string folder = program.path("");
    for (std::size_t at = 0; (at = text.find(folder, at)) != text.npos;) {
        text.erase(at, folder.size());
    }
    return std::regex_replace(text, std::regex("= \\[\"root\".*\\]"), "= [\"root\", \"hmi\"]");
}

// The page with what its commands print now.
std::string pageAsItShouldBe(int& commands)
{
    const std::string marker = "<!-- the service: ";
    const std::string prompt = "$ orva-vpnctl ";
    std::string page;
    std::string service;
    bool isInside = false;
    for (const std::string& line : pageLines()) {
        if (line.compare(0, marker.size(), marker) == 0) {
            service = line.substr(marker.size(), line.find(" -->") - marker.size());
        }
        if (line == "```console") isInside = true;
        const bool ends = isInside && line == "```";
        const bool isCommand = isInside && line.compare(0, prompt.size(), prompt) == 0;
        if (!isInside || line == "```console" || ends || isCommand) page += line + "\n";
        if (isCommand) {
            page += outputOf(line.substr(prompt.size()), service);
            ++commands;
        }
        if (ends) {
            isInside = false;
            service.clear();
        }
    }
    return page;
}

// With ORVA_WRITE_GOLDEN=1 in the environment the page is written anew.
TEST(PageTest, ItsCommandsPrintWhatItSays)
{
    int commands = 0;
    const std::string should = pageAsItShouldBe(commands);
    EXPECT_GE(commands, 12);
    std::string is;
    for (const std::string& line : pageLines()) is += line + "\n";
    if (std::getenv("ORVA_WRITE_GOLDEN") != nullptr && withoutTimes(is) != withoutTimes(should)) {
        std::ofstream(kPage) << should;
        return;
    }
    EXPECT_EQ(withoutTimes(is), withoutTimes(should));
}

TEST(PageTest, HasEachCommandAndEachExitCode)
{
    std::string page;
    for (const std::string& line : pageLines()) page += line + "\n";
    CtlProgram program;
    const std::string help = program.run({"--help"}).out;
    std::istringstream lines(help.substr(help.find("Subcommands:\n") + 13));
    int commands = 0;
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        const std::string name = wordsOf(line).front();
        EXPECT_NE(page.find("`" + name), std::string::npos) << name;
        ++commands;
    }
    EXPECT_EQ(commands, 18);
    for (int code = 0; code <= ctl::kExitNotStored; ++code) {
        EXPECT_NE(page.find("\n| " + std::to_string(code) + " | "), std::string::npos) << code;
    }
}

TEST(PageTest, EachHelpIsCompleteAndAsksNoService)
{
    CtlProgram program;
    const std::string help = program.run({"--help"}).out;
    std::istringstream lines(help.substr(help.find("Subcommands:\n") + 13));
    for (std::string line; std::getline(lines, line) && !line.empty();) {
        const std::string name = wordsOf(line).front();
        const CtlResult one = program.run({name, "--help"});
        EXPECT_EQ(one.exitCode, 0) << name;
        EXPECT_NE(one.out.find("Exit codes:"), std::string::npos) << one.out;
    }
}

}  // namespace
