#pragma once

#include "service/base/EventLoop.h"
#include "service/control/HttpAnswer.h"
#include "service/control/HttpReader.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace vpnd
{

// One client: reads a request, has it answered, and reads on only when the answer has gone
// out. Does a bounded piece of work each time it is called.
class HttpConnection final : private IWatcher, private IAwaitsAnswer
{
public:
    static constexpr std::int64_t kHeadMs = 10 * 1000;
    static constexpr std::int64_t kBodyMs = 30 * 1000;
    static constexpr std::int64_t kTakeMs = 30 * 1000;  // without any byte being taken
    static constexpr std::int64_t kIdleMs = 60 * 1000;
    static constexpr std::int64_t kSignMs = 15 * 1000;

    class IOwner
    {
    public:
        // Ends the connection.
        virtual void remove(HttpConnection& connection) = 0;
        // It wants checkTime() by then.
        virtual void callBy(std::int64_t dueMs) = 0;

    protected:
        ~IOwner() = default;
    };

    // Borrows all but the socket.
    HttpConnection(EventLoop& loop, Descriptor socket, Caller caller, IHttpHandler& handler,
                   IOwner& owner);
    ~HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    const Caller& caller() const { return m_caller; }
    // Between two requests, and since when.
    bool isIdle() const { return m_state == State::kReading && !m_reader.hasBegun(); }
    std::int64_t sinceMs() const { return m_sinceMs; }

    // Ends what has taken too long. This is gone afterwards when it was the connection.
    void checkTime();
    // The source of its body may have something. The same.
    void goOn();
    // Sends an error and takes no request. The same.
    void turnAway(Refusal refusal);

private:
    enum class State { kReading, kWaiting, kSending, kStreaming, kDraining };

    void onReady(std::uint32_t events) override;
    void answer(HttpReply reply) override;

    template <class Step>
    void goOnUnlessOver(Step step);
    void enter(State state, std::uint32_t events, std::int64_t withinMs);

    // These are false when the connection is over.
    bool step(std::uint32_t events);
    bool receive();
    bool advance();
    bool begin(HttpReply reply);
    bool send();
    bool sendPiece();
    bool finishReply();
    bool drain();
    bool timeIsUp();

    EventLoop& m_loop;
    const Caller m_caller;
    IHttpHandler& m_handler;
    IOwner& m_owner;
    HttpReader m_reader;
    std::string m_input;
    std::string m_output;
    std::size_t m_sentBytes = 0;
    std::unique_ptr<IBodySource> m_source;
    State m_state = State::kReading;
    bool m_staysOpen = true;
    bool m_isChunked = false;
    bool m_isHandling = false;
    std::optional<HttpReply> m_reply;  // that came while the request was being handled
    std::weak_ptr<HttpAnswer::Ticket> m_ticket;
    std::size_t m_drainedBytes = 0;
    std::int64_t m_sinceMs;
    std::int64_t m_dueMs = 0;
    Watch m_watch;
};

}  // namespace vpnd
