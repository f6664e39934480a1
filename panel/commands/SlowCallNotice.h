#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace panel
{

// Of a person, with a call that shows nothing.
constexpr std::chrono::milliseconds kPatience{500};

// What is said then.
std::string stillWaitingText();

// Tells, from a thread of its own, when a call of the driver takes long: nobody
// should look at an empty screen for the ten seconds after which it gives up.
class SlowCallNotice
{
public:
    // tell is called once for a call that has not come back after the time, on the
    // object's thread.
    SlowCallNotice(std::chrono::milliseconds patience, std::function<void()> tell);
    ~SlowCallNotice();
    SlowCallNotice(const SlowCallNotice&) = delete;
    SlowCallNotice& operator=(const SlowCallNotice&) = delete;

    void callBegins();
    // Whether it was told that this call takes long.
    bool callEnded();

private:
    void work();

    const std::chrono::milliseconds m_patience;
    const std::function<void()> m_tell;
    std::mutex m_mutex;
    std::condition_variable m_changed;
    unsigned long long m_calls = 0;  // that have begun
    bool m_inCall = false;
    bool m_told = false;
    bool m_ending = false;
    std::thread m_thread;
};

}  // namespace panel
