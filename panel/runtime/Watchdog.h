#pragma once

#include <pthread.h>
#include <chrono>
#include <map>
#include <mutex>
#include <string>
#include <vector>

namespace panel
{

// Knows when each watched thread has last shown that it is alive. Any thread.
class Watchdog
{
public:
    using Clock = std::chrono::steady_clock;

    // A watched thread that went silent or came back.
    struct Report {
        std::string device;
        bool silent = false;
        std::chrono::milliseconds silentFor{0};  // also how long it was, for one that came back
    };

    void watch(pthread_t thread, const std::string& device, Clock::time_point now);
    void unwatch(pthread_t thread);
    // Threads that are not watched are ignored.
    void feed(pthread_t thread, Clock::time_point now);

    // What has changed since the last look; each silence is reported once, and once its end.
    std::vector<Report> look(Clock::time_point now, std::chrono::milliseconds limit);

private:
    struct Watched {
        std::string device;
        Clock::time_point fed;
        Clock::time_point silentSince;
        bool reported = false;
    };

    std::mutex m_mutex;
    std::map<pthread_t, Watched> m_threads;
};

}  // namespace panel
