#pragma once

#include <signal.h>
#include <sys/time.h>

// A signal every two milliseconds, without restarting what it interrupts.
class Interruptions
{
public:
    // handler runs with each of them, as a signal handler may.
    explicit Interruptions(void (*handler)(int) = [](int) {})
    {
        struct sigaction action = {};
        action.sa_handler = handler;
        sigaction(SIGALRM, &action, &m_old);
        const itimerval every = {{0, 2000}, {0, 2000}};
        setitimer(ITIMER_REAL, &every, nullptr);
    }
    ~Interruptions()
    {
        const itimerval none = {};
        setitimer(ITIMER_REAL, &none, nullptr);
        sigaction(SIGALRM, &m_old, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

private:
    struct sigaction m_old = {};
};
