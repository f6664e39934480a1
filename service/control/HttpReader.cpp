#include "service/control/HttpReader.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/core/string.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <charconv>
#include <cstdint>
#include <string_view>
#include <utility>

namespace vpnd
{
namespace
{

namespace http = boost::beast::http;
using boost::beast::iequals;

std::string_view plain(boost::beast::string_view text) { return {text.data(), text.size()}; }

// "%2F" is "/", "+" is no blank. False for anything but two hexadecimal digits behind "%".
bool decode(std::string_view text, std::string& decoded)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        std::uint8_t byte = 0;
        const char* const digits = text.data() + i + 1;
        if (text.size() - i < 3) return false;
        const auto [end, error] = std::from_chars(digits, digits + 2, byte, 16);
        if (error != std::errc() || end != digits + 2) return false;
        decoded += static_cast<char>(byte);
        i += 2;
    }
    return true;
}

// The names under which this service is asked; the socket is no network.
bool isOwnHost(std::string_view host)
{
    const std::string_view name = host.substr(0, host.find(':'));
    return iequals({name.data(), name.size()}, "localhost") ||
           iequals({name.data(), name.size()}, "orva-vpnd");
}

// Lines end in CR LF, none is folded, and no other line feed is hidden in them.
bool isPlain(std::string_view head)
{
    for (std::size_t at = head.find('\n'); at != std::string_view::npos;
         at = head.find('\n', at + 1)) {
        if (at == 0 || head[at - 1] != '\r') return false;
        if (at + 1 < head.size() && (head[at + 1] == ' ' || head[at + 1] == '\t')) return false;
    }
    return true;
}

}  // namespace

struct HttpReader::Parser {
    Parser()
    {
        parser.eager(true);
        parser.header_limit(kMaxHeadBytes);
        parser.body_limit(kMaxBodyBytes);
    }

    // Takes what it can off the text. False when something is wrong with it.
    bool put(std::string_view& text, boost::beast::error_code& error)
    {
        while (!text.empty() && !parser.is_done()) {
            const std::size_t taken =
                parser.put(boost::asio::buffer(text.data(), text.size()), error);
            text.remove_prefix(taken);
            if (error == http::error::need_more) {
                error = {};
                return true;
            }
            if (error) return false;
        }
        return true;
    }

    // How often a header is there; its last value.
    std::size_t count(http::field name, std::string_view& value)
    {
        const auto [begin, end] = parser.get().equal_range(name);
        std::size_t times = 0;
        for (auto each = begin; each != end; ++each, ++times) value = plain(each->value());
        return times;
    }

    http::request_parser<http::string_body> parser;
};

HttpReader::HttpReader() = default;
HttpReader::~HttpReader() = default;

HttpReader::Step HttpReader::read(std::string& input)
{
    if (m_parser) return readBody(input);
    // Some clients end a body with an empty line that does not belong to it.
    while (!m_hasBegun && input.compare(0, 2, "\r\n") == 0) input.erase(0, 2);
    m_hasBegun = m_hasBegun || !input.empty();
    return readHead(input);
}

bool HttpReader::takeWaitsForContinue() { return std::exchange(m_waitsForContinue, false); }

void HttpReader::reset()
{
    m_parser.reset();
    m_request = {};
    m_hasBegun = false;
    m_waitsForContinue = false;
}

HttpReader::Step HttpReader::refuse(Refusal refusal)
{
    m_refusal = refusal;
    m_request.staysOpen = false;
    return Step::kRefused;
}

