#include "tests/ctl/CtlProgram.h"
#include "tests/ctl/Scripts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <regex>

// What the program prints is promised: the files in golden/, in three locales. With
// ORVA_WRITE_GOLDEN=1 in the environment the test writes them anew.
namespace
{

struct GoldenCase {
    const char* name;
    std::vector<std::string> arguments;
    std::function<void(FakeService&)> script;
};

void connected(FakeService& service) { scripts::play(service); }

std::function<void(FakeService&)> statusIs(const std::string& status)
{
    return [status](FakeService& service) {
        service.answer("GET /v1/status", 200, status);
        service.stream("GET /v1/events", eventText("status", "7f3a9c21-9", status));
    };
}

std::function<void(FakeService&)> refuses(int status, const std::string& body)
{
    return [=](FakeService& service) { service.answer("*", status, body); };
}

std::function<void(FakeService&)> changes(bool isDry, bool drops, const std::string& fields)
{
    return [=](FakeService& service) {
        service.answer("GET /v1/settings", 200, scripts::settings());
        service.answer("PATCH /v1/settings", 200, scripts::change(isDry, drops, fields));
    };
}

std::string oneLine(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), '\n'), text.end());
    return text;
}

void monitored(FakeService& service)
{
    service.stream("GET /v1/events",
                   eventText("status", "7f3a9c21-1040", oneLine(scripts::status())) +
                       eventText("history", "7f3a9c21-1041", oneLine(scripts::row(1041))) +
                       eventText("status", "", oneLine(scripts::retryingStatus())) +
                       eventText("missed", "", R"({"count": 12})") +
                       eventText("reset", "", R"({"why": "other_life", "first_id": 1})") +
                       eventText("history", "aaaa-1042", oneLine(scripts::row(1042))));
}

const std::vector<GoldenCase>& cases()
{
    using namespace scripts;
    static const std::string idle =
        R"({"number": 1, "name": "idle", "english": "The VPN is idle.", "chinese": "VPN 空闲。"})";
    static const std::vector<GoldenCase> all = {
        {"status-connected", {"status"}, connected},
        {"status-fault", {"status"}, statusIs(faultStatus())},
        {"status-retrying", {"status"}, statusIs(retryingStatus())},
        {"status-disabled", {"status"}, statusIs(disabledStatus())},
        {"status-idle", {"status"}, statusIs(idleStatus())},
        {"status-expired",
         {"status"},
         statusIs(status(R"({"certificates": [{"subject": "CN=Old", "not_after_ms": 1000,
           "not_after": "1970-01-01 00:00:01 UTC"}, {"subject": "CN=Ending",
           "not_after": "2026-01-10 00:00:00 UTC", "not_after_ms": 1768003200000}]})"))},
        {"status-controls",
         {"status"},
         statusIs(status(R"({"settings": {"user": "a\u001b[2Jb\u202e", "device_name": "x\ny"}})"))},
        {"status-controls-json",
         {"status", "--json"},
         statusIs(status(
             R"({"settings": {"user": "a\u001b[2Jb\u202e\u0085", "device_name": "\u7ebf"}})"))},
        {"status-json", {"status", "--json"}, connected},
        {"status-get", {"status", "--get", "state.name"}, connected},
        {"status-get-null", {"status", "--get", "vpn_address"}, statusIs(faultStatus())},
        {"status-get-object", {"--get", "switches", "status"}, connected},
        {"status-get-element", {"status", "--get", "certificates.0.subject"}, connected},
        {"status-get-nothing", {"status", "--get", "settings.servr"}, connected},
        {"wait-connected", {"wait"}, connected},
        {"wait-json", {"wait", "--for", "connected", "--json"}, connected},
        {"wait-fault", {"wait"}, statusIs(oneLine(faultStatus()))},
        {"wait-for-fault", {"wait", "--for", "fault"}, statusIs(oneLine(faultStatus()))},
        {"wait-over", {"wait", "--timeout", "0.3"}, statusIs(oneLine(reachingStatus()))},
        {"wait-no-state", {"wait", "--for", "up"}, connected},
        {"monitor", {"monitor", "--count", "6"}, monitored},
        {"monitor-json", {"monitor", "--count", "6", "--json"}, monitored},
        {"history", {"history"}, connected},
        {"history-controls",
         {"history"},
         [](FakeService& service) {
             service.answer("*", 200,
                            R"({"entries": [{"id": 1, "subject": "a\nb", "detail": "\u001b[31m",
                              "program": "\u202e", "interface": "rpc"}, 5, null]})");
         }},
        {"history-json", {"history", "--json"}, connected},
        {"history-get", {"history", "--get", "entries.2.subject"}, connected},
        {"history-empty",
         {"history", "--limit", "1000"},
         [](FakeService& service) {
             service.answer("*", 200, R"({"life": "a", "first_id": null, "entries": []})");
         }},
        {"history-limit", {"history", "--limit", "1001"}, connected},
        {"set", {"set", "server", "vpn2.example.com"}, changes(false, true, R"("server")")},
        {"set-same", {"set", "port", "1194"}, changes(false, false, "")},
        {"set-dry",
         {"set", "name", "line-4", "--dry-run"},
         changes(true, false, R"("device_name")")},
        {"set-json", {"set", "beat", "10", "--json"}, changes(false, false, R"("beat_interval")")},
        {"set-refused",
         {"set", "port", "0"},
         refuses(422, error("invalid_value", "port", "a whole number from 1 to 65535"))},
        {"set-password-in-argv", {"set", "password", "hunter2"}, connected},
        {"set-no-number", {"set", "port", "many"}, connected},
        {"set-no-value", {"set", "server"}, connected},
        {"set-unknown", {"set", "colour", "red"}, connected},
        {"set-not-stored",
         {"set", "port", "1"},
         refuses(503, error("not_stored", "", "disk full"))},
        {"set-not-allowed",
         {"set", "port", "1"},
         refuses(403, error("not_allowed", "", "[callers] change in /etc/orva/vpnd.toml"))},
        {"start", {"start"}, connected},
        {"stop-json", {"stop", "--json"}, connected},
        {"start-not-now",
         {"start"},
         refuses(409, error("not_now", "settings", "server is not set"))},
        {"export", {"export"}, connected},
        {"export-json", {"export", "--json"}, connected},
        {"doctor", {"doctor"}, statusIs(disabledStatus())},
        {"doctor-json", {"doctor", "--json"}, statusIs(disabledStatus())},
        {"doctor-get", {"doctor", "--get", "first_bad"}, statusIs(disabledStatus())},
        {"doctor-fault", {"doctor"}, statusIs(faultStatus())},
        {"doctor-not-allowed",
         {"doctor"},
         refuses(403, error("not_allowed", "", "[callers] read in /etc/orva/vpnd.toml"))},
        {"reasons-json", {"reasons", "--json"}, connected},
        {"reasons-get", {"reasons", "--get", "reasons.0.name"}, connected},
        {"status-other-version", {"status"}, refuses(200, R"({"api": 2, "version": "2.0.0"})")},
        {"status-unknown-path", {"status"}, refuses(404, error("unknown_path", "", ""))},
        {"status-internal-error", {"status"}, refuses(500, error("internal_error", "", ""))},
        {"chinese-by-option", {"status", "--lang", "zh"}, statusIs(faultStatus())},
        {"english-by-option", {"status", "--lang", "en"}, statusIs(faultStatus())},
        {"from-other-commands", {"--from", "x", "export"}, connected},
        {"no-command", {}, connected},
        {"misspelt-command", {"stauts"}, connected},
    };
    return all;
}

