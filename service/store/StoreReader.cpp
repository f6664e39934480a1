#include "service/store/StoreReader.h"

#include "service/store/StateFolder.h"

#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <thread>
#include <tuple>

namespace vpnd
{
namespace
{

// A log that has nothing behind it is empty. SQLite, which may not write here, would wait for
// whoever wrote it to go on, and give up.
constexpr std::int64_t kLogHeadBytes = 32;

// File and log as they were at one moment.
class Look
{
public:
    explicit Look(const std::string& path)
        : m_file(at(path)), m_log(at(path + "-wal")), m_hasIndex(at(path + "-shm") != File())
    {
    }

    Database::Access access() const
    {
        if (std::get<2>(m_log) <= kLogHeadBytes) return Database::Access::kReadStill;
        return m_hasIndex ? Database::Access::kRead : Database::Access::kReadAlone;
    }
    bool operator==(const Look& other) const
    {
        return std::tie(m_file, m_log) == std::tie(other.m_file, other.m_log);
    }

private:
    // Inode, time in seconds and the rest of it, size.
    using File = std::tuple<std::pair<ino_t, std::int64_t>, std::int64_t, std::int64_t>;

    static File at(const std::string& path)
    {
        struct stat status;
        if (::stat(path.c_str(), &status) != 0) return {};
        return {{status.st_ino, std::int64_t{status.st_mtim.tv_sec}},
                std::int64_t{status.st_mtim.tv_nsec},
                std::int64_t{status.st_size}};
    }

    File m_file;
    File m_log;
    bool m_hasIndex;
};

// Opens it without creating or changing anything, and does something with it. Where no service
// runs one may begin meanwhile and write: then that was for nothing.
void lookInto(const std::string& path, const std::string& vfs,
              const std::function<void(Database&)>& action)
{
    constexpr int kMostTries = 10;
    for (int tries = 1;; ++tries) {
        const Look before(path);
        std::optional<DatabaseError> failure;
        try {
            Database database(path, before.access(), vfs);
            database.run("BEGIN");  // all that is read is of one moment
            action(database);
        } catch (const DatabaseError& error) {
            failure = error;
        }
        if (!failure && before.access() == Database::Access::kRead) return;
        if (before == Look(path)) {
            if (failure) throw *failure;
            return;
        }
        if (tries == kMostTries) {
            throw DatabaseError(DatabaseError::Kind::kDisk, "it changes again and again");
        }
    }
}

}  // namespace

void refuseNewer(const std::string& path, const SchemaSteps& steps, Database& database)
{
    const int schema = schemaOf(database);
    const int known = static_cast<int>(steps.size());
    if (schema <= known) return;
    throw StoreError(path + " has schema " + std::to_string(schema) +
                     ", this orva-vpnd knows schemas up to " + std::to_string(known) +
                     ": install the newer orva-vpnd again, or move the file away to begin with"
                     " nothing stored");
}

void refuseNewer(const std::string& path, const SchemaSteps& steps, const std::string& vfs)
{
    try {
        lookInto(path, vfs, [&](Database& database) { refuseNewer(path, steps, database); });
    } catch (const DatabaseError&) {
        // Whoever opens it finds out.
    }
}

StoreContents readDatabase(const std::string& path, std::size_t historyRows,
                           const SchemaSteps& steps, const std::string& vfs)
{
    StoreContents contents;
    lookInto(path, vfs, [&](Database& database) {
        refuseNewer(path, steps, database);
        const int schema = schemaOf(database);
        contents = {};
        if (schema == 0) return;
        checkTables(database, {steps.begin(), steps.begin() + schema});
        if (static_cast<std::size_t>(schema) == steps.size()) {
            contents = readRows(database, historyRows);
            return;
        }
        // An older file stays as it is: a copy in memory is brought up to date.
        Database copy({}, Database::Access::kMemory);
        copy.copyFrom(database);
        bringUpToDate(copy, steps);
        contents = readRows(copy, historyRows);
    });
    return contents;
}

StoreContents readStore(const std::string& folder, std::size_t historyRows)
{
    const std::string path = databasePathIn(folder);
    struct stat status;
    if (::stat(path.c_str(), &status) != 0) {
        throw StoreError(path + ": " + std::strerror(errno) +
                         "; name the service's folder with --state DIR");
    }
    // A service that begins or ends meanwhile may be in the way for a moment.
    constexpr int kTries = 20;
    for (int tries = 1;; ++tries) {
        try {
            return readDatabase(path, historyRows, schemaSteps());
        } catch (const DatabaseError& error) {
            if (error.kind() != DatabaseError::Kind::kDisk || tries == kTries) {
                throw StoreError(path + " cannot be read: " + error.what());
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

}  // namespace vpnd
