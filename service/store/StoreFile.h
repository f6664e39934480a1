#pragma once

#include "service/core/IStore.h"
#include "service/store/Database.h"
#include "service/store/Rows.h"
#include "service/store/Schema.h"
#include "service/store/StateFolder.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vpnd
{

// What happened to the file, for log and history.
struct StoreNote {
    enum class Kind {
        kFresh,        // there was none: a new one
        kMigrated,     // brought to the present schema
        kSetAside,     // damaged; it has another name now
        kLeftOut,      // entries of the history that are not understood
        kCannotWrite,  // nothing is stored from now on
        kWritesAgain,
    };
    Kind kind;
    std::string text;  // one sentence, with path and cause
};

struct StoreSetup {
    std::string folder;
    std::size_t historyRows = 10000;  // as many are read at most
    std::string vfs;                  // SQLite's name of its file layer; empty: the system's
    SchemaSteps steps = schemaSteps();
};

// Everything that is known and was said to be stored: for a file that has to be made anew.
// Nothing when there is nobody left to ask.
using StoreImage = std::function<std::optional<Commit>()>;

// The file of settings and history: opened, read, repaired and written, whatever becomes of the
// disk. For one thread at a time; every call may take as long as the disk does.
class StoreFile
{
public:
    // Opens and reads it, makes it if there is none, and puts it aside if it is damaged. A disk
    // that is full or read-only is noted: what is stored can be read then. Raises StoreError
    // when the folder or its file is not for us, or is a newer orva-vpnd's.
    explicit StoreFile(StoreSetup setup);

    // What was read.
    [[nodiscard]] StoreContents takeContents();
    // What has happened since the last call.
    [[nodiscard]] std::vector<StoreNote> takeNotes();

    // Stores all of them together if it can; if one of them is to blame for a failure, it
    // stores the others one by one. A result for each.
    [[nodiscard]] std::vector<CommitResult> write(const std::vector<Commit>& commits,
                                                  const StoreImage& image);
    // After write(): moves the log's content to the file when it has grown, and gives back
    // memory.
    void tidy();

private:
    enum class Attempt { kStored, kDiskFails, kRefused };

    const std::string& path() const { return m_folder.databasePath(); }
    void openAtStart();
    void openAndRead();
    bool readOnly(const DatabaseError& failure);
    void openAgain(const StoreImage& image);
    void makeDatabase() const;
    int connect();
    void take(StoreContents contents);
    void putAside(const DatabaseError& damage);

    Attempt attempt(const std::vector<const Commit*>& commits, const StoreImage& image);
    void writeTogether(const std::vector<const Commit*>& commits);
    [[nodiscard]] bool logIsTooLong() const;
    void refuseLongLog() const;
    void noteFailure(const std::string& cause);
    void note(StoreNote::Kind kind, const std::string& text);

    StoreSetup m_setup;
    StateFolder m_folder;
    std::optional<Database> m_database;  // none while the disk does not let us write
    StoreContents m_contents;
    std::vector<StoreNote> m_notes;
    std::int64_t m_keepFromId = 0;
    bool m_isKnown = false;     // whether the file holds what the service knows
    bool m_fails = false;       // has been noted
    std::uint64_t m_bytes = 0;  // written, and told in no result yet
};

}  // namespace vpnd