std::string contentOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string replaced(std::string text, const std::string& what, const std::string& by)
{
    for (std::size_t at = 0; (at = text.find(what, at)) != text.npos; at += by.size()) {
        text.replace(at, what.size(), by);
    }
    return text;
}

struct Locale {
    const char* name;
    const char* ending;  // of files that differ from those of C
};

constexpr Locale kLocales[] = {{"C", ""}, {"zh_CN.UTF-8", ".zh"}, {"tr_TR.UTF-8", ".tr"}};

class GoldenTest : public testing::TestWithParam<GoldenCase>
{
protected:
    // Command, outputs and exit code, without what is other each time.
    static std::string transcript(const GoldenCase& golden, const Locale& locale)
    {
        CtlProgram program;
        program.setEnvironment("LC_ALL", locale.name);
        FakeService service(program.socketPath());
        golden.script(service);
        const CtlResult result = program.run(golden.arguments);
        std::string text = "$ orva-vpnctl";
        for (const std::string& each : golden.arguments) text += " " + each;
        text += "\n" + result.out;
        if (!result.err.empty()) text += "standard error:\n" + result.err;
        text += "exit code " + std::to_string(result.exitCode) + "\n";
        text = replaced(text, program.socketPath(), "SOCKET");
        // Who runs the tests, in the line that would allow it.
        text = std::regex_replace(text, std::regex("= \\[\"root\".*\\]"), "= [\"root\", ...]");
        text = std::regex_replace(text, std::regex("\"took_ms\": [0-9]+"), "\"took_ms\": T");
        text = std::regex_replace(text, std::regex(" [0-9]+ ms +"), " T ms  ");
        // The fake service has a clock of its own.
        const std::regex now("(?!2026-01-0)20[0-9]{2}-[0-9]{2}-[0-9]{2} [0-9:]{8}Z");
        return std::regex_replace(text, now, "NOW");
    }

    static std::string pathOf(const GoldenCase& golden, const char* ending)
    {
        return std::string(CTL_GOLDEN "/") + golden.name + ending + ".txt";
    }
};

TEST_P(GoldenTest, PrintsWhatIsPromisedInEachLocale)
{
    const GoldenCase& golden = GetParam();
    const bool isWriting = std::getenv("ORVA_WRITE_GOLDEN") != nullptr;
    for (const Locale& locale : kLocales) {
        ASSERT_NE(std::setlocale(LC_ALL, locale.name), nullptr) << locale.name;
        std::setlocale(LC_ALL, "C");
        const std::string text = transcript(golden, locale);
        const std::string own = pathOf(golden, locale.ending);
        if (isWriting) {
            const bool isOther = text != contentOf(pathOf(golden, ""));
            if (*locale.ending == '\0' || isOther) {
                std::ofstream(own, std::ios::binary) << text;
            } else {
                std::filesystem::remove(own);
            }
        }
        const bool hasOwn = std::filesystem::exists(own);
        EXPECT_EQ(text, contentOf(hasOwn ? own : pathOf(golden, ""))) << locale.name;
    }
}

std::string nameOf(const testing::TestParamInfo<GoldenCase>& info)
{
    return replaced(info.param.name, "-", "_");
}

INSTANTIATE_TEST_SUITE_P(Each, GoldenTest, testing::ValuesIn(cases()), nameOf);

TEST(GoldenFilesTest, EachFileBelongsToACase)
{
    for (const auto& file : std::filesystem::directory_iterator(CTL_GOLDEN)) {
        std::string name = file.path().filename().string();
        name = name.substr(0, name.find('.'));
        const bool isKnown = std::any_of(cases().begin(), cases().end(),
                                         [&](const GoldenCase& each) { return name == each.name; });
        EXPECT_TRUE(isKnown) << file.path();
    }
}

}  // namespace
