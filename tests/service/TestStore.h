#pragma once

#include "service/core/IStore.h"
#include "service/core/SettingFields.h"

#include <cstddef>
#include <functional>
#include <utility>
#include <vector>

// A store that counts, can be told to fail, and answers when the test says so.
class TestStore final : public vpnd::IStore
{
public:
    explicit TestStore(const vpnd::VpnSettings& settings = {}) : saved(settings) {}

    void commit(vpnd::Commit commit, std::function<void(const vpnd::CommitResult&)> done) override
    {
        if (!commit.settings.empty()) ++tries;
        m_waiting.push_back({std::move(commit), std::move(done)});
    }

    // Answers one of what waits, the oldest or another; false when there is none.
    bool answerOne(std::size_t place = 0)
    {
        if (place >= m_waiting.size()) return false;
        const Waiting one = std::move(m_waiting[place]);
        m_waiting.erase(m_waiting.begin() + static_cast<std::ptrdiff_t>(place));
        if (!fails) {
            if (!one.commit.settings.empty()) ++saves;
            for (const vpnd::StoredSetting& each : one.commit.settings) {
                vpnd::findSetting(each.key)->assign(saved, each.value);
            }
            for (const vpnd::HistoryEntry& each : one.commit.history) history.push_back(each);
        }
        one.done({!fails, bytesOfACommit});
        return true;
    }
    void answerAll()
    {
        while (answerOne()) {
        }
    }

    bool fails = false;
    std::uint64_t bytesOfACommit = 4096;
    int tries = 0;  // to store settings
    int saves = 0;  // those that did not fail
    vpnd::VpnSettings saved;
    std::vector<vpnd::HistoryEntry> history;  // each time that an entry was stored

private:
    struct Waiting {
        vpnd::Commit commit;
        std::function<void(const vpnd::CommitResult&)> done;
    };
    std::vector<Waiting> m_waiting;
};
