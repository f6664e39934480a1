#pragma once

#include "ctl/base/Json.h"
#include "ctl/base/Words.h"
#include "ctl/client/EventReader.h"
#include "ctl/client/HttpReader.h"
#include "ctl/client/LocalSocket.h"

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

namespace ctl
{

constexpr int kApiVersion = 1;
constexpr std::size_t kMaxAnswerBytes = 4 * 1024 * 1024;

// One server-sent stream. Raises Failure where there is none, or when it ends.
class EventStream
{
public:
    struct Parts {
        LocalSocket socket;
        HttpReader reader;
        std::string path;
    };
    explicit EventStream(Parts parts) : m_parts(std::move(parts)) {}

    // The next event; nothing when none came by the deadline, or the stream was silent for
    // longer than the service ever is.
    std::optional<Event> next(const QZ::Net::Deadline& deadline);
    // Whether it was silent for so long that nobody is there any more.
    bool isDead() const { return m_silence.passed(); }

private:
    // The service sends something every 15 seconds.
    static constexpr unsigned int kMaxSilenceMs = 45 * 1000;

    void takeBody();

    Parts m_parts;
    EventReader m_events;
    std::deque<Event> m_waiting;
    QZ::Net::Deadline m_silence{kMaxSilenceMs};
};

// Asks the service's control interface, docs/control-api.md; one connection for each request.
//
// What goes wrong leaves as Failure: nobody there, not allowed, another version, a service
// that is stuck, and what the service itself refuses.
class ControlClient
{
public:
    // timeoutMs is for each request as a whole.
    ControlClient(std::string path, unsigned int timeoutMs, Language language)
        : m_path(std::move(path)), m_timeoutMs(timeoutMs), m_language(language)
    {
    }

    [[nodiscard]] Json get(const std::string& target) const;
    // An empty object where there is nothing to say. ifMatch: a version, or empty.
    Json send(const std::string& method, const std::string& target, const Json& body,
              const std::string& ifMatch = {}) const;
    // What happens from now on, or behind the row of this id.
    [[nodiscard]] EventStream events(const std::string& lastEventId) const;

private:
    LocalSocket begin(const std::string& head, const std::string& body,
                      const QZ::Net::Deadline& deadline) const;
    Json exchange(const std::string& head, const std::string& body) const;

    std::string m_path;
    unsigned int m_timeoutMs;
    Language m_language;
};

}  // namespace ctl
