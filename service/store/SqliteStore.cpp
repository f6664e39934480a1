#include "service/store/SqliteStore.h"

#include <csignal>
#include <utility>

namespace vpnd
{

SqliteStore::SqliteStore(EventLoop& loop, StoreSetup setup) : m_wakeup(loop, [this] { tellNews(); })
{
    StoreFile file(std::move(setup));
    m_contents = file.takeContents();
    m_notes = file.takeNotes();
    m_worker = std::make_shared<StoreWorker>(std::move(file), m_wakeup.remote());
    // Signals are for the other threads.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    m_thread = std::thread([worker = m_worker] { worker->work(); });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

SqliteStore::~SqliteStore()
{
    m_worker->leave();
    if (!m_thread.joinable()) return;
    if (m_worker->isDone()) {
        m_thread.join();
    } else {
        m_thread.detach();
    }
}

StoreContents SqliteStore::takeContents() { return std::exchange(m_contents, {}); }
std::vector<StoreNote> SqliteStore::takeNotes() { return std::exchange(m_notes, {}); }

void SqliteStore::commit(Commit commit, std::function<void(const CommitResult&)> done)
{
    // First, where there may be no memory: a commit that was taken has somebody to tell.
    m_waiting.push_back(std::move(done));
    if (m_worker->take(commit)) return;
    m_refused.push_back(std::move(m_waiting.back()));
    m_waiting.pop_back();
    m_wakeup.wake();
}

void SqliteStore::tellNews()
{
    const std::vector<Done> refused = std::exchange(m_refused, {});
    for (const Done& each : refused) each({});
    const StoreWorker::News news = m_worker->news();
    for (const CommitResult& result : news.results) {
        const Done done = std::move(m_waiting.front());
        m_waiting.pop_front();
        done(result);
    }
    for (const StoreNote& note : news.notes) {
        if (m_note) m_note(note);
    }
    // After the results: what they say is stored must be in it.
    if (news.wantsImage) {
        m_worker->giveImage(m_image ? std::optional<Commit>(m_image()) : std::nullopt);
    }
}

void SqliteStore::finish(std::chrono::milliseconds longest)
{
    const auto deadline = std::chrono::steady_clock::now() + longest;
    m_worker->end();
    while (!m_worker->isDone() && m_worker->waitForNews(deadline)) tellNews();
    tellNews();
    m_worker->leave();
}

}  // namespace vpnd
