#include "PowerLoss.h"
#include "StoreFixture.h"

#include <optional>
#include <string>
#include <utility>

namespace
{

using Files = std::map<std::string, std::string>;

constexpr const char* kNextStep =
    "ALTER TABLE history ADD COLUMN extra TEXT NOT NULL DEFAULT '';"
    "CREATE TABLE more (x TEXT NOT NULL) STRICT;"
    "INSERT INTO setting VALUES ('migrated', 'yes');";

// What a disk has had before the service begins, and with which tables the service works.
struct Beginning {
    Files files;
    vpnd::SchemaSteps steps = vpnd::schemaSteps();
    std::int64_t stored = 0;  // the number of the last commit in the files
};

vpnd::Commit commitOf(std::int64_t number)
{
    // So long that the log is copied to the file several times.
    vpnd::Commit commit = settingTo("certificates", std::string(40000, char('a' + number % 26)));
    commit.settings.push_back({"number", std::to_string(number)});
    commit.history = {entryNumber(number)};
    commit.keepFromId = number - 20;
    return commit;
}

void put(const Files& files, const std::string& folder)
{
    for (const auto& [name, content] : files) putContent(folder + "/" + name, content);
}

vpnd::StoreSetup setupOf(const Beginning& beginning, const std::string& folder)
{
    vpnd::StoreSetup setup = OpenStore::setupIn(folder);
    setup.steps = beginning.steps;
    return setup;
}

// What is wrong with the files that a loss of power has left over; empty: nothing.
std::string faultIn(const Beginning& beginning, const Files& leftOver, std::int64_t acknowledged,
                    std::int64_t begun)
{
    TestFolder folder;
    put(leftOver, folder.path());
    OpenStore store(setupOf(beginning, folder.path()));
    if (store.said(Noted::kSetAside) != 0) return store.saidText();
    std::int64_t number = 0;
    std::string certificates;
    for (const auto& each : store.contents.settings) {
        if (each.key == "number") number = std::stoll(each.value);
        if (each.key == "certificates") certificates = each.value;
    }
    const std::string has =
        "has " + std::to_string(number) + ", acknowledged were " + std::to_string(acknowledged);
    if (number < acknowledged) return "lost: " + has;
    if (number > begun) return "of the future: " + has;
    if (number != 0 && certificates != commitOf(number).settings[0].value) return "half: " + has;
    const auto& history = store.contents.history;
    const std::int64_t newest = history.empty() ? 0 : history.back().id;
    if (newest != number) return "history to " + std::to_string(newest) + ": " + has;
    const auto expected = static_cast<std::size_t>(std::min<std::int64_t>(number, 21));
    if (history.size() != expected) return "history has gaps: " + has;
    if (!store.stores("port", "1")) return "not stored: " + store.saidText();
    return {};
}

// A service that begins and stores commits, until the power goes at this sync, or, when there
// are not so many, at its end. Nothing when there are not so many syncs.
std::optional<std::string> faultAt(const Beginning& beginning, int sync, unsigned seed,
                                   bool forgetsSyncs = false)
{
    TestFolder folder;
    put(beginning.files, folder.path());
    PowerLoss power(folder.path());
    power.goAt(sync, seed);
    if (forgetsSyncs) power.forgetSyncs();
    std::int64_t acknowledged = beginning.stored;
    std::int64_t begun = acknowledged;
    {
        vpnd::StoreSetup setup = setupOf(beginning, folder.path());
        setup.vfs = PowerLoss::kName;
        OpenStore store(setup);
        while (begun < beginning.stored + 40 && !power.isGone()) {
            const bool isStored = store.commit(commitOf(++begun)).isStored;
            if (isStored) acknowledged = begun;
        }
    }
    const bool wentAtSync = power.isGone();
    power.go();
    const std::string fault = faultIn(beginning, power.leftOver(), acknowledged, begun);
    if (!wentAtSync && fault.empty()) return std::nullopt;
    return fault;
}

void expectNoFault(const Beginning& beginning, int atLeastSyncs)
{
    const unsigned seeds = ORVA_STORE_SEEDS * static_cast<unsigned>(more());
    int sync = 1;
    for (bool goesOn = true; goesOn; ++sync) {
        for (unsigned seed = 1; seed <= seeds && goesOn; ++seed) {
            const std::optional<std::string> fault = faultAt(beginning, sync, seed);
            goesOn = fault.has_value();
            ASSERT_EQ(fault.value_or(""), "") << "power lost at sync " << sync << ", seed " << seed;
        }
    }
    EXPECT_GE(sync, atLeastSyncs) << "the syncs of opening, commits, checkpoints and the end";
}

// What a service has on disk while it works: part of it in the log.
Beginning afterAKill()
{
    TestFolder folder;
    Beginning beginning;
    OpenStore store(folder.path());
    for (int number = 1; number <= 14; ++number) {
        if (!store.commit(commitOf(number)).isStored) throw std::runtime_error("not stored");
    }
    for (const char* name : {"vpnd.db", "vpnd.db-wal"}) {
        beginning.files[name] = contentOf(folder / name);
    }
    beginning.stored = 14;
    return beginning;
}

TEST(StorePowerLossTest, NothingAcknowledgedIsLostFromTheFirstStartOn) { expectNoFault({}, 45); }

TEST(StorePowerLossTest, NothingAcknowledgedIsLostAfterAKill) { expectNoFault(afterAKill(), 42); }

TEST(StorePowerLossTest, NothingAcknowledgedIsLostInAMigration)
{
    Beginning beginning = afterAKill();
    beginning.steps.push_back(kNextStep);
    beginning.steps.push_back("CREATE TABLE evenMore (x TEXT NOT NULL) STRICT;");
    expectNoFault(beginning, 44);
}

// The harness: it must see what it is there for.
TEST(StorePowerLossTest, ADiskThatForgetsItsSyncsIsFoundOut)
{
    int faults = 0;
    for (int sync = 8; sync < 28; ++sync) {
        const std::optional<std::string> fault = faultAt({}, sync, 1, true);
        faults += fault.value_or("").empty() ? 0 : 1;
    }
    EXPECT_GE(faults, 10);
}

}  // namespace
