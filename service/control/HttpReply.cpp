#include "service/control/HttpReply.h"

#include "service/control/Json.h"

#include <spdlog/fmt/fmt.h>

namespace vpnd
{
namespace
{

const char* phraseOf(int status)
{
    switch (status) {
        case 200:
            return "OK";
        case 400:
            return "Bad Request";
        case 403:
            return "Forbidden";
        case 404:
            return "Not Found";
        case 405:
            return "Method Not Allowed";
        case 408:
            return "Request Timeout";
        case 409:
            return "Conflict";
        case 412:
            return "Precondition Failed";
        case 413:
            return "Content Too Large";
        case 417:
            return "Expectation Failed";
        case 422:
            return "Unprocessable Content";
        case 431:
            return "Request Header Fields Too Large";
        case 503:
            return "Service Unavailable";
        default:
            return "Internal Server Error";
    }
}

}  // namespace

std::string headOf(const HttpReply& reply, bool staysOpen, bool isChunked)
{
    std::string head = fmt::format(
        "HTTP/1.1 {} {}\r\nServer: orva-vpnd/{}\r\nContent-Type: {}\r\nCache-Control: no-store\r\n"
        "X-Content-Type-Options: nosniff\r\n",
        reply.status, phraseOf(reply.status), ORVA_VERSION, reply.type);
    for (const auto& [name, value] : reply.headers) head += fmt::format("{}: {}\r\n", name, value);
    if (isChunked) {
        head += "Transfer-Encoding: chunked\r\n";
    } else if (!reply.source) {
        head += fmt::format("Content-Length: {}\r\n", reply.body.size());
    }
    head += staysOpen ? "\r\n" : "Connection: close\r\n\r\n";
    return head;
}

HttpReply replyOf(Refusal refusal, std::string_view field, std::string_view detail)
{
    const RefusalText& text = common::textOf(refusal);
    Json error = textsOf(text);
    error["field"] = field;
    error["detail"] = detail;
    error["exit"] = text.exitCode;
    HttpReply reply;
    reply.status = text.httpStatus;
    reply.body = toText({{"error", std::move(error)}}) + "\n";
    return reply;
}

}  // namespace vpnd
