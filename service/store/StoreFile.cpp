#include "service/store/StoreFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

namespace vpnd
{
namespace
{

using Kind = DatabaseError::Kind;

constexpr std::uint64_t kPageBytes = 4096;
constexpr std::uint64_t kPageInLogBytes = kPageBytes + 24;
// The log is copied to the file when it is longer: rarely, as each page is written once more
// then, and while it still is quickly read after a loss of power.
constexpr std::uint64_t kTidyPages = 256;
// Only a reader that never ends makes it so long.
constexpr off_t kMostLogBytes = 32 * 1024 * 1024;

// Counts what is written in its time, also by what fails.
class PagesCounted
{
public:
    PagesCounted(Database& database, std::uint64_t& bytes) : m_database(database), m_bytes(bytes)
    {
        m_database.takePagesWritten();
    }
    ~PagesCounted() { m_bytes += m_database.takePagesWritten() * kPageInLogBytes; }
    PagesCounted(const PagesCounted&) = delete;
    PagesCounted& operator=(const PagesCounted&) = delete;

private:
    Database& m_database;
    std::uint64_t& m_bytes;
};

}  // namespace

std::vector<CommitResult> StoreFile::write(const std::vector<Commit>& commits,
                                           const StoreImage& image)
{
    std::vector<CommitResult> results(commits.size());
    std::vector<const Commit*> all;
    for (const Commit& each : commits) all.push_back(&each);
    Attempt outcome = attempt(all, image);
    if (outcome == Attempt::kRefused && commits.size() > 1) {
        for (std::size_t i = 0; i < commits.size() && outcome != Attempt::kDiskFails; ++i) {
            outcome = attempt({&commits[i]}, image);
            results[i] = {outcome == Attempt::kStored, std::exchange(m_bytes, 0)};
        }
        return results;
    }
    const std::uint64_t bytes = std::exchange(m_bytes, 0);
    for (CommitResult& each : results) {
        each = {outcome == Attempt::kStored, bytes / results.size()};
    }
    if (!results.empty()) results.front().bytesWritten += bytes % results.size();
    return results;
}

StoreFile::Attempt StoreFile::attempt(const std::vector<const Commit*>& commits,
                                      const StoreImage& image)
{
    // A connection that has just failed gets a second chance; the next time a new one is made.
    // That also begins the log anew, unless somebody reads it.
    bool mayOpenAgain = m_fails || logIsTooLong();
    bool mayPutAside = true;
    if (m_database && m_database->hasMoved()) {
        m_database.reset();
        m_folder.removeLog();
        m_isKnown = false;
    }
    while (true) {
        bool isOpen = m_database.has_value();
        try {
            if (!isOpen) {
                mayOpenAgain = false;
                openAgain(image);
                isOpen = true;
            }
            writeTogether(commits);
            if (std::exchange(m_fails, false)) {
                note(StoreNote::Kind::kWritesAgain, path() + " is written again");
            }
            return Attempt::kStored;
        } catch (const DatabaseError& failure) {
            // What cannot be read is known here, and can be written anew.
            const bool isDamaged = failure.kind() == Kind::kDamaged ||
                                   failure.kind() == Kind::kUnreadable ||
                                   (failure.kind() == Kind::kOther && !isOpen);
            try {
                if (!isOpen && !isDamaged) m_database.reset();
                if (isDamaged) {
                    putAside(failure);
                    if (std::exchange(mayPutAside, false)) continue;
                } else if (failure.kind() == Kind::kOther) {
                    return Attempt::kRefused;
                }
                noteFailure(failure.what());
            } catch (const DatabaseError& second) {
                noteFailure(second.what());
                return Attempt::kDiskFails;
            }
            if (!std::exchange(mayOpenAgain, false)) return Attempt::kDiskFails;
            m_database.reset();
        } catch (const StoreError& failure) {
            // Somebody has put another file, or another owner, in its place.
            m_database.reset();
            noteFailure(failure.what());
            return Attempt::kDiskFails;
        } catch (const std::bad_alloc&) {
            if (!isOpen) m_database.reset();
            return Attempt::kRefused;
        }
    }
}

void StoreFile::openAgain(const StoreImage& image)
{
    struct stat status;
    if (!m_isKnown && ::stat(path().c_str(), &status) == 0 && status.st_size != 0) {
        putAside(DatabaseError(Kind::kUnreadable, "it is not the one that the service began with"));
    }
    makeDatabase();
    if (connect() == 0) m_isKnown = false;
    refuseLongLog();
    bringUpToDate(*m_database, m_setup.steps);
    const std::optional<Commit> all = image();
    if (!all) throw DatabaseError(Kind::kDisk, "the service ends");
    const PagesCounted counted(*m_database, m_bytes);
    Transaction transaction(*m_database);
    // What was said to have failed may stand in the log all the same. Of the history that is
    // corrected later, when its entries are written with their outcome.
    m_database->run("DELETE FROM setting");
    if (!m_isKnown) m_database->run("DELETE FROM history");
    Commit known;
    known.settings = all->settings;
    if (!m_isKnown) known.history = all->history;
    writeRows(*m_database, known);
    transaction.commit();
    m_isKnown = true;
}

void StoreFile::writeTogether(const std::vector<const Commit*>& commits)
{
    refuseLongLog();
    const PagesCounted counted(*m_database, m_bytes);
    Transaction transaction(*m_database);
    std::int64_t keepFromId = m_keepFromId;
    for (const Commit* each : commits) {
        writeRows(*m_database, *each);
        keepFromId = std::max(keepFromId, each->keepFromId);
    }
    removeEntriesBefore(*m_database, keepFromId);
    transaction.commit();
    m_keepFromId = keepFromId;
}

bool StoreFile::logIsTooLong() const
{
    struct stat status;
    return ::stat((path() + "-wal").c_str(), &status) == 0 && status.st_size > kMostLogBytes;
}

void StoreFile::refuseLongLog() const
{
    if (logIsTooLong()) {
        throw DatabaseError(Kind::kDisk, "a reader that does not end keeps its log");
    }
}

void StoreFile::tidy()
{
    if (!m_database) return;
    try {
        if (m_database->pagesInLog() >= kTidyPages) {
            m_bytes += m_database->checkpoint() * kPageBytes;
        }
        m_database->forgetPages();
    } catch (const DatabaseError&) {
        // The log grows on; if the disk fails, the next commit tells.
    }
}

void StoreFile::noteFailure(const std::string& cause)
{
    if (std::exchange(m_fails, true)) return;
    note(StoreNote::Kind::kCannotWrite,
         path() + " cannot be written: " + cause + "; nothing is stored until it can");
}

void StoreFile::note(StoreNote::Kind kind, const std::string& text)
{
    m_notes.push_back({kind, text});
}

std::vector<StoreNote> StoreFile::takeNotes() { return std::exchange(m_notes, {}); }

}  // namespace vpnd
