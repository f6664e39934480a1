#pragma once

#include <nlohmann/json.hpp>

#include <cstddef>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

// What a server sends, taken apart.
struct HttpResponse {
    int status = 0;
    std::string head;
    std::string body;

    nlohmann::json json() const { return nlohmann::json::parse(body, nullptr, false); }
    std::string code() const { return json().value("/error/code"_json_pointer, ""); }
    std::string field() const { return json().value("/error/field"_json_pointer, ""); }
    std::string header(const std::string& name) const
    {
        const std::size_t at = head.find("\r\n" + name + ": ");
        if (at == std::string::npos) return {};
        const std::size_t begin = at + name.size() + 4;
        return head.substr(begin, head.find("\r\n", begin) - begin);
    }
};

// The data of the chunks so far; isWhole when the last one has come.
inline std::string dechunked(const std::string& text, std::size_t from, std::size_t& end,
                             bool& isWhole)
{
    std::string data;
    end = from;
    isWhole = false;
    for (;;) {
        const std::size_t line = text.find("\r\n", end);
        if (line == std::string::npos) return data;
        const std::size_t size = std::strtoul(text.c_str() + end, nullptr, 16);
        if (text.size() < line + 2 + size + 2) return data;
        data += text.substr(line + 2, size);
        end = line + 2 + size + 2;
        if (size == 0) {
            isWhole = true;
            return data;
        }
    }
}

// The response at the front and where it ends; nothing while it is not whole.
inline std::optional<HttpResponse> responseIn(const std::string& text, std::size_t& end)
{
    const std::size_t headEnd = text.find("\r\n\r\n");
    if (headEnd == std::string::npos) return std::nullopt;
    HttpResponse response;
    response.head = text.substr(0, headEnd + 2);
    response.status = std::atoi(text.c_str() + text.find(' '));
    const std::size_t begin = headEnd + 4;
    if (response.header("Transfer-Encoding") == "chunked") {
        bool isWhole = false;
        response.body = dechunked(text, begin, end, isWhole);
        if (!isWhole) return std::nullopt;
        return response;
    }
    const std::size_t size = std::strtoul(response.header("Content-Length").c_str(), nullptr, 10);
    if (text.size() < begin + size) return std::nullopt;
    response.body = text.substr(begin, size);
    end = begin + size;
    return response;
}

// One of a stream of server-sent events.
struct ServerEvent {
    std::string name;
    std::string id;
    nlohmann::json data;
};

// Those that are whole in the text of a stream.
inline std::vector<ServerEvent> eventsIn(const std::string& stream)
{
    std::vector<ServerEvent> events;
    std::size_t at = 0;
    for (std::size_t end = 0; (end = stream.find("\n\n", at)) != std::string::npos; at = end + 2) {
        ServerEvent event;
        std::size_t line = at;
        while (line < end) {
            const std::size_t next = stream.find('\n', line);
            const std::string text = stream.substr(line, next - line);
            if (text.rfind("event: ", 0) == 0) event.name = text.substr(7);
            if (text.rfind("id: ", 0) == 0) event.id = text.substr(4);
            if (text.rfind("data: ", 0) == 0) {
                event.data = nlohmann::json::parse(text.substr(6), nullptr, false);
            }
            line = next + 1;
        }
        if (!event.name.empty()) events.push_back(event);
    }
    return events;
}
