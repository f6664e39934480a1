#include "panel/runtime/Watchdog.h"

namespace panel
{

namespace
{

std::chrono::milliseconds between(Watchdog::Clock::time_point from, Watchdog::Clock::time_point to)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(to - from);
}

}  // namespace

void Watchdog::watch(pthread_t thread, const std::string& device, Clock::time_point now)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_threads[thread] = {device, now, now, false};
}

void Watchdog::unwatch(pthread_t thread)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_threads.erase(thread);
}

void Watchdog::feed(pthread_t thread, Clock::time_point now)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    const auto found = m_threads.find(thread);
    if (found != m_threads.end()) found->second.fed = now;
}

std::vector<Watchdog::Report> Watchdog::look(Clock::time_point now, std::chrono::milliseconds limit)
{
    std::vector<Report> reports;
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (auto& [thread, watched] : m_threads) {
        if (watched.reported && watched.fed != watched.silentSince) {
            reports.push_back({watched.device, false, between(watched.silentSince, watched.fed)});
            watched.reported = false;
        }
        if (!watched.reported && now - watched.fed > limit) {
            reports.push_back({watched.device, true, between(watched.fed, now)});
            watched.reported = true;
            watched.silentSince = watched.fed;
        }
    }
    return reports;
}

}  // namespace panel
