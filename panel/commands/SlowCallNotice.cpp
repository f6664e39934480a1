#include "panel/commands/SlowCallNotice.h"

#include "panel/runtime/ServiceProbe.h"

namespace panel
{

std::string stillWaitingText() { return "the driver is still waiting; " + lookAtService(); }

SlowCallNotice::SlowCallNotice(std::chrono::milliseconds patience, std::function<void()> tell)
    : m_patience(patience), m_tell(std::move(tell)), m_thread([this] { work(); })
{
}

SlowCallNotice::~SlowCallNotice()
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_ending = true;
        m_changed.notify_all();
    }
    m_thread.join();
}

void SlowCallNotice::callBegins()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    ++m_calls;
    m_inCall = true;
    m_told = false;
    m_changed.notify_all();
}

bool SlowCallNotice::callEnded()
{
    // Waits for what is being told, so that it does not stand behind the call's result.
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_inCall = false;
    m_changed.notify_all();
    return m_told;
}

void SlowCallNotice::work()
{
    std::unique_lock<std::mutex> lock(m_mutex);
    while (!m_ending) {
        m_changed.wait(lock, [this] { return m_ending || (m_inCall && !m_told); });
        const unsigned long long call = m_calls;
        const bool over = m_changed.wait_for(
            lock, m_patience, [&] { return m_ending || !m_inCall || m_calls != call; });
        if (over) continue;
        m_told = true;
        m_tell();
    }
}

}  // namespace panel
