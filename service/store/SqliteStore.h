#pragma once

#include "service/base/Wakeup.h"
#include "service/store/StoreWorker.h"

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vpnd
{

// Settings and history in one file, vpnd.db. After the constructor a thread of its own does
// everything that touches the disk; nobody waits for it.
//   1. The constructor opens the file, whatever state it is in; takeContents() and takeNotes()
//      say what it holds and what happened.
//   2. onImage() and onNote() say who is asked and told; then commits may come.
//   3. finish() waits for them, or the destructor ends without waiting.
// A commit that is stored survives a loss of power. One that failed is not stored; only if
// the disk fails in the midst of it, and the service is killed before it can store anything
// else, it may be there all the same when the service begins again.
class SqliteStore final : public IStore
{
public:
    // Borrows the loop. Takes as long as the disk does. Raises StoreError, with a sentence for
    // the administrator, when the folder cannot be used at all, and std::system_error.
    SqliteStore(EventLoop& loop, StoreSetup setup);
    ~SqliteStore() override;
    SqliteStore(const SqliteStore&) = delete;
    SqliteStore& operator=(const SqliteStore&) = delete;

    // What was stored when it began.
    [[nodiscard]] StoreContents takeContents();
    // What has happened so far; after onNote() nothing more comes here.
    [[nodiscard]] std::vector<StoreNote> takeNotes();

    // Asked for everything that counts as stored: all settings as they were last said to be
    // stored, and the history. When the file has to be made anew, or is written again after
    // the disk has failed. Called from the loop or from finish(); without it nothing can be
    // stored then.
    void onImage(std::function<Commit()> image) { m_image = std::move(image); }
    // Told what happens to the file. Called like that too.
    void onNote(std::function<void(const StoreNote&)> note) { m_note = std::move(note); }

    // As IStore says; the store must not be ended by done. A commit for which there is no room
    // any more (StoreWorker::kMostCommits, kMostBytes), or that comes after finish(), fails at
    // the loop's next turn, before those that wait for the disk.
    //
    // bytesWritten: pages put into the log, and those copied from the log to the file since the
    // commit before, whole pages as SQLite hands them to the system; not what the file system
    // writes besides.
    void commit(Commit commit, std::function<void(const CommitResult&)> done) override;

    // Stores what waits, and calls done for it, for so long at most. What is not stored then is
    // answered no more; a disk that comes back before the process ends may still get it.
    void finish(std::chrono::milliseconds longest);

private:
    using Done = std::function<void(const CommitResult&)>;

    void tellNews();

    std::deque<Done> m_waiting;  // in the order of the commits that were taken
    std::vector<Done> m_refused;
    std::function<Commit()> m_image;
    std::function<void(const StoreNote&)> m_note;
    StoreContents m_contents;
    std::vector<StoreNote> m_notes;
    Wakeup m_wakeup;
    std::shared_ptr<StoreWorker> m_worker;
    std::thread m_thread;
};

}  // namespace vpnd
