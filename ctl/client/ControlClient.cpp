#include "ctl/client/ControlClient.h"

#include "ctl/base/Failure.h"
#include "ctl/client/ServiceErrors.h"

#include <array>
#include <stdexcept>
#include <utility>

namespace ctl
{
namespace
{

using QZ::Net::Deadline;

constexpr std::size_t kPieceBytes = 16 * 1024;

std::string headOf(const std::string& method, const std::string& target, const std::string& accept)
{
    return method + " " + target + " HTTP/1.1\r\nHost: localhost\r\nUser-Agent: orva-vpnctl/" +
           ORVA_VERSION + "\r\nAccept: " + accept + "\r\nConnection: close\r\n";
}

}  // namespace

Json ControlClient::get(const std::string& target) const
{
    return exchange(headOf("GET", target, "application/json"), {});
}

Json ControlClient::send(const std::string& method, const std::string& target, const Json& body,
                         const std::string& ifMatch) const
{
    const std::string text = printed(body, Layout::kOneLine);
    std::string head = headOf(method, target, "application/json");
    head +=
        "Content-Type: application/json\r\nContent-Length: " + std::to_string(text.size()) + "\r\n";
    if (!ifMatch.empty()) head += "If-Match: \"" + ifMatch + "\"\r\n";
    return exchange(head, text);
}

EventStream ControlClient::events(const std::string& lastEventId) const
{
    const Deadline deadline(m_timeoutMs);
    std::string head = headOf("GET", "/v1/events", "text/event-stream");
    if (!lastEventId.empty()) head += "Last-Event-ID: " + lastEventId + "\r\n";
    LocalSocket socket = begin(head, {}, deadline);
    HttpReader reader(kMaxAnswerBytes);
    try {
        std::array<char, kPieceBytes> bytes{};
        while (!reader.hasHead() || (reader.status() != 200 && !reader.isWhole())) {
            const std::size_t count = socket.receive(bytes.data(), bytes.size(), deadline);
            if (count == 0) {
                reader.end();
                break;
            }
            reader.feed({bytes.data(), count});
        }
    } catch (const HttpError& error) {
        throw unusableAnswer(m_path, error.what());
    }
    if (reader.status() != 200) {
        throw failureOf(m_path, reader.status(), reader.takeBody(), m_language);
    }
    return EventStream({std::move(socket), std::move(reader), m_path});
}

LocalSocket ControlClient::begin(const std::string& head, const std::string& body,
                                 const Deadline& deadline) const
{
    LocalSocket socket(m_path, deadline);
    socket.send(head + "\r\n" + body, deadline);
    return socket;
}

Json ControlClient::exchange(const std::string& head, const std::string& body) const
{
    const Deadline deadline(m_timeoutMs);
    LocalSocket socket = begin(head, body, deadline);
    HttpReader reader(kMaxAnswerBytes);
    std::string text;
    try {
        std::array<char, kPieceBytes> bytes{};
        while (!reader.isWhole()) {
            const std::size_t count = socket.receive(bytes.data(), bytes.size(), deadline);
            if (count == 0) {
                reader.end();
            } else {
                reader.feed({bytes.data(), count});
            }
        }
        text = reader.takeBody();
    } catch (const HttpError& error) {
        throw unusableAnswer(m_path, error.what());
    }
    if (reader.status() < 200 || reader.status() > 299) {
        throw failureOf(m_path, reader.status(), text, m_language);
    }
    try {
        Json answer = parseJson(text);
        if (!answer.is_object()) throw std::invalid_argument("JSON that is no object");
        const Json* const version = find(answer, "api");
        if (version != nullptr && *version != kApiVersion) {
            throw otherVersion(m_path, "it speaks version " + textAt(answer, "api"));
        }
        return answer;
    } catch (const std::invalid_argument& error) {
        throw unusableAnswer(m_path, error.what());
    }
}

std::optional<Event> EventStream::next(const Deadline& deadline)
{
    try {
        takeBody();
        while (m_waiting.empty()) {
            if (m_parts.reader.isWhole()) throw HttpError("the stream has ended");
            const Deadline& first =
                m_silence.pollTimeoutMs() < deadline.pollTimeoutMs() ? m_silence : deadline;
            if (!m_parts.socket.hasMore(first)) return std::nullopt;
            std::array<char, kPieceBytes> bytes{};
            const std::size_t count = m_parts.socket.receive(bytes.data(), bytes.size(), deadline);
            if (count == 0) throw HttpError("the stream has ended");
            m_silence = Deadline(kMaxSilenceMs);
            m_parts.reader.feed({bytes.data(), count});
            takeBody();
        }
    } catch (const HttpError& error) {
        throw Failure(kExitStuck, "lost the service at " + m_parts.path + ": " + error.what());
    }
    Event event = std::move(m_waiting.front());
    m_waiting.pop_front();
    return event;
}

void EventStream::takeBody()
{
    m_events.feed(m_parts.reader.takeBody(),
                  [this](const Event& event) { m_waiting.push_back(event); });
}

}  // namespace ctl
