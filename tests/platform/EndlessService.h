#pragma once

#include "tests/platform/PeerLink.h"

#include <poll.h>

#include <thread>

namespace peer_link
{

// Sends bytes of a service that never comes to an end, every few milliseconds or
// without a pause, until the client goes away.
class EndlessService
{
public:
    EndlessService(PeerLink& link, const Bytes& bytes, int pauseMs)
        : m_link(link), m_thread([this, bytes, pauseMs] { run(bytes, pauseMs); })
    {
    }
    ~EndlessService()
    {
        m_link.client.stop();
        m_thread.join();
    }

private:
    void run(const Bytes& bytes, int pauseMs)
    {
        pollfd entry = {m_link.peer(), 0, 0};
        for (std::size_t i = 0;; ++i) {
            if (poll(&entry, 1, pauseMs) != 0) return;  // the client is gone
            const bool wasSent =
                pauseMs == 0 ? m_link.send(bytes) : m_link.send({bytes[i % bytes.size()]});
            if (!wasSent) return;
        }
    }

    PeerLink& m_link;
    std::thread m_thread;
};

}  // namespace peer_link
