#include "service/store/StoreWorker.h"

#include <iterator>
#include <utility>

namespace vpnd
{

StoreWorker::StoreWorker(StoreFile file, Descriptor wake)
    : m_file(std::move(file)), m_wake(std::move(wake))
{
}

void StoreWorker::work()
{
    {
        // It closes the file, and gives the folder free, at its end.
        StoreFile file = std::move(m_file);
        std::unique_lock lock(m_mutex);
        while (true) {
            m_changed.wait(lock, [this] { return m_ends || !m_queue.empty(); });
            if (m_queue.empty()) break;
            const std::vector<Commit> commits(std::make_move_iterator(m_queue.begin()),
                                              std::make_move_iterator(m_queue.end()));
            m_queue.clear();
            lock.unlock();
            const std::vector<CommitResult> results =
                file.write(commits, [this] { return waitForImage(); });
            tell(commits, results, file.takeNotes());
            file.tidy();
            lock.lock();
        }
    }
    const std::lock_guard lock(m_mutex);
    m_isDone = true;
    m_changed.notify_all();
}

void StoreWorker::tell(const std::vector<Commit>& commits, const std::vector<CommitResult>& results,
                       std::vector<StoreNote> notes)
{
    const std::lock_guard lock(m_mutex);
    // Whoever is answered finds their room free.
    for (const Commit& each : commits) m_bytes -= bytesOf(each);
    m_commits -= commits.size();
    m_news.results.insert(m_news.results.end(), results.begin(), results.end());
    std::move(notes.begin(), notes.end(), std::back_inserter(m_news.notes));
    m_changed.notify_all();
    Wakeup::wake(m_wake.get());
}

std::optional<Commit> StoreWorker::waitForImage()
{
    std::unique_lock lock(m_mutex);
    m_news.wantsImage = true;
    m_changed.notify_all();
    Wakeup::wake(m_wake.get());
    m_changed.wait(lock, [this] { return m_isAnswered || m_isLeft; });
    m_news.wantsImage = false;
    m_isAnswered = false;
    return std::exchange(m_image, std::nullopt);
}

bool StoreWorker::take(Commit& commit)
{
    const std::size_t bytes = bytesOf(commit);
    const std::lock_guard lock(m_mutex);
    if (m_ends || m_commits == kMostCommits || bytes > kMostBytes - m_bytes) return false;
    m_queue.push_back(std::move(commit));
    ++m_commits;
    m_bytes += bytes;
    m_changed.notify_all();
    return true;
}

StoreWorker::News StoreWorker::news()
{
    const std::lock_guard lock(m_mutex);
    return std::exchange(m_news, {});
}

void StoreWorker::giveImage(std::optional<Commit> image)
{
    const std::lock_guard lock(m_mutex);
    m_image = std::move(image);
    m_isAnswered = true;
    m_changed.notify_all();
}

void StoreWorker::end()
{
    const std::lock_guard lock(m_mutex);
    m_ends = true;
    m_changed.notify_all();
}

void StoreWorker::leave()
{
    const std::lock_guard lock(m_mutex);
    m_ends = true;
    m_isLeft = true;
    m_changed.notify_all();
}

bool StoreWorker::waitForNews(std::chrono::steady_clock::time_point deadline)
{
    std::unique_lock lock(m_mutex);
    return m_changed.wait_until(lock, deadline, [this] {
        return m_isDone || m_news.wantsImage || !m_news.results.empty();
    });
}

bool StoreWorker::isDone()
{
    const std::lock_guard lock(m_mutex);
    return m_isDone;
}

}  // namespace vpnd
