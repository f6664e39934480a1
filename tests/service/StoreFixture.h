#pragma once

#include "service/store/SqliteStore.h"
#include "service/store/StoreReader.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

inline std::int64_t steadyMs()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(
               std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// A folder of its own, gone with this. In memory where that is possible: what a disk does, its
// tests bring about themselves, and the others need not wait for it.
class TestFolder
{
public:
    TestFolder()
    {
        const bool hasMemory = ::access("/dev/shm", W_OK | X_OK) == 0;
        std::string pattern =
            (hasMemory ? std::string("/dev/shm/") : testing::TempDir()) + "store-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no folder");
        m_path = pattern;
    }
    TestFolder(const TestFolder&) = delete;
    TestFolder& operator=(const TestFolder&) = delete;
    ~TestFolder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }

    const std::string& path() const { return m_path; }
    std::string operator/(const std::string& name) const { return m_path + "/" + name; }

private:
    std::string m_path;
};

// So many times more of what is done at random: at night.
inline int more()
{
    const char* times = std::getenv("ORVA_STORE_MORE");
    return times == nullptr ? 1 : std::max(std::atoi(times), 1);
}

inline std::string contentOf(const std::string& path)
{
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

inline void putContent(const std::string& path, const std::string& content)
{
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
}

inline std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

inline vpnd::HistoryEntry entryNumber(std::int64_t id)
{
    vpnd::HistoryEntry entry;
    entry.id = id;
    entry.firstMs = 1700000000000 + id;
    entry.lastMs = entry.firstMs + 5;
    entry.count = 2;
    entry.kind = vpnd::EventKind::kSetting;
    entry.subject = "server";
    entry.before = "before " + std::to_string(id);
    entry.after = "after " + std::to_string(id);
    entry.caller = {vpnd::Interface::kRpc, uid_t{1000}, "orva-panel"};
    entry.outcome = vpnd::Outcome::kDone;
    entry.reason = vpnd::Reason::kServerSilent;
    entry.detail = "detail";
    return entry;
}

inline vpnd::Commit settingTo(const std::string& key, const std::string& value)
{
    vpnd::Commit commit;
    commit.settings.push_back({key, value});
    return commit;
}

// "key=value key=value", in the order of the keys.
inline std::string textOf(const std::vector<vpnd::StoredSetting>& settings)
{
    std::string text;
    for (const auto& each : settings) {
        text += (text.empty() ? "" : " ") + each.key + "=" + each.value;
    }
    return text;
}

// A store with its loop, as the service has it, and what it has said so far.
class OpenStore
{
public:
    explicit OpenStore(const std::string& folder) : OpenStore(setupIn(folder)) {}
    explicit OpenStore(vpnd::StoreSetup setup)
        : store(std::make_unique<vpnd::SqliteStore>(loop, std::move(setup))),
          contents(store->takeContents()),
          notes(store->takeNotes())
    {
        for (const auto& each : contents.settings) known.settings.push_back(each);
        known.history = contents.history;
        store->onNote([this](const vpnd::StoreNote& note) { notes.push_back(note); });
        store->onImage([this] { return known; });
    }
    ~OpenStore()
    {
        if (store) store->finish(std::chrono::seconds(60));
    }

    static vpnd::StoreSetup setupIn(const std::string& folder)
    {
        vpnd::StoreSetup setup;
        setup.folder = folder;
        return setup;
    }

    // Waits for it.
    vpnd::CommitResult commit(const vpnd::Commit& commit)
    {
        std::optional<vpnd::CommitResult> result;
        store->commit(commit, [&](const vpnd::CommitResult& each) { result = each; });
        EXPECT_FALSE(result) << "answered from within commit()";
        if (!turnUntil([&] { return result.has_value(); })) return {};
        if (result->isStored) remember(commit);
        return *result;
    }
    bool stores(const std::string& key, const std::string& value)
    {
        return commit(settingTo(key, value)).isStored;
    }
    bool turnUntil(const std::function<bool()>& condition)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!condition()) {
            if (std::chrono::steady_clock::now() > deadline) {
                ADD_FAILURE() << "nothing came";
                return false;
            }
            loop.turn(10);
        }
        return true;
    }
    // As often as it was said.
    int said(vpnd::StoreNote::Kind kind) const
    {
        int count = 0;
        for (const auto& note : notes) count += note.kind == kind ? 1 : 0;
        return count;
    }
    std::string saidText() const
    {
        std::string text;
        for (const auto& note : notes) text += note.text + '\n';
        return text;
    }

    vpnd::EventLoop loop{steadyMs};
    std::unique_ptr<vpnd::SqliteStore> store;
    vpnd::StoreContents contents;
    std::vector<vpnd::StoreNote> notes;
    vpnd::Commit known;  // what the service would remember

private:
    void remember(const vpnd::Commit& commit)
    {
        for (const auto& each : commit.settings) {
            auto& settings = known.settings;
            const auto same = std::find_if(settings.begin(), settings.end(),
                                           [&](const auto& old) { return old.key == each.key; });
            if (same == settings.end()) {
                settings.push_back(each);
            } else {
                *same = each;
            }
        }
        known.history.insert(known.history.end(), commit.history.begin(), commit.history.end());
    }
};

// The words that start StoreChild.cpp, on a foreign processor through the emulator.
inline std::vector<std::string> storeChild(const std::vector<std::string>& arguments)
{
    std::vector<std::string> words;
    std::istringstream emulator(ORVA_EMULATOR);
    for (std::string word; emulator >> word;) words.push_back(word);
    words.push_back(ORVA_STORE_CHILD);
    words.insert(words.end(), arguments.begin(), arguments.end());
    return words;
}

using Noted = vpnd::StoreNote::Kind;
