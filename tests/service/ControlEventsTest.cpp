#include "tests/service/ControlFixture.h"

#include <cstdint>
#include <string>
#include <vector>

namespace
{

using nlohmann::json;

class ControlEventsTest : public ControlFixture
{
protected:
    static std::vector<std::int64_t> rows(const std::vector<ServerEvent>& events)
    {
        std::vector<std::int64_t> ids;
        for (const ServerEvent& each : events) {
            if (each.name == "history") ids.push_back(each.data["id"]);
        }
        return ids;
    }
    std::vector<std::int64_t> rowsFrom(std::int64_t id)
    {
        std::vector<std::int64_t> ids;
        for (const vpnd::HistoryEntry& each : history().entries()) {
            if (each.id >= id) ids.push_back(each.id);
        }
        return ids;
    }
    void happen(int times)
    {
        for (int i = 0; i < times; ++i) {
            vpnd::HistoryEntry entry;
            entry.kind = vpnd::EventKind::kConfiguration;
            entry.subject = "thing " + std::to_string(++m_things);
            entry.detail = std::string(400, 'x');
            history().add(entry);
        }
    }

private:
    int m_things = 0;
};

TEST_F(ControlEventsTest, TheStatusComesFirstThenWhatHappens)
{
    settle();
    UnixClient client = reader();
    ASSERT_EQ(events(client).size(), 1u);
    EXPECT_EQ(events(client)[0].name, "status");
    EXPECT_EQ(events(client)[0].data["state"]["number"], 5);
    const std::int64_t last = history().entries().back().id;
    EXPECT_EQ(events(client)[0].id, "0-" + std::to_string(last));

    EXPECT_EQ(ask("POST /v1/disable").status, 200);
    const std::vector<ServerEvent> all = events(client);
    EXPECT_EQ(rows(all), rowsFrom(last + 1));
    EXPECT_EQ(all.back().id, "0-" + std::to_string(all.back().data["id"].get<std::int64_t>()));
    bool isToldDisabled = false;
    for (const ServerEvent& each : all) {
        if (each.name != "status") continue;
        isToldDisabled = each.data["switches"]["enabled"] == false;
    }
    EXPECT_TRUE(isToldDisabled) << "the latest status is told";
}

TEST_F(ControlEventsTest, AReaderGoesOnBehindTheRowThatItHasReadLast)
{
    happen(20);
    UnixClient client = reader({}, "Last-Event-ID: 0-7\r\n");
    EXPECT_EQ(rows(events(client)), rowsFrom(8));
    UnixClient plain = reader("?after=7");
    EXPECT_EQ(rows(events(plain)), rowsFrom(8));
    UnixClient whole = reader("?after=0");
    EXPECT_EQ(rows(events(whole)), rowsFrom(1));
    UnixClient both = reader("?after=0", "Last-Event-ID: 0-7\r\n");
    EXPECT_EQ(rows(events(both)), rowsFrom(8)) << "the header is of the time since";
}

TEST_F(ControlEventsTest, ARowWhoseOutcomeIsOpenIsWaitedForAndTheStatusIsNot)
{
    settle();
    stores = false;
    UnixClient client = reader("?after=0");
    const std::size_t before = rows(events(client)).size();
    UnixClient changing(path());
    changing.send(request("PATCH /v1/settings", R"({"port": 5})"));
    work();
    happen(1);
    vpnd::Caller caller;
    controller().setEnabled(caller, false, [](vpnd::Outcome) {});
    const std::vector<ServerEvent> held = events(client);
    EXPECT_EQ(rows(held).size(), before);
    EXPECT_EQ(held.back().data["state"]["name"], "disabled");
    store().fails = true;
    store().answerOne();
    store().fails = false;
    store().answerAll();
    const std::vector<ServerEvent> all = events(client);
    EXPECT_EQ(rows(all), rowsFrom(1));
    for (const ServerEvent& each : all) {
        if (each.name != "history") continue;
        EXPECT_NE(each.data["outcome"], "pending");
        if (each.data["subject"] == "port") {
            EXPECT_EQ(each.data["outcome"], "not stored");
        }
    }
}

TEST_F(ControlEventsTest, AReaderThatBeginsWhileARowIsOpenGetsThatRow)
{
    stores = false;
    UnixClient changing(path());
    changing.send(request("PATCH /v1/settings", R"({"port": 5})"));
    work();
    UnixClient client = reader();
    const std::int64_t id = history().entries().back().id;
    EXPECT_EQ(events(client).size(), 1u);
    EXPECT_EQ(events(client)[0].id, "0-" + std::to_string(id - 1));
    store().answerAll();
    ASSERT_GE(rows(events(client)).size(), 1u);
    EXPECT_EQ(rows(events(client))[0], id);
}

TEST_F(ControlEventsTest, AReaderOfRemovedRowsIsToldToForget)
{
    history().setBounds({100, 1'000'000});
    happen(150);
    const std::int64_t first = history().entries().front().id;
    const auto whyOf = [&](UnixClient client) {
        for (const ServerEvent& each : events(client)) {
            if (each.name != "reset") continue;
            EXPECT_EQ(each.data["first_id"], first);
            EXPECT_EQ(rows(events(client)), rowsFrom(first));
            return each.data["why"].get<std::string>();
        }
        return std::string();
    };
    EXPECT_EQ(whyOf(reader({}, "Last-Event-ID: 0-" + std::to_string(first - 2) + "\r\n")),
              "too_old");
    EXPECT_EQ(whyOf(reader({}, "Last-Event-ID: 0-" + std::to_string(first - 1) + "\r\n")), "");
    EXPECT_EQ(whyOf(reader({}, "Last-Event-ID: 0-0\r\n")), "too_old");
    EXPECT_EQ(whyOf(reader("?after=0")), "") << "it has read none";
    EXPECT_EQ(whyOf(reader({}, "Last-Event-ID: 1-" + std::to_string(first) + "\r\n")),
              "other_life");
    EXPECT_EQ(whyOf(reader({}, "Last-Event-ID: 0-99999\r\n")), "other_life");
}

TEST_F(ControlEventsTest, ASlowReaderIsToldHowMuchItHasMissed)
{
    settle();
    history().setBounds({100, 1'000'000});
    UnixClient client = reader();
    work();
    // Until the system takes no more for it, and as many again.
    for (int i = 0; i < 40; ++i) {
        happen(50);
        pass(10);
        work();
    }
    const std::int64_t last = history().entries().back().id;
    std::int64_t accounted = 0;
    std::int64_t missed = 0;
    for (int i = 0; i < 10; ++i) events(client);
    std::int64_t next = 0;
    for (const ServerEvent& each : events(client)) {
        if (each.name == "missed") {
            missed += each.data["count"].get<std::int64_t>();
            next += each.data["count"].get<std::int64_t>();
        }
        if (each.name != "history") continue;
        if (next == 0) next = each.data["id"].get<std::int64_t>();
        EXPECT_EQ(each.data["id"], next);
        ++next;
        ++accounted;
    }
    EXPECT_GT(missed, 0);
    EXPECT_EQ(accounted + missed, 40 * 50);
    EXPECT_EQ(next, last + 1);
}

TEST_F(ControlEventsTest, AReaderThatTakesNothingIsLetGo)
{
    UnixClient client = reader();
    for (int i = 0; i < 20; ++i) {
        happen(200);
        pass(10);
        work();
    }
    EXPECT_EQ(listener->clientCount(), 1u);
    pass(vpnd::HttpConnection::kTakeMs);
    work();
    EXPECT_EQ(listener->clientCount(), 0u);
}

TEST_F(ControlEventsTest, AQuietStreamHasASignOfLifeEveryFifteenSeconds)
{
    UnixClient client = reader();
    events(client);
    settle();
    work();
    events(client);
    const auto signs = [&] {
        std::size_t count = 0;
        const std::string& text = client.received();
        for (std::size_t at = 0; (at = text.find("\r\n:\n\n\r\n", at)) != std::string::npos; ++at) {
            ++count;
        }
        return count;
    };
    // Not the tunnel's traffic, which is told to nobody.
    for (std::size_t i = 1; i <= 4; ++i) {
        pass(vpnd::HttpConnection::kSignMs);
        work();
        EXPECT_EQ(signs(), i);
        EXPECT_FALSE(client.closed());
    }
}

TEST_F(ControlEventsTest, SeveralChangesAtOnceAreOneStatusTheLatest)
{
    settle();
    UnixClient client = reader();
    events(client);
    const vpnd::Caller caller;
    for (const bool enabled : {false, true, false}) {
        controller().setEnabled(caller, enabled, [](vpnd::Outcome) {});
        store().answerAll();
    }
    std::size_t count = 0;
    json latest;
    for (const ServerEvent& each : events(client)) {
        if (each.name != "status") continue;
        ++count;
        latest = each.data;
    }
    EXPECT_EQ(count, 2u);
    EXPECT_EQ(latest["switches"]["enabled"], false);
}

TEST_F(ControlEventsTest, OneReaderThatStandsStillHoldsUpNoOther)
{
    UnixClient slow = reader();
    UnixClient quick = reader("?after=0");
    for (int i = 0; i < 40; ++i) {
        happen(50);
        events(quick);
    }
    for (int i = 0; i < 5; ++i) events(quick);
    EXPECT_EQ(rows(events(quick)), rowsFrom(1));
    EXPECT_EQ(ask("GET /v1/status").status, 200);
}

}  // namespace
