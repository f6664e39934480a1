#include "service/store/Schema.h"

#include <string>

namespace vpnd
{
namespace
{

// "OV", and the schema number once more behind it: a single wrong number in the file's head
// must not pass for a newer schema.
constexpr std::int64_t kMark = 0x4f560000;
constexpr std::int64_t kMostSchemas = 0xffff;

constexpr const char* kSchema1 = R"(
CREATE TABLE setting (
    key TEXT NOT NULL PRIMARY KEY,
    value TEXT NOT NULL
) STRICT, WITHOUT ROWID;
CREATE TABLE history (
    id INTEGER PRIMARY KEY,
    first_ms INTEGER NOT NULL,
    last_ms INTEGER NOT NULL,
    count INTEGER NOT NULL,
    kind TEXT NOT NULL,
    subject TEXT NOT NULL,
    old_value TEXT NOT NULL,
    new_value TEXT NOT NULL,
    interface TEXT NOT NULL,
    uid INTEGER,
    program TEXT NOT NULL,
    outcome TEXT NOT NULL,
    reason INTEGER NOT NULL,
    detail TEXT NOT NULL
) STRICT;
)";

[[noreturn]] void raiseDamage(const std::string& what)
{
    throw DatabaseError(DatabaseError::Kind::kDamaged, what);
}

// All tables as text, in a fixed order.
std::string tablesOf(Database& database)
{
    constexpr std::size_t kMostTablesBytes = 64 * 1024;
    Statement rows(database,
                   "SELECT type || ' ' || name || ' ' || tbl_name || ': ' || coalesce(sql, '')"
                   " FROM sqlite_schema ORDER BY 1");
    std::string all;
    while (rows.step()) {
        all += rows.text(0, kMostTablesBytes) + '\n';
        if (all.size() > kMostTablesBytes) raiseDamage("more tables than it can have");
    }
    return all;
}

}  // namespace

const SchemaSteps& schemaSteps()
{
    static const SchemaSteps steps = {kSchema1};
    return steps;
}

int schemaOf(Database& database)
{
    const std::int64_t number = database.number("PRAGMA user_version");
    const std::int64_t mark = database.number("PRAGMA application_id");
    if (number == 0 && mark == 0) {
        if (database.number("SELECT count(*) FROM sqlite_schema") != 0) {
            raiseDamage("a database of another program");
        }
        return 0;
    }
    if (number < 1 || number > kMostSchemas || mark != kMark + number) {
        raiseDamage("a database of another program, or its head is spoilt");
    }
    return static_cast<int>(number);
}

void bringUpToDate(Database& database, const SchemaSteps& steps)
{
    for (auto have = static_cast<std::size_t>(schemaOf(database)); have < steps.size(); ++have) {
        const std::string next = std::to_string(have + 1);
        const std::string mark = std::to_string(kMark + static_cast<std::int64_t>(have) + 1);
        Transaction step(database);
        database.run(steps[have]);
        database.run(("PRAGMA user_version=" + next).c_str());
        database.run(("PRAGMA application_id=" + mark).c_str());
        step.commit();
    }
}

void checkTables(Database& database, const SchemaSteps& steps)
{
    const std::string sound = database.text("PRAGMA quick_check(1)");
    if (sound != "ok") raiseDamage(sound);
    Database model({}, Database::Access::kMemory);
    bringUpToDate(model, steps);
    if (tablesOf(database) != tablesOf(model)) raiseDamage("its tables are not those of orva-vpnd");
}

}  // namespace vpnd
