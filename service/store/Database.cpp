#include "service/store/Database.h"

#include "service/store/PrivateIndex.h"

#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace vpnd
{
namespace
{

using Kind = DatabaseError::Kind;

// Longer than any row of ours: a length in a spoilt file is refused before it is believed.
constexpr int kMostRowBytes = 1024 * 1024;
// A hundred times what reading all takes: a spoilt file must not keep SQLite busy for ever.
constexpr int kMostSteps = 100 * 1000 * 1000;

// One line each for why; all of it is per connection but the journal mode.
constexpr const char* kForAll =
    // Flash that breaks under a mapped file is a signal, a read is an error.
    "PRAGMA mmap_size=0;"
    // A panel has little memory, and a commit touches a handful of pages.
    "PRAGMA cache_size=-256;"
    // Sorting and the like must not look for a folder for temporary files.
    "PRAGMA temp_store=MEMORY;"
    // Text in a foreign file is no program: what it calls does not run.
    "PRAGMA trusted_schema=OFF;"
    // A page that cannot be right is found when it is read, not when it is used.
    "PRAGMA cell_size_check=ON;";
constexpr const char* kForWriting =
    // "Stored" is said after fsync, so it outlives a loss of power.
    "PRAGMA synchronous=FULL;"
    // A password that was replaced does not stay behind in free pages.
    "PRAGMA secure_delete=ON;"
    // After a checkpoint the log gives back what it has grown beyond a megabyte.
    "PRAGMA journal_size_limit=1048576;"
    // As long as the longest file that is accepted.
    "PRAGMA max_page_count=65536;";

Kind kindOf(int code)
{
    switch (code) {
        case SQLITE_IOERR_READ:
        case SQLITE_IOERR_SHORT_READ:
        case SQLITE_IOERR_DATA:
        case SQLITE_IOERR_CORRUPTFS:
            return Kind::kUnreadable;
        default:
            break;
    }
    switch (code & 0xff) {
        case SQLITE_CORRUPT:
        case SQLITE_NOTADB:
        case SQLITE_FORMAT:
            return Kind::kDamaged;
        case SQLITE_IOERR:
        case SQLITE_FULL:
        case SQLITE_READONLY:
        case SQLITE_CANTOPEN:
        case SQLITE_PERM:
        case SQLITE_BUSY:
        case SQLITE_LOCKED:
        case SQLITE_PROTOCOL:
            return Kind::kDisk;
        default:
            return Kind::kOther;
    }
}

// A path in the form that takes options.
std::string uriOf(const std::string& path, const char* options)
{
    std::string uri = "file:";
    for (const char c : path) {
        if (c == '%' || c == '?' || c == '#') {
            constexpr std::string_view kDigits = "0123456789abcdef";
            const auto value = static_cast<unsigned char>(c);
            uri += {'%', kDigits[value >> 4], kDigits[value & 15u]};
        } else {
            uri += c;
        }
    }
    return uri + options;
}

std::string nameOf(const std::string& path, Database::Access access)
{
    switch (access) {
        case Database::Access::kRead:
            return uriOf(path, "?readonly_shm=1");
        case Database::Access::kReadStill:
            return uriOf(path, "?immutable=1");
        case Database::Access::kMemory:
            return ":memory:";
        case Database::Access::kReadAlone:
        case Database::Access::kWrite:
            break;
    }
    return uriOf(path, "");
}

// Before SQLite begins to read it.
void refuseTooLong(const std::string& path)
{
    for (const char* file : {"", "-wal", "-journal"}) {
        struct stat status;
        const bool isKnown = ::stat((path + file).c_str(), &status) == 0;
        // On the panel even its size may be too long.
        if (isKnown ? status.st_size > static_cast<off_t>(kMostDatabaseBytes)
                    : errno == EOVERFLOW) {
            throw DatabaseError(Kind::kDamaged, "longer than it can be");
        }
    }
}

int noteLog(void* pages, sqlite3*, const char*, int count)
{
    *static_cast<std::uint64_t*>(pages) = static_cast<std::uint64_t>(std::max(count, 0));
    return SQLITE_OK;
}

int giveUp(void*) { return 1; }

}  // namespace

void Database::Close::operator()(sqlite3* database) const { ::sqlite3_close_v2(database); }
Database::Database(const std::string& path, Access access, const std::string& vfs)
{
    if (access != Access::kMemory) refuseTooLong(path);
    const bool writes = access == Access::kWrite || access == Access::kMemory;
    const int flags = SQLITE_OPEN_URI | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_EXRESCODE |
                      (writes ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY);
    sqlite3* database = nullptr;
    const char* layer = access == Access::kReadAlone ? privateIndexLayer() : vfs.c_str();
    const int code = ::sqlite3_open_v2(nameOf(path, access).c_str(), &database, flags,
                                       *layer == '\0' ? nullptr : layer);
    m_database.reset(database);
    if (database == nullptr) throw std::bad_alloc();
    check(code);
    ::sqlite3_limit(database, SQLITE_LIMIT_LENGTH, kMostRowBytes);
    ::sqlite3_progress_handler(database, kMostSteps, giveUp, nullptr);
    // A reader that repairs the log's index after a kill is the only one who keeps us.
    ::sqlite3_busy_timeout(database, 1000);
    for (const int off : {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW}) {
        ::sqlite3_db_config(database, off, 0, nullptr);
    }
    ::sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    run(kForAll);
    if (access != Access::kWrite) return;
    run(kForWriting);
    // In place of SQLite's own checkpoints, which would keep a commit waiting.
    ::sqlite3_wal_hook(database, noteLog, m_pagesInLog.get());
}

void Database::raise(int code) const
{
    if (code == SQLITE_NOMEM || code == SQLITE_IOERR_NOMEM) throw std::bad_alloc();
    throw DatabaseError(kindOf(code), std::string(::sqlite3_errmsg(m_database.get())) + " (" +
                                          std::to_string(code) + ")");
}

void Database::check(int code) const
{
    if (code != SQLITE_OK) raise(code);
}

void Database::run(const char* sql)
{
    check(::sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr));
}

