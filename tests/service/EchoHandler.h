#pragma once

#include "service/net/IRpcHandler.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

// Sends back what it is called with: at once, later, or never, by the name of the method.
class EchoHandler final : public vpnd::IRpcHandler
{
public:
    const char* handle(const vpnd::Peer& peer, std::string_view method, QZ::utils::IBuffer& args,
                       QZ::utils::IBuffer& result, vpnd::IPendingCall& call) override
    {
        ++calls;
        lastPeer = peer;
        std::string block(args.size(), '\0');
        args.read(block.data(), args.size(), 0);
        if (method == "echo") {
            write(result, block);
            return nullptr;
        }
        if (method == "later") {
            write(result, "half a result");
            waiting.push_back({call.answerLater(), block});
            return QZ::RPC::kAnswersLater;
        }
        if (method == "special") return special(block, result, call);
        return "unknown method";
    }

    // Answers the call that has waited longest.
    void answerOne()
    {
        const Waiting one = std::exchange(waiting.front(), {});
        waiting.pop_front();
        one.reply.finish([&](QZ::utils::IBuffer& result) {
            write(result, one.block);
            return nullptr;
        });
    }
    void answerAll()
    {
        while (!waiting.empty()) answerOne();
    }

    static void write(QZ::utils::IBuffer& result, const std::string& block)
    {
        const std::uint64_t count = block.size();
        result.write(block.data(), static_cast<unsigned int>(count), 0);
    }

    struct Waiting {
        vpnd::LaterReply reply;
        std::string block;
    };
    int calls = 0;
    vpnd::Peer lastPeer;
    std::deque<Waiting> waiting;
    // What the method of this name does.
    std::function<const char*(const std::string& block, QZ::utils::IBuffer& result,
                              vpnd::IPendingCall& call)>
        special;
};
