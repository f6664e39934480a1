#pragma once

#include "tests/service/ChildProcess.h"
#include "tests/service/LoopbackClient.h"
#include "tests/service/RawBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

using Arguments = std::vector<std::string>;

// The real program, through the emulator where it is for another processor.
inline Arguments programWith(const Arguments& arguments)
{
    Arguments all;
    std::string word;
    for (const char c : std::string(ORVA_EMULATOR) + " ") {
        if (c != ' ') {
            word += c;
        } else if (!word.empty()) {
            all.push_back(std::exchange(word, ""));
        }
    }
    all.push_back(ORVA_VPND);
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

inline ChildProcess run(const Arguments& arguments) { return ChildProcess(programWith(arguments)); }

// A daemon at a port of its own, ready.
class Daemon
{
public:
    // Started by the words before it, for example a shell's, if there are any.
    explicit Daemon(const Arguments& more = {}, ChildProcess::Unread unread = {},
                    Arguments before = {})
        : process(all(std::move(before), more), unread)
    {
        EXPECT_TRUE(process.waitFor([&] { return process.out().find('\n') != std::string::npos; }))
            << process.err();
        const std::string& line = process.out();
        const std::size_t colon = line.find(':');
        if (colon != std::string::npos)
            port = static_cast<std::uint16_t>(std::stoi(line.substr(colon + 1)));
    }

    LoopbackClient connect() const
    {
        LoopbackClient client;
        client.connect(port);
        return client;
    }
    std::string answer(LoopbackClient& client, const std::string& method, std::size_t bytes,
                       const std::string& block = raw::args())
    {
        client.send(raw::request(1, method, block));
        process.waitFor([&] { return client.received().size() >= bytes; });
        return client.received();
    }

    ChildProcess process;
    std::uint16_t port = 0;

private:
    // Nothing is kept, and nobody asks over the control interface, unless the test names a folder.
    static Arguments all(Arguments words, const Arguments& more)
    {
        Arguments options;
        const auto orElse = [&](const char* option, const char* value) {
            if (std::find(more.begin(), more.end(), option) != more.end()) return;
            options.insert(options.end(), {option, value});
        };
        orElse("--listen", "127.0.0.1:0");
        orElse("--config", ORVA_DEMO_CONFIG);
        orElse("--state", "none");
        orElse("--control", "none");
        options.insert(options.end(), more.begin(), more.end());
        for (const std::string& word : programWith(options)) words.push_back(word);
        return words;
    }
};
