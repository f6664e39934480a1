#pragma once

#include "service/core/Refusals.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vpnd
{

// A body that is made piece by piece, so that a long one neither holds up the loop nor has
// to be kept.
class IBodySource
{
public:
    virtual ~IBodySource() = default;

    enum class More {
        kSoon,   // at the next turn
        kLater,  // when whoever has made the source says so
        kNever,
    };
    // Adds the next piece, about kPieceBytes of it at most; may add nothing.
    virtual More write(std::string& to) = 0;
    // The connection has nothing to send and nothing is there: a sign of life, or nothing.
    virtual std::string_view sign() const { return {}; }

    static constexpr std::size_t kPieceBytes = 16 * 1024;

protected:
    IBodySource() = default;
    IBodySource(const IBodySource&) = delete;
    IBodySource& operator=(const IBodySource&) = delete;
};

struct HttpReply {
    int status = 200;
    const char* type = "application/json";
    std::string body;
    std::vector<std::pair<const char*, std::string>> headers;  // more of them
    std::unique_ptr<IBodySource> source;                       // instead of the body
};

// Most of a name of the client's own that is told back.
constexpr std::size_t kMaxEchoBytes = 64;

// Line and headers with the empty line behind them.
[[nodiscard]] std::string headOf(const HttpReply& reply, bool staysOpen, bool isChunked);

// The error as JSON, with its HTTP status.
[[nodiscard]] HttpReply replyOf(Refusal refusal, std::string_view field = {},
                                std::string_view detail = {});

}  // namespace vpnd
