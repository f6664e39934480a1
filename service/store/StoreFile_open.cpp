#include "service/store/StoreFile.h"

#include "service/store/StoreReader.h"

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace vpnd
{
namespace
{

using Kind = DatabaseError::Kind;

}  // namespace

StoreFile::StoreFile(StoreSetup setup) : m_setup(std::move(setup)), m_folder(m_setup.folder)
{
    try {
        openAtStart();
    } catch (const DatabaseError& failure) {
        m_database.reset();
        noteFailure(failure.what());
    }
}

void StoreFile::openAtStart()
{
    try {
        openAndRead();
        return;
    } catch (const DatabaseError& failure) {
        m_database.reset();
        if (failure.kind() == Kind::kDisk || failure.kind() == Kind::kUnreadable) {
            if (readOnly(failure)) return;
        } else {
            putAside(failure);
        }
    }
    openAndRead();
}

bool StoreFile::readOnly(const DatabaseError& failure)
{
    try {
        take(readDatabase(path(), m_setup.historyRows, m_setup.steps, m_setup.vfs));
        m_isKnown = true;
        noteFailure(failure.what());
        return true;
    } catch (const DatabaseError& unread) {
        // Whoever merely does not let us in may do so later: the file stays.
        if (unread.kind() == Kind::kDisk) throw;
        putAside(unread);
        return false;
    }
}

void StoreFile::openAndRead()
{
    makeDatabase();
    refuseNewer(path(), m_setup.steps, m_setup.vfs);
    const int schema = connect();
    bringUpToDate(*m_database, m_setup.steps);
    take(readRows(*m_database, m_setup.historyRows));
    m_isKnown = true;
    if (schema == 0) {
        note(StoreNote::Kind::kFresh, path() + " is new: nothing was stored");
    } else if (static_cast<std::size_t>(schema) < m_setup.steps.size()) {
        note(StoreNote::Kind::kMigrated, path() + " was brought from schema " +
                                             std::to_string(schema) + " to " +
                                             std::to_string(m_setup.steps.size()));
    }
}

void StoreFile::makeDatabase() const
{
    const int error = m_folder.makeDatabase();
    if (error != 0) throw DatabaseError(Kind::kDisk, std::strerror(error));
}

int StoreFile::connect()
{
    m_database.emplace(path(), Database::Access::kWrite, m_setup.vfs);
    // Until it is known to be ours it stays as it is.
    m_database->keepLogAtEnd(true);
    refuseNewer(path(), m_setup.steps, *m_database);
    const int schema = schemaOf(*m_database);
    // The system lets it be written: makeDatabase() has asked.
    if (m_database->isReadOnly()) throw DatabaseError(Kind::kDamaged, "its head forbids writing");
    if (schema != 0) {
        checkTables(*m_database, {m_setup.steps.begin(), m_setup.steps.begin() + schema});
    }
    // Of one commit it writes each page once and waits once for the disk; readers keep nobody.
    if (m_database->text("PRAGMA journal_mode=WAL") != "wal") {
        throw DatabaseError(Kind::kDisk, "no write-ahead log is possible there");
    }
    m_database->keepLogAtEnd(false);
    return schema;
}

void StoreFile::take(StoreContents contents)
{
    if (contents.entriesLeftOut != 0) {
        note(StoreNote::Kind::kLeftOut, std::to_string(contents.entriesLeftOut) +
                                            " entries of the history in " + path() +
                                            " are not understood: another orva-vpnd wrote them");
    }
    m_keepFromId = contents.oldestId;
    m_contents = std::move(contents);
}

void StoreFile::putAside(const DatabaseError& damage)
{
    // The log as well is for whoever looks into the matter.
    if (m_database) m_database->keepLogAtEnd(true);
    m_database.reset();
    m_isKnown = false;
    const std::string name = m_folder.setDatabaseAside();
    if (name.empty()) {
        throw DatabaseError(Kind::kDisk, std::string("it is damaged (") + damage.what() +
                                             ") and cannot be renamed: " + std::strerror(errno));
    }
    note(StoreNote::Kind::kSetAside, path() + " is damaged (" + damage.what() + "): it is called " +
                                         name + " now, and a new one is begun");
}

StoreContents StoreFile::takeContents() { return std::exchange(m_contents, {}); }

}  // namespace vpnd
