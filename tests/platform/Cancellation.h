#pragma once

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#ifdef __SANITIZE_ADDRESS__
// The unwind of a cancelled thread leaves frames behind that the sanitizer still takes for
// live ones, unless their variables stand apart from the stack.
extern "C" __attribute__((used, visibility("default"))) inline const char* __asan_default_options()
{
    return "detect_stack_use_after_return=1";
}
#endif

// Threads that are cancelled, as a host may do with one that takes too long.
namespace cancellation
{

struct Thread {
    std::function<void()> body;
    bool cancelsItself = false;
    std::atomic<long> id{0};
    pthread_t handle{};

    void start()
    {
        pthread_create(
            &handle, nullptr,
            [](void* self) -> void* {
                auto& thread = *static_cast<Thread*>(self);
                if (thread.cancelsItself) pthread_cancel(pthread_self());
                thread.id = syscall(SYS_gettid);
                thread.body();
                return nullptr;
            },
            this);
    }
    // Whether the thread waits inside the system.
    bool sleeps() const
    {
        if (id == 0) return false;
        std::ifstream file("/proc/self/task/" + std::to_string(id) + "/stat");
        const std::string stat(std::istreambuf_iterator<char>(file), {});
        const std::size_t name = stat.rfind(") ");
        return name != std::string::npos && stat[name + 2] == 'S';
    }
    // Whether the end was the cancellation's.
    bool join()
    {
        void* result = nullptr;
        pthread_join(handle, &result);
        return result == PTHREAD_CANCELED;
    }
};

// Runs body in a thread that is cancelled as soon as it waits inside the system. True when
// that ended it.
inline bool endsWhileWaiting(std::function<void()> body)
{
    Thread thread{std::move(body)};
    thread.start();
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (!thread.sleeps() && std::chrono::steady_clock::now() < limit) sched_yield();
    pthread_cancel(thread.handle);
    return thread.join();
}

// Runs body in a thread that is cancelled from the beginning: it ends in the first function
// in which it can. True when there was one.
inline bool endsAtOnce(std::function<void()> body)
{
    Thread thread{std::move(body), true};
    thread.start();
    return thread.join();
}

inline std::ptrdiff_t openDescriptors()
{
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return std::distance(begin(all), end(all));
}

}  // namespace cancellation
