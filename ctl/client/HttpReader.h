#pragma once

#include <cstddef>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

namespace ctl
{

// What is no answer of HTTP/1.1, or a larger one than may be.
class HttpError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

// Reads one answer of HTTP/1.1 from bytes that come in any pieces.
//
// Its length is told by Content-Length, by chunks, or by the end of the connection. After the
// first HttpError it is of no use any more.
class HttpReader
{
public:
    static constexpr std::size_t kMaxHeadBytes = 16 * 1024;
    static constexpr std::size_t kMaxHeaders = 64;

    // maxBodyBytes: most that waits in takeBody(). Nothing is allocated beyond it.
    explicit HttpReader(std::size_t maxBodyBytes) : m_maxBodyBytes(maxBodyBytes) {}

    // The next bytes. Raises HttpError.
    void feed(std::string_view bytes);
    // No more bytes will come. Raises HttpError where the answer is not whole.
    void end();

    bool hasHead() const { return m_state > State::kHeaders; }
    bool isWhole() const { return m_state == State::kWhole; }
    // These once the head is there.
    int status() const { return m_status; }
    // Empty when there is none; the name in small letters.
    std::string header(const std::string& name) const;

    // What has come of the body since the last call.
    std::string takeBody();

private:
    enum class State {
        kStatusLine,
        kHeaders,
        kBody,       // m_left bytes of it
        kBodyToEnd,  // until the connection ends
        kChunkSize,
        kChunk,     // m_left bytes of it
        kChunkEnd,  // the empty line behind it
        kTrailers,
        kWhole,
    };

    bool takesLines() const;
    void takeLine(std::string_view line);
    void takeStatusLine(std::string_view line);
    void takeHeader(std::string_view line);
    void beginBody();
    void takeChunkSize(std::string_view line);
    void append(std::string_view bytes);

    std::size_t m_maxBodyBytes;
    State m_state = State::kStatusLine;
    std::string m_line;
    std::size_t m_headBytes = 0;
    int m_status = 0;
    std::map<std::string, std::string> m_headers;
    std::size_t m_left = 0;
    std::string m_body;
};

}  // namespace ctl
