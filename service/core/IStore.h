#pragma once

#include "service/core/HistoryEntry.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vpnd
{

// A setting as it is stored: its key in SettingFields.h, and its value as text.
struct StoredSetting {
    std::string key;
    std::string value;
};

// What is stored together, whole or not at all.
struct Commit {
    std::vector<StoredSetting> settings;  // each replaces what was stored under its key
    std::vector<HistoryEntry> history;    // each replaces what was stored under its id
    std::int64_t keepFromId = 0;          // older entries of the history are removed
};

struct CommitResult {
    bool isStored = false;
    std::uint64_t bytesWritten = 0;  // to the disk, more or less; also when it failed
};

// Where settings and history are kept. Nothing here waits for the disk.
class IStore
{
public:
    virtual ~IStore() = default;

    // Takes the commit and calls done later, on the loop's thread: when all of it would survive
    // a loss of power, or when nothing of it is stored. In the order of the commits, but for
    // those that fail without being tried. Never calls done before it has returned, nor once
    // the store is gone.
    virtual void commit(Commit commit, std::function<void(const CommitResult&)> done) = 0;

protected:
    IStore() = default;
    IStore(const IStore&) = default;
    IStore& operator=(const IStore&) = default;
};

}  // namespace vpnd