HttpReader::Step HttpReader::readHead(std::string& input)
{
    constexpr std::string_view kEnd = "\r\n\r\n";
    const std::size_t end = input.find(kEnd);
    const std::size_t size = end == std::string::npos ? input.size() : end + kEnd.size();
    std::string_view head(input.data(), size);
    if (!isPlain(head)) return refuse(Refusal::kBadRequest);
    if (size > kMaxHeadBytes) return refuse(Refusal::kHeadTooLarge);
    if (end == std::string::npos) return Step::kNeedsMore;

    m_parser = std::make_unique<Parser>();
    boost::beast::error_code error;
    if (!m_parser->put(head, error)) {
        return refuse(error == http::error::body_limit ? Refusal::kBodyTooLarge
                                                       : Refusal::kBadRequest);
    }
    input.erase(0, size);
    if (!m_parser->parser.is_header_done()) return refuse(Refusal::kBadRequest);

    std::string_view length;
    std::string_view encoding;
    std::string_view host;
    std::string_view expectation;
    const std::size_t lengths = m_parser->count(http::field::content_length, length);
    const std::size_t encodings = m_parser->count(http::field::transfer_encoding, encoding);
    const std::size_t hosts = m_parser->count(http::field::host, host);
    const auto& message = m_parser->parser.get();
    const bool isHttp11 = message.version() == 11;
    if (length.find_first_not_of("0123456789") != std::string_view::npos ||
        lengths + encodings > 1 || hosts > 1 || (hosts == 0 && isHttp11) ||
        (!isHttp11 && message.version() != 10) ||
        (encodings == 1 &&
         (!isHttp11 || !iequals({encoding.data(), encoding.size()}, "chunked")))) {
        return refuse(Refusal::kBadRequest);
    }
    if (m_parser->count(http::field::expect, expectation) > 0) {
        if (!iequals({expectation.data(), expectation.size()}, "100-continue")) {
            return refuse(Refusal::kExpectation);
        }
        m_waitsForContinue = isHttp11 && !m_parser->parser.is_done() && input.empty();
    }
    m_request.isForeign = (hosts == 1 && !isOwnHost(host));
    for (const auto& each : message) {
        const std::string_view name = plain(each.name_string());
        const bool isOfBrowser = each.name() == http::field::origin ||
                                 each.name() == http::field::referer ||
                                 (name.size() > 10 && iequals({name.data(), 10}, "sec-fetch-"));
        m_request.isForeign = m_request.isForeign || isOfBrowser;
    }
    return readBody(input);
}

HttpReader::Step HttpReader::readBody(std::string& input)
{
    std::string_view rest = input;
    boost::beast::error_code error;
    const bool isRight = m_parser->put(rest, error);
    input.erase(0, input.size() - rest.size());
    if (!isRight) {
        return refuse(error == http::error::body_limit ? Refusal::kBodyTooLarge
                                                       : Refusal::kBadRequest);
    }
    // Of a chunked body these are lengths and line ends, which come to nothing.
    if (input.size() > kMaxHeadBytes && !m_parser->parser.is_done()) {
        return refuse(Refusal::kBadRequest);
    }
    return m_parser->parser.is_done() ? finish() : Step::kNeedsMore;
}

HttpReader::Step HttpReader::finish()
{
    auto& message = m_parser->parser.get();
    m_request.method = plain(message.method_string());
    m_request.takesChunks = message.version() == 11;
    m_request.staysOpen = message.keep_alive();
    m_request.ifMatch = plain(message[http::field::if_match]);
    m_request.lastEventId = plain(message["Last-Event-ID"]);
    m_request.body = std::move(message.body());
    if (!takeTarget(std::string(plain(message.target())))) return refuse(Refusal::kBadRequest);
    return Step::kDone;
}

bool HttpReader::takeTarget(std::string target)
{
    if (target.empty() || target.front() != '/') return false;
    target.resize(std::min(target.size(), target.find('#')));
    const std::size_t mark = target.find('?');
    if (!decode(std::string_view(target).substr(0, mark), m_request.path)) return false;
    std::string_view rest =
        mark == std::string::npos ? std::string_view() : std::string_view(target).substr(mark + 1);
    while (!rest.empty()) {
        const std::string_view pair = rest.substr(0, rest.find('&'));
        rest.remove_prefix(std::min(rest.size(), pair.size() + 1));
        const std::size_t equals = std::min(pair.find('='), pair.size());
        std::string name;
        std::string value;
        if (!decode(pair.substr(0, equals), name) ||
            !decode(pair.substr(std::min(equals + 1, pair.size())), value)) {
            return false;
        }
        // Twice the same would be read differently by two readers.
        if (!m_request.query.emplace(std::move(name), std::move(value)).second) return false;
    }
    return true;
}

}  // namespace vpnd
