#pragma once

#include <sqlite3.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <vector>

// A file layer under SQLite that loses power. It works on real files, and knows of each what a
// disk would surely have. At a sync of the test's choice, before it does anything, the power
// goes: of what no sync has made safe each write is kept, dropped, torn or garbled by a seed,
// and so is each file that was made or removed. Every access fails from then on.
//
// A sync makes safe what was written to its file; names of files only where SQLite syncs
// their folder as well.
class PowerLoss
{
public:
    // What is in the folder already is safe. One of these at a time.
    explicit PowerLoss(const std::string& folder);
    ~PowerLoss();
    PowerLoss(const PowerLoss&) = delete;
    PowerLoss& operator=(const PowerLoss&) = delete;

    static constexpr const char* kName = "power-loss";

    // At which sync; 1 is the next. 0: none.
    void goAt(int sync, unsigned seed);
    // Now, unless it has gone already.
    void go();
    // A disk that says that it has synced, and has not.
    void forgetSyncs() { m_forgetsSyncs = true; }

    bool isGone() const;
    int syncs() const;
    // What the disk has after the loss of power, by name.
    std::map<std::string, std::string> leftOver() const;

private:
    friend struct PowerLossFile;
    friend struct PowerLossCalls;

    struct Write {
        std::size_t at;
        std::string bytes;
        bool cuts;  // to the length at
    };
    // A file, whatever its name.
    struct Content {
        std::string safe;
        std::vector<Write> pending;
    };
    using Names = std::map<std::string, std::shared_ptr<Content>>;

    // For the calls of SQLite; false when the power is gone.
    bool sync(const std::shared_ptr<Content>& content, bool alsoNames);
    void lose();
    std::string survivor(const Content& content);

    mutable std::mutex m_mutex;
    std::string m_folder;
    Names m_now;
    Names m_safe;
    std::mt19937 m_random;
    int m_syncs = 0;
    int m_goesAt = 0;
    bool m_forgetsSyncs = false;
    bool m_isGone = false;
    std::map<std::string, std::string> m_leftOver;
};
