#pragma once

#include "platform/RpcServer.h"
#include "service/net/IRpcHandler.h"
#include "service/net/RpcListener.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace vpnd
{

// One connection: reads, answers, and reads on only when the answer has gone out.
class RpcListener::Client final : private IWatcher, private IAwaitsReply, private IPendingCall
{
public:
    Client(Descriptor socket, const Peer& peer, RpcListener& owner);
    ~Client();
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    const Peer& peer() const { return m_peer; }

    // When it came or, later, got its last answer.
    std::int64_t sinceMs() const { return m_sinceMs; }

    // Whether an answer to it is due.
    bool isWaiting() const { return m_session && m_session->isWaiting(); }

    // Whether that is so, or bytes of it have arrived that it has not been late in
    // reading answers for.
    bool isAsking() const;

    // Has its call handled; what comes back is as of IDispatcher::dispatch().
    const char* handle(std::string_view method, QZ::utils::IBuffer& args,
                       QZ::utils::IBuffer& result);

    Clients* list = nullptr;  // that it stands in, and where
    Clients::iterator place;

private:
    enum class Answer { kNone, kOwed, kGiven };

    // In these three this is gone when the connection is over.
    void onReady(std::uint32_t events) override;
    void reply(const QZ::RPC::ResultWriter& write) override;
    void forsake() override;
    template <class Step>
    void goOnUnlessOver(Step step);

    LaterReply answerLater() override;
    void keep(const QZ::RPC::ResultWriter& write);
    void disown();

    // These are false when the connection is over.
    bool wait(std::uint32_t events);
    bool read();
    bool goOn(std::uint32_t events);
    bool answer(std::size_t received);
    bool sendLate();
    bool send();

    void rest();
    void hold(std::size_t bytes);
    bool holdsTooMuch();

    RpcListener& m_owner;
    const Peer m_peer;
    std::unique_ptr<QZ::RPC::ServerSession> m_session;  // while something is under way
    std::size_t m_sentBytes = 0;                        // of the output
    std::size_t m_heldBytes = 0;                        // as counted by the owner
    std::int64_t m_sinceMs;
    Answer m_answer = Answer::kNone;             // to its last call, when that is given later
    std::weak_ptr<LaterReply::Ticket> m_ticket;  // lives while it is owed
    QZ::utils::IBuffer* m_result = nullptr;      // of the call that is being handled
    const char* m_refusal = nullptr;             // of an answer given meanwhile
    // For reading or, while a reply or the other clients' turn is due, for writing. While an
    // answer is due and more has come, for nothing but the connection's end.
    Watch m_watch;
};

}  // namespace vpnd