std::int64_t Database::number(const char* sql)
{
    Statement statement(*this, sql);
    return statement.step() ? statement.number(0) : 0;
}

std::string Database::text(const char* sql)
{
    Statement statement(*this, sql);
    return statement.step() ? statement.text(0, kMostRowBytes) : std::string();
}

bool Database::isReadOnly() const { return ::sqlite3_db_readonly(m_database.get(), "main") != 0; }

bool Database::hasMoved() const
{
    int moved = 0;
    ::sqlite3_file_control(m_database.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved);
    return moved != 0;
}

void Database::forgetPages() { ::sqlite3_db_release_memory(m_database.get()); }

void Database::copyFrom(Database& other)
{
    sqlite3_backup* backup =
        ::sqlite3_backup_init(m_database.get(), "main", other.m_database.get(), "main");
    if (backup == nullptr) raise(::sqlite3_extended_errcode(m_database.get()));
    const int code = ::sqlite3_backup_step(backup, -1);
    ::sqlite3_backup_finish(backup);
    if (code != SQLITE_DONE) raise(code);
}

std::uint64_t Database::takePagesWritten()
{
    int pages = 0;
    int unused = 0;
    ::sqlite3_db_status(m_database.get(), SQLITE_DBSTATUS_CACHE_WRITE, &pages, &unused, 1);
    return static_cast<std::uint64_t>(std::max(pages, 0));
}

std::uint64_t Database::checkpoint()
{
    int inLog = 0;
    int copied = 0;
    check(::sqlite3_wal_checkpoint_v2(m_database.get(), "main", SQLITE_CHECKPOINT_PASSIVE, &inLog,
                                      &copied));
    const auto all = static_cast<std::uint64_t>(std::max(copied, 0));
    const std::uint64_t before = std::exchange(m_pagesCopied, all);
    return all >= before ? all - before : all;
}

void Database::keepLogAtEnd(bool keep)
{
    ::sqlite3_db_config(m_database.get(), SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, keep ? 1 : 0, nullptr);
}

}  // namespace vpnd
