// A process of its own beside the tests of the store.
//   read FOLDER            reads again and again: "." when setting and history are of one
//                          commit, another letter when not, until it is killed
//   write FOLDER FIRST     stores numbers from FIRST on, several at once, and writes each that
//                          was acknowledged to standard output, until it is killed
#include "service/store/SqliteStore.h"
#include "service/store/StoreReader.h"

#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

namespace
{

using vpnd::Commit;
using vpnd::CommitResult;

// Kept in a setting and in the history, with texts of changing length between them.
Commit commitOf(std::int64_t number)
{
    Commit commit;
    commit.settings = {
        {"number", std::to_string(number)},
        {"certificates", std::string(static_cast<std::size_t>(number % 7) * 1500, 'x')}};
    commit.history.emplace_back();
    commit.history.back().id = number;
    commit.history.back().detail.assign(static_cast<std::size_t>(number % 11) * 40, 'y');
    commit.keepFromId = number - 200;
    return commit;
}

void put(const std::string& text)
{
    if (::write(STDOUT_FILENO, text.data(), text.size()) < 0) ::_exit(1);
}

[[noreturn]] void read(const std::string& folder)
{
    while (true) {
        try {
            const vpnd::StoreContents contents = vpnd::readStore(folder, 1);
            std::string number;
            for (const auto& each : contents.settings) {
                if (each.key == "number") number = each.value;
            }
            const std::int64_t entry = contents.history.empty() ? 0 : contents.history[0].id;
            put(number == std::to_string(entry) ? "." : "X");
        } catch (const vpnd::StoreError& error) {
            // A service that begins and ends all the time may be missed again and again.
            const std::string text = error.what();
            if (text.find("changes again and again") == std::string::npos) put(text);
        }
    }
}

[[noreturn]] void write(const std::string& folder, std::int64_t next)
{
    vpnd::EventLoop loop([] {
        return std::chrono::duration_cast<std::chrono::milliseconds>(
                   std::chrono::steady_clock::now().time_since_epoch())
            .count();
    });
    vpnd::StoreSetup setup;
    setup.folder = folder;
    vpnd::SqliteStore store(loop, setup);
    for (const vpnd::StoreNote& note : store.takeNotes()) {
        if (note.kind != vpnd::StoreNote::Kind::kFresh) put("! " + note.text + '\n');
    }
    int underway = 0;
    while (true) {
        for (; underway < 3; ++underway) {
            store.commit(commitOf(next), [&underway, number = next](const CommitResult& result) {
                --underway;
                put((result.isStored ? "" : "! failed ") + std::to_string(number) + '\n');
            });
            ++next;
        }
        loop.turn(-1);
    }
}

}  // namespace

int main(int count, char** words)
{
    try {
        if (count == 3 && std::string(words[1]) == "read") read(words[2]);
        if (count == 4 && std::string(words[1]) == "write") write(words[2], std::atoll(words[3]));
        std::cerr << "usage: read FOLDER | write FOLDER FIRST\n";
    } catch (const std::exception& error) {
        put("! " + std::string(error.what()) + '\n');
    }
    return 2;
}
