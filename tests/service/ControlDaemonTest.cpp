#include "tests/service/Daemon.h"
#include "tests/service/HttpAnswers.h"
#include "tests/service/UnixClient.h"

#include <gmock/gmock.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <utility>

namespace
{

using nlohmann::json;
using testing::HasSubstr;

class ControlDaemonTest : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string name = (std::filesystem::temp_directory_path() / "control-XXXXXX").string();
        folder = ::mkdtemp(name.data());
        std::filesystem::create_directory(folder + "/state");
    }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::string socket() const { return folder + "/control.sock"; }
    Arguments withState() const
    {
        return {"--state", folder + "/state", "--control", socket(), "--log-level", "off"};
    }
    static std::string request(const std::string& line, const std::string& body = {},
                               const std::string& headers = {})
    {
        return line + " HTTP/1.1\r\nHost: localhost\r\n" + headers +
               (body.empty() ? "" : "Content-Length: " + std::to_string(body.size()) + "\r\n") +
               "\r\n" + body;
    }
    HttpResponse ask(Daemon& daemon, const std::string& line, const std::string& body = {})
    {
        UnixClient client(socket());
        client.send(request(line, body));
        std::optional<HttpResponse> whole;
        std::size_t end = 0;
        EXPECT_TRUE(daemon.process.waitFor([&] {
            whole = responseIn(client.received(), end);
            return whole.has_value();
        })) << line;
        return whole.value_or(HttpResponse());
    }

    std::string folder;
};

// What a reader of the events has read: it comes back again and again, as a program would.
class Reader
{
public:
    explicit Reader(std::string socket) : m_socket(std::move(socket)) {}

    void connect()
    {
        m_client = std::make_unique<UnixClient>(m_socket);
        const std::string from = m_lastId.empty() ? "?after=0" : "";
        m_client->send("GET /v1/events" + from + " HTTP/1.1\r\nHost: localhost\r\n" +
                       (m_lastId.empty() ? "" : "Last-Event-ID: " + m_lastId + "\r\n") + "\r\n");
        m_taken = 0;
    }
    void drop()
    {
        look();
        m_client.reset();
    }
    void look()
    {
        if (!m_client) return;
        const std::string& text = m_client->received();
        const std::size_t begin = text.find("\r\n\r\n");
        if (begin == std::string::npos) return;
        std::size_t end = 0;
        bool isWhole = false;
        const auto events = eventsIn(dechunked(text, begin + 4, end, isWhole));
        for (; m_taken < events.size(); ++m_taken) take(events[m_taken]);
    }
    const std::map<std::int64_t, json>& rows() const { return m_rows; }
    const std::string& life() const { return m_life; }

    static json plain(json row)
    {
        row.erase("count");
        row.erase("last_ms");
        return row;
    }

private:
    void take(const ServerEvent& event)
    {
        if (event.name == "reset") m_rows.clear();
        if (!event.id.empty()) {
            m_lastId = event.id;
            m_life = event.id.substr(0, event.id.find('-'));
        }
        if (event.name != "history") return;
        const std::int64_t id = event.data["id"];
        EXPECT_TRUE(m_rows.empty() || m_rows.rbegin()->first < id) << "twice, or out of order";
        EXPECT_NE(event.data["outcome"], "pending");
        m_rows[id] = plain(event.data);
    }

    std::string m_socket;
    std::unique_ptr<UnixClient> m_client;
    std::size_t m_taken = 0;
    std::string m_lastId;
    std::string m_life;
    std::map<std::int64_t, json> m_rows;
};

TEST_F(ControlDaemonTest, WhatReadersHaveReadIsTheHistoryWhoeverIsKilled)
{
    std::mt19937 random(20260115);
    const auto below = [&](unsigned int bound) {
        return static_cast<unsigned int>(random() % bound);
    };
    Reader readers[] = {Reader(socket()), Reader(socket()), Reader(socket())};
    std::map<std::pair<std::string, std::int64_t>, json> told;  // to anybody, ever
    json history;
    std::string life;
    unsigned int port = 1;
    for (unsigned int round = 0; round < 25; ++round) {
        SCOPED_TRACE(round);
        Daemon daemon(withState());
        for (Reader& each : readers) each.connect();
        UnixClient writer(socket());
        const unsigned int steps = 5 + below(60);
        for (unsigned int step = 0; step < steps; ++step) {
            writer.send(request("PATCH /v1/settings",
                                "{\"port\": " + std::to_string(++port % 60000 + 1) + "}"));
            writer.received();
            Reader& one = readers[below(3)];
            if (below(4) == 0) {
                one.drop();
                one.connect();
            }
            if (below(3) == 0) one.look();
            daemon.process.waitFor([&, waits = below(3)]() mutable { return waits-- == 0; });
        }
        if (round + 1 == 25) {
            for (Reader& each : readers) {
                EXPECT_TRUE(daemon.process.waitFor([&] {
                    each.look();
                    history = ask(daemon, "GET /v1/history?limit=1000").json();
                    return !each.rows().empty() &&
                           each.rows().rbegin()->first == history["last_id"];
                }));
            }
            life = history["life"];
        }
        daemon.process.signal(below(4) == 0 ? SIGTERM : SIGKILL);
        daemon.process.exitCode();
        for (Reader& each : readers) {
            each.drop();
            for (const auto& [id, row] : each.rows()) {
                const auto [found, isNew] = told.try_emplace({each.life(), id}, row);
                EXPECT_EQ(found->second, row) << "one number, two rows";
            }
        }
    }
    // What is in the history was read, by everybody, and nothing else stands in its place.
    ASSERT_GT(history["entries"].size(), 100u);
    for (const json& entry : history["entries"]) {
        const json row = Reader::plain(entry);
        for (const Reader& each : readers) {
            const auto found = each.rows().find(entry["id"].get<std::int64_t>());
            ASSERT_NE(found, each.rows().end()) << row.dump();
            EXPECT_EQ(found->second, row);
        }
    }
    std::size_t lives = 0;
    std::string before;
    for (const auto& [key, row] : told) lives += std::exchange(before, key.first) != key.first;
    EXPECT_EQ(lives, 1u) << "a kill costs nobody the place in the history";
}

