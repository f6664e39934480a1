#pragma once

#include "service/base/Wakeup.h"
#include "service/core/IStore.h"

#include <functional>
#include <vector>

namespace vpnd
{

// Keeps nothing and says that it is stored, at the loop's next turn: for --state none.
class NoStore final : public IStore
{
public:
    // Borrows the loop. Raises std::system_error when the system has no descriptor left.
    explicit NoStore(EventLoop& loop);

    void commit(Commit commit, std::function<void(const CommitResult&)> done) override;

private:
    void answer();

    std::vector<std::function<void(const CommitResult&)>> m_waiting;
    Wakeup m_wakeup;
};

}  // namespace vpnd
