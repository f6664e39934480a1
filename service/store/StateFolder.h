#pragma once

#include "common/Descriptor.h"

#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

namespace vpnd
{

// Why there is no store: for the administrator, with path, cause and what would be right.
class StoreError : public std::runtime_error
{
public:
    explicit StoreError(const std::string& what) : std::runtime_error(what) {}
};

// Where the file of settings and history stands in a folder.
[[nodiscard]] std::string databasePathIn(const std::string& folder);

// The folder with that file, kept by one service at a time, also while it hangs in its end.
class StateFolder
{
public:
    // Damaged files beyond these are removed, the oldest first.
    static constexpr std::size_t kMostSetAside = 3;

    // Makes the folder if it is missing, not those above it; only its owner may enter it then.
    // Raises StoreError when it cannot be used, or another service uses it.
    explicit StateFolder(std::string path);

    const std::string& databasePath() const { return m_databasePath; }

    // Makes an empty file if there is none, and sees to it that nobody but its owner reads
    // it. Returns 0 or the system's error number. Raises StoreError when it is no file or not
    // for us: there is nothing to wait for then.
    [[nodiscard]] int makeDatabase() const;

    // For a log whose file is gone: beside another one it would be taken for that one's.
    void removeLog() const;

    // Gives the file another name, with what belongs to it: vpnd.db.damaged-20260102-030405.
    // Returns that, or nothing when the system refuses.
    [[nodiscard]] std::string setDatabaseAside() const;

private:
    void lock();
    std::set<std::string> namesSetAside() const;

    std::string m_path;
    std::string m_databasePath;
    common::Descriptor m_folder;  // locked
};

}  // namespace vpnd