TEST_F(ControlDaemonTest, ASocketThatIsNamedMustBeUsable)
{
    ChildProcess process = run({"--listen", "127.0.0.1:0", "--state", "none", "--config",
                                ORVA_DEMO_CONFIG, "--control", folder + "/none/control.sock"});
    EXPECT_EQ(process.exitCode(), 2);
    EXPECT_THAT(process.err(), HasSubstr("no control interface at " + folder +
                                         "/none/control.sock: No such file or directory"));
}

TEST_F(ControlDaemonTest, WithoutANamedOneTheServiceRunsAllTheSameAndSaysSo)
{
    Arguments words = {"env", "RUNTIME_DIRECTORY=" + folder + "/none"};
    for (const std::string& word : programWith(
             {"--listen", "127.0.0.1:0", "--state", "none", "--config", ORVA_DEMO_CONFIG})) {
        words.push_back(word);
    }
    ChildProcess process(words);
    EXPECT_TRUE(process.waitFor([&] {
        return process.err().find("no control interface at " + folder + "/none/control.sock") !=
                   std::string::npos &&
               process.out().find('\n') != std::string::npos;
    })) << process.err();
    process.signal(SIGTERM);
    EXPECT_EQ(process.exitCode(), 0);
}

TEST_F(ControlDaemonTest, TheRuntimeFolderHasTheSocket)
{
    Arguments words = {"env", "RUNTIME_DIRECTORY=" + folder + ":/elsewhere"};
    for (const std::string& word : programWith(
             {"--listen", "127.0.0.1:0", "--state", "none", "--config", ORVA_DEMO_CONFIG})) {
        words.push_back(word);
    }
    ChildProcess process(words);
    EXPECT_TRUE(process.waitFor([&] { return std::filesystem::exists(socket()); }));
    process.signal(SIGTERM);
    EXPECT_EQ(process.exitCode(), 0);
    EXPECT_FALSE(std::filesystem::exists(socket()));
}

TEST_F(ControlDaemonTest, AnswersWaitForNeitherTheDiskNorTheTunnel)
{
    if (std::string(ORVA_DISK_RULES_LIBRARY).empty()) {
        GTEST_SKIP() << "no library can be put under this program";
    }
    const auto disk = [&](const std::string& word) {
        std::ofstream(folder + "/rules.new") << folder << "/state " << word << "\n";
        std::filesystem::rename(folder + "/rules.new", folder + "/rules");
    };
    disk("ok");
    Daemon daemon(
        withState(), {},
        {"env", "LD_PRELOAD=" ORVA_DISK_RULES_LIBRARY, "ORVA_DISK_RULES=" + folder + "/rules"});
    const auto longest = [&] {
        std::chrono::steady_clock::duration most{};
        for (int i = 0; i < 60; ++i) {
            for (const char* line : {"GET /v1/status", "GET /v1/settings", "GET /v1/history",
                                     "GET /v1/reasons", "GET /metrics"}) {
                const auto begun = std::chrono::steady_clock::now();
                EXPECT_EQ(ask(daemon, line).status, 200);
                most = std::max(most, std::chrono::steady_clock::now() - begun);
            }
        }
        return most;
    };
    const std::string bucket =
        "orva_vpn_call_seconds_bucket{interface=\"control\",method=\"GET /v1/status\",le=\"1\"} ";
    // Other programs may keep the processor: but not each time.
    bool isFree = false;
    for (int tries = 0; tries < 3 && !isFree; ++tries) {
        disk("ok");
        EXPECT_EQ(ask(daemon, "POST /v1/simulate", R"({"stage": "authenticating"})").status, 200);
        const auto reference = longest();
        disk("hangs");
        UnixClient changing(socket());
        changing.send(
            request("PATCH /v1/settings", "{\"port\": " + std::to_string(2000 + tries) + "}"));
        isFree = longest() < reference + std::chrono::milliseconds(20);
        EXPECT_EQ(changing.received(), "") << "the disk did not hang";
        const std::string metrics = ask(daemon, "GET /metrics").body;
        const std::string calls = std::to_string(120 * (tries + 1));
        EXPECT_THAT(metrics, HasSubstr(bucket + calls)) << "of so many none took a second";
        disk("ok");
        EXPECT_TRUE(daemon.process.waitFor([&] { return !changing.received().empty(); }));
    }
    EXPECT_TRUE(isFree);
}

}  // namespace
