#include "service/base/LogSink.h"

#include "service/base/Journal.h"

#include <poll.h>
#include <spdlog/details/log_msg.h>
#include <spdlog/pattern_formatter.h>
#include <unistd.h>

#include <cerrno>
#include <condition_variable>
#include <csignal>
#include <cstdint>
#include <mutex>
#include <new>
#include <string>
#include <utility>

namespace vpnd
{
namespace
{

// Where nobody can read any more, the text is lost.
void writeTo(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const ssize_t written = ::write(descriptor, text.data(), text.size());
        if (written >= 0) {
            text.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN) {
            // Somebody else made it non-blocking.
            pollfd room = {descriptor, POLLOUT, 0};
            ::poll(&room, 1, -1);
        } else if (errno != EINTR) {
            return;
        }
    }
}

std::unique_ptr<spdlog::formatter> formatterFor(int descriptor)
{
    if (isJournal(descriptor)) return journalFormatter();
    return std::make_unique<spdlog::pattern_formatter>();
}

void writeDropped(int descriptor, spdlog::formatter& formatter, std::uint64_t count)
{
    const std::string text = fmt::format("{} lines of the log were dropped here", count);
    spdlog::memory_buf_t line;
    formatter.format({"orva-vpnd", spdlog::level::warn, text}, line);
    writeTo(descriptor, {line.data(), line.size()});
}

}  // namespace

struct LogSink::Queue {
    std::mutex mutex;
    std::condition_variable changed;
    std::string waiting;
    std::uint64_t dropped = 0;  // behind what waits
    bool ends = false;
    bool isDone = false;

    // The thread's whole life.
    void write(int descriptor, spdlog::formatter& formatter)
    {
        std::string text;
        text.reserve(kMostBytes);
        std::unique_lock lock(mutex);
        while (true) {
            changed.wait(lock, [this] { return ends || !waiting.empty() || dropped != 0; });
            if (waiting.empty() && dropped == 0) break;
            text.swap(waiting);
            const std::uint64_t lost = std::exchange(dropped, 0);
            lock.unlock();
            writeTo(descriptor, text);
            text.clear();
            try {
                if (lost != 0) writeDropped(descriptor, formatter, lost);
            } catch (const std::bad_alloc&) {
                // Nobody learns of the gap then.
            }
            lock.lock();
        }
        isDone = true;
        changed.notify_all();
    }
};

LogSink::LogSink(int descriptor)
    : m_formatter(formatterFor(descriptor)), m_queue(std::make_shared<Queue>())
{
    m_queue->waiting.reserve(kMostBytes);
    // Signals are for the other threads.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    m_writer = std::thread([queue = m_queue, descriptor,
                            formatter = std::shared_ptr<spdlog::formatter>(m_formatter->clone())] {
        queue->write(descriptor, *formatter);
    });
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

LogSink::~LogSink() { finish(std::chrono::milliseconds(0)); }

void LogSink::log(const spdlog::details::log_msg& message)
{
    spdlog::memory_buf_t line;
    m_formatter->format(message, line);
    print({line.data(), line.size()});
}

void LogSink::print(std::string_view lines)
{
    const std::lock_guard lock(m_queue->mutex);
    if (m_queue->dropped == 0 && lines.size() <= kMostBytes - m_queue->waiting.size()) {
        m_queue->waiting += lines;
    } else {
        ++m_queue->dropped;
    }
    m_queue->changed.notify_one();
}

void LogSink::set_pattern(const std::string& pattern)
{
    set_formatter(std::make_unique<spdlog::pattern_formatter>(pattern));
}

void LogSink::set_formatter(std::unique_ptr<spdlog::formatter> formatter)
{
    m_formatter = std::move(formatter);
}

void LogSink::finish(std::chrono::milliseconds longest)
{
    if (!m_writer.joinable()) return;
    std::unique_lock lock(m_queue->mutex);
    m_queue->ends = true;
    m_queue->changed.notify_all();
    const bool isDone =
        m_queue->changed.wait_for(lock, longest, [this] { return m_queue->isDone; });
    lock.unlock();
    if (isDone) {
        m_writer.join();
    } else {
        m_writer.detach();
    }
}

}  // namespace vpnd
