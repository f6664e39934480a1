#include "service/daemon/Reloader.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <system_error>
#include <thread>
#include <utility>

namespace vpnd
{
namespace
{

constexpr std::chrono::seconds kEnd{1};

}  // namespace

struct Reloader::Work {
    Configuration inForce;
    Descriptor wake;
    std::mutex mutex;
    std::condition_variable isDone;
    std::optional<ReloadedConfiguration> result;
};

Reloader::Reloader(EventLoop& loop, Options options, const Machine& machine,
                   const IUserNames& names, std::function<void(const ReloadedConfiguration&)> done)
    : m_options(std::move(options)),
      m_machine(machine),
      m_names(names),
      m_done(std::move(done)),
      m_wakeup(loop, [this] { finish(); })
{
}

Reloader::~Reloader()
{
    if (!m_thread.joinable()) return;
    bool isDone = m_work == nullptr;
    if (!isDone) {
        std::unique_lock lock(m_work->mutex);
        isDone = m_work->isDone.wait_for(lock, kEnd, [&] { return m_work->result.has_value(); });
    }
    if (isDone) {
        m_thread.join();
    } else {
        m_thread.detach();
    }
}

void Reloader::start(const Configuration& inForce)
{
    m_inForce = inForce;
    if (m_work) {
        m_isAskedAgain = true;
    } else {
        begin();
    }
}

void Reloader::begin()
{
    auto work = std::make_shared<Work>();
    work->inForce = m_inForce;
    try {
        work->wake = m_wakeup.remote();
        m_thread = std::thread([work, options = m_options, &machine = m_machine, &names = m_names] {
            ReloadedConfiguration result;
            try {
                result = reload(work->inForce, options, machine, names);
            } catch (const std::exception& error) {
                result.faults = {std::string("cannot be read now: ") + error.what()};
            }
            const std::lock_guard lock(work->mutex);
            work->result = std::move(result);
            Wakeup::wake(work->wake.get());
            work->isDone.notify_all();
        });
        m_work = std::move(work);
    } catch (const std::system_error& error) {
        ReloadedConfiguration failed;
        failed.faults.push_back(std::string("cannot be read now: ") + error.what());
        m_done(failed);
    }
}

void Reloader::finish()
{
    if (!m_work) return;
    std::optional<ReloadedConfiguration> result;
    {
        const std::lock_guard lock(m_work->mutex);
        result = std::move(m_work->result);
    }
    if (!result) return;
    m_thread.join();
    m_work.reset();
    const bool isAskedAgain = std::exchange(m_isAskedAgain, false);
    m_done(*result);
    if (isAskedAgain) {
        if (result->configuration) m_inForce = *result->configuration;
        begin();
    }
}

}  // namespace vpnd
