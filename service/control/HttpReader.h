#pragma once

#include "service/control/HttpRequest.h"
#include "service/core/Refusals.h"

#include <cstddef>
#include <memory>
#include <string>

namespace vpnd
{

// Makes requests of bytes. Stricter than HTTP has to be: what two readers could understand
// differently is refused, because the rest of the connection cannot be trusted then.
class HttpReader
{
public:
    static constexpr std::size_t kMaxHeadBytes = 16 * 1024;
    static constexpr std::size_t kMaxBodyBytes = 256 * 1024;

    enum class Step {
        kNeedsMore,
        kDone,     // request() has it
        kRefused,  // refusal() says why; nothing more can be read
    };

    HttpReader();
    ~HttpReader();
    HttpReader(const HttpReader&) = delete;
    HttpReader& operator=(const HttpReader&) = delete;

    // Takes what belongs to the request off the front of the input.
    [[nodiscard]] Step read(std::string& input);

    HttpRequest& request() { return m_request; }
    Refusal refusal() const { return m_refusal; }
    // Whether a part of a request has come, and whether its head is complete.
    bool hasBegun() const { return m_hasBegun; }
    bool hasHead() const { return m_parser != nullptr; }
    // Whether the client waits for a word before it sends the body; tells it once.
    bool takeWaitsForContinue();

    // For the next request.
    void reset();

private:
    struct Parser;

    Step refuse(Refusal refusal);
    Step readHead(std::string& input);
    Step readBody(std::string& input);
    Step finish();
    bool takeTarget(std::string target);

    std::unique_ptr<Parser> m_parser;
    HttpRequest m_request;
    Refusal m_refusal = Refusal::kBadRequest;
    bool m_hasBegun = false;
    bool m_waitsForContinue = false;
};

}  // namespace vpnd
