#include "service/store/NoStore.h"

#include <utility>

namespace vpnd
{

NoStore::NoStore(EventLoop& loop) : m_wakeup(loop, [this] { answer(); }) {}

void NoStore::commit(Commit, std::function<void(const CommitResult&)> done)
{
    m_waiting.push_back(std::move(done));
    m_wakeup.wake();
}

void NoStore::answer()
{
    // Those that come meanwhile are for the next turn.
    const auto waiting = std::exchange(m_waiting, {});
    for (const auto& done : waiting) done({true, 0});
}

}  // namespace vpnd
