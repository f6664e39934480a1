#pragma once

#include "service/base/Wakeup.h"
#include "service/daemon/Configuration.h"

#include <functional>
#include <memory>
#include <thread>

namespace vpnd
{

// Reads the configuration again while the service goes on: a thread of its own waits for the
// disk and for whoever knows the users.
class Reloader
{
public:
    // done: on the loop's thread. Borrows the loop; machine and names must last as long as the
    // process, because the thread may be held up for longer than anything else lives.
    Reloader(EventLoop& loop, Options options, const Machine& machine, const IUserNames& names,
             std::function<void(const ReloadedConfiguration&)> done);
    // Waits a second at most; a thread that is held up for longer is left behind.
    ~Reloader();
    Reloader(const Reloader&) = delete;
    Reloader& operator=(const Reloader&) = delete;

    // One at a time: asked again meanwhile, it reads once more when it is done.
    void start(const Configuration& inForce);

private:
    struct Work;

    void finish();
    void begin();

    const Options m_options;
    const Machine& m_machine;
    const IUserNames& m_names;
    std::function<void(const ReloadedConfiguration&)> m_done;
    std::shared_ptr<Work> m_work;  // that is under way; the thread has its share
    std::thread m_thread;
    bool m_isAskedAgain = false;
    Configuration m_inForce;
    Wakeup m_wakeup;
};

}  // namespace vpnd
