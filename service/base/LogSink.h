#pragma once

#include <spdlog/sinks/sink.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string_view>
#include <thread>

namespace vpnd
{

// Where the log goes: to a descriptor whose reader may be slow, or gone, or never read.
// Nobody waits for it: a thread of its own writes, what is more than kMostBytes behind
// is dropped, and a line in its place says how many lines that were. Each line has its time;
// where the journal reads them, which has its own, a mark for the journal instead. Logged to
// from one thread.
class LogSink final : public spdlog::sinks::sink
{
public:
    // Of lines that wait to be written.
    static constexpr std::size_t kMostBytes = 64 * 1024;

    // Borrows the descriptor and leaves its mode alone: it is shared with other programs.
    explicit LogSink(int descriptor);
    // Ends without waiting when finish() was not called.
    ~LogSink() override;
    LogSink(const LogSink&) = delete;
    LogSink& operator=(const LogSink&) = delete;

    void log(const spdlog::details::log_msg& message) override;
    // Text as it is, whole lines.
    void print(std::string_view lines);
    void flush() override {}
    void set_pattern(const std::string& pattern) override;
    void set_formatter(std::unique_ptr<spdlog::formatter> formatter) override;

    // Waits until all is written or this time is over; nothing more is written then.
    void finish(std::chrono::milliseconds longest);

private:
    struct Queue;

    std::unique_ptr<spdlog::formatter> m_formatter;
    // The thread has its share: it may be held up in a write for longer than this lives.
    std::shared_ptr<Queue> m_queue;
    std::thread m_writer;
};

}  // namespace vpnd
