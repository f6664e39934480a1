#pragma once

#include "service/base/Wakeup.h"
#include "service/store/StoreFile.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

namespace vpnd
{

// What passes between the loop and the thread that writes. Both have a share in it: a disk may
// hold the thread up for longer than anything else lives.
class StoreWorker
{
public:
    // Of commits that wait or are being written.
    static constexpr std::size_t kMostCommits = 1000;
    static constexpr std::size_t kMostBytes = 4 * 1024 * 1024;

    // What has become of commits, in their order, and what else there is to tell.
    struct News {
        std::vector<CommitResult> results;
        std::vector<StoreNote> notes;
        bool wantsImage = false;
    };

    // wake: of a Wakeup.
    StoreWorker(StoreFile file, Descriptor wake);

    // The thread's whole life.
    void work();

    // For the loop's thread, and never waiting for the disk:

    // False when there is no room for it, or after end().
    [[nodiscard]] bool take(Commit& commit);
    [[nodiscard]] News news();
    void giveImage(std::optional<Commit> image);
    // The thread ends when all is written.
    void end();
    // Nobody gives an image any more.
    void leave();
    // Waits for the thread's end or for news; false when the time is over.
    [[nodiscard]] bool waitForNews(std::chrono::steady_clock::time_point deadline);
    [[nodiscard]] bool isDone();

private:
    std::optional<Commit> waitForImage();
    void tell(const std::vector<Commit>& commits, const std::vector<CommitResult>& results,
              std::vector<StoreNote> notes);

    StoreFile m_file;  // the thread's alone
    const Descriptor m_wake;

    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::deque<Commit> m_queue;
    std::size_t m_commits = 0;  // also those that are being written
    std::size_t m_bytes = 0;
    News m_news;
    std::optional<Commit> m_image;
    bool m_isAnswered = false;  // the question for the image
    bool m_ends = false;
    bool m_isLeft = false;
    bool m_isDone = false;
};

}  // namespace vpnd
