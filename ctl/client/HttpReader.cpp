#include "ctl/client/HttpReader.h"

#include <algorithm>
#include <charconv>
#include <utility>

namespace ctl
{
namespace
{

// Longest line of a chunk's size: 16 digits and a little of an extension.
constexpr std::size_t kMaxChunkLineBytes = 256;

std::string inSmallLetters(std::string_view text)
{
    std::string small(text);
    for (char& c : small) {
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return small;
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t')) text.remove_suffix(1);
    return text;
}

std::size_t numberOf(std::string_view text, int base, const char* what)
{
    std::size_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number, base);
    if (text.empty() || error != std::errc() || stopped != end) {
        throw HttpError(std::string(what) + " is no number");
    }
    return number;
}

}  // namespace

void HttpReader::feed(std::string_view bytes)
{
    while (!bytes.empty() && m_state != State::kWhole) {
        if (!takesLines()) {
            const bool isBounded = m_state != State::kBodyToEnd;
            const std::size_t count = isBounded ? std::min(m_left, bytes.size()) : bytes.size();
            append(bytes.substr(0, count));
            bytes.remove_prefix(count);
            if (!isBounded) continue;
            m_left -= count;
            if (m_left > 0) continue;
            m_state = m_state == State::kChunk ? State::kChunkEnd : State::kWhole;
            continue;
        }
        const std::size_t end = bytes.find('\n');
        const std::string_view piece = bytes.substr(0, end);
        const bool isHead = m_state <= State::kHeaders || m_state == State::kTrailers;
        if (isHead) m_headBytes += piece.size() + 1;
        if (m_headBytes > kMaxHeadBytes ||
            (!isHead && m_line.size() + piece.size() > kMaxChunkLineBytes)) {
            throw HttpError("its head is too long");
        }
        m_line += piece;
        bytes.remove_prefix(end == bytes.npos ? bytes.size() : end + 1);
        if (end == bytes.npos) return;
        if (!m_line.empty() && m_line.back() == '\r') m_line.pop_back();
        takeLine(std::exchange(m_line, {}));
    }
}

void HttpReader::end()
{
    if (m_state == State::kBodyToEnd) m_state = State::kWhole;
    if (m_state != State::kWhole) throw HttpError("it ended before it was whole");
}

std::string HttpReader::header(const std::string& name) const
{
    const auto found = m_headers.find(name);
    return found == m_headers.end() ? std::string() : found->second;
}

std::string HttpReader::takeBody() { return std::exchange(m_body, {}); }

bool HttpReader::takesLines() const
{
    return m_state != State::kBody && m_state != State::kBodyToEnd && m_state != State::kChunk;
}

void HttpReader::takeLine(std::string_view line)
{
    switch (m_state) {
        case State::kStatusLine:
            return takeStatusLine(line);
        case State::kHeaders:
            if (!line.empty()) return takeHeader(line);
            return beginBody();
        case State::kChunkSize:
            return takeChunkSize(line);
        case State::kChunkEnd:
            if (!line.empty()) throw HttpError("a chunk is longer than it says");
            m_state = State::kChunkSize;
            return;
        default:  // trailers
            if (line.empty()) m_state = State::kWhole;
            return;
    }
}

void HttpReader::takeStatusLine(std::string_view line)
{
    // "HTTP/1.1 200 OK"
    if (line.substr(0, 7) != "HTTP/1." || line.size() < 12 || line[8] != ' ' ||
        (line.size() > 12 && line[12] != ' ')) {
        throw HttpError("it is not HTTP/1.1");
    }
    const std::size_t status = numberOf(line.substr(9, 3), 10, "its status");
    if (status < 200) throw HttpError("its status is " + std::to_string(status));
    m_status = static_cast<int>(status);
    m_state = State::kHeaders;
}

void HttpReader::takeHeader(std::string_view line)
{
    const std::size_t colon = line.find(':');
    if (colon == line.npos || colon == 0) throw HttpError("a line of its head is no header");
    if (m_headers.size() == kMaxHeaders) throw HttpError("it has too many headers");
    m_headers[inSmallLetters(line.substr(0, colon))] = trimmed(line.substr(colon + 1));
}

void HttpReader::beginBody()
{
    const std::string coding = inSmallLetters(header("transfer-encoding"));
    const std::string length = header("content-length");
    if (m_status == 204 || m_status == 304) {
        m_state = State::kWhole;
    } else if (coding == "chunked") {
        m_state = State::kChunkSize;
    } else if (!coding.empty()) {
        throw HttpError("its transfer coding is unknown");
    } else if (length.empty()) {
        m_state = State::kBodyToEnd;
    } else {
        m_left = numberOf(length, 10, "its length");
        if (m_left > m_maxBodyBytes) throw HttpError("it is too long");
        m_state = m_left == 0 ? State::kWhole : State::kBody;
    }
}

void HttpReader::takeChunkSize(std::string_view line)
{
    m_left = numberOf(trimmed(line.substr(0, line.find(';'))), 16, "the size of a chunk");
    m_state = m_left == 0 ? State::kTrailers : State::kChunk;
}

void HttpReader::append(std::string_view bytes)
{
    if (bytes.size() > m_maxBodyBytes - m_body.size()) throw HttpError("it is too long");
    m_body += bytes;
}

}  // namespace ctl
