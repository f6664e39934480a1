#pragma once

#include "service/base/EventLoop.h"

#include <cstdint>
#include <memory>
#include <string>

namespace vpnd
{

// Tells the service manager how the service is: systemd's messages to $NOTIFY_SOCKET, without
// its library. Where nobody asks for them nothing is sent. A manager that does not read is
// waited for half a second at most, and for the watchdog not at all.
class Readiness
{
public:
    // Looks at $NOTIFY_SOCKET, $WATCHDOG_USEC and $WATCHDOG_PID. Borrows the loop.
    explicit Readiness(EventLoop& loop);
    ~Readiness();
    Readiness(const Readiness&) = delete;
    Readiness& operator=(const Readiness&) = delete;

    // The service answers; the status is for "systemctl status". From the first time on the
    // loop feeds the watchdog, twice in the time that the manager allows.
    void ready(const std::string& status);
    void reloading();
    void stopping();

    // For a program that ends before there is a service: the first line becomes the status.
    static void tellFailure(const std::string& why);

private:
    class Manager;

    void feed();

    std::unique_ptr<Manager> m_manager;  // nothing: nobody asks
    std::int64_t m_feedMs = 0;           // 0: there is no watchdog
    Timer m_watchdog;
};

}  // namespace vpnd
