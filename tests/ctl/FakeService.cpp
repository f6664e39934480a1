#include "tests/ctl/FakeService.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>
#include <utility>

namespace
{

std::size_t contentLength(const std::string& head)
{
    const std::string name = "Content-Length: ";
    const std::size_t at = head.find(name);
    return at == head.npos ? 0 : std::stoul(head.substr(at + name.size()));
}

}  // namespace

FakeService::FakeService(std::string path) : m_path(std::move(path))
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (m_path.size() >= sizeof address.sun_path) throw std::runtime_error("path too long");
    std::memcpy(address.sun_path, m_path.data(), m_path.size());
    ::unlink(m_path.c_str());
    m_listener = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::bind(m_listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_listener, 8) != 0 || ::pipe2(m_end, O_CLOEXEC) != 0) {
        throw std::runtime_error("no socket at " + m_path);
    }
    m_thread = std::thread([this] { serve(); });
}

FakeService::~FakeService()
{
    ::close(m_end[1]);
    m_thread.join();
    ::close(m_end[0]);
    ::close(m_listener);
    ::unlink(m_path.c_str());
}

void FakeService::answer(const std::string& request, Reply reply)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_script[request].push_back(std::move(reply));
}

void FakeService::answer(const std::string& request, int status, const std::string& json)
{
    answer(request, Reply{httpAnswer(status, json)});
}

void FakeService::stream(const std::string& request, const std::string& events)
{
    Reply reply;
    reply.bytes = "HTTP/1.1 200 OK\r\nContent-Type: text/event-stream\r\n\r\n" + events;
    reply.staysOpen = true;
    answer(request, reply);
}

std::vector<std::string> FakeService::requests() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_requests;
}

std::string FakeService::received() const
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_received;
}

void FakeService::serve()
{
    pollfd entries[2] = {{m_listener, POLLIN, 0}, {m_end[0], POLLIN, 0}};
    while (::poll(entries, 2, -1) > 0 && entries[1].revents == 0) {
        const int client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0) continue;
        talk(client);
        ::close(client);
    }
}

FakeService::Reply FakeService::replyTo(const std::string& request)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    auto found = m_script.find(request);
    if (found == m_script.end()) found = m_script.find("*");
    if (found == m_script.end()) return {httpAnswer(404, "{}")};
    Reply reply = found->second.front();
    if (found->second.size() > 1) found->second.erase(found->second.begin());
    return reply;
}

void FakeService::talk(int client)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        const auto any = m_script.find("*");
        if (any != m_script.end() && !any->second.front().readsRequest) {
            const std::string& bytes = any->second.front().bytes;
            ::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            return;
        }
    }
    std::string text;
    std::size_t headEnd = text.npos;
    char bytes[4096];
    while (headEnd == text.npos ||
           text.size() < headEnd + 4 + contentLength(text.substr(0, headEnd + 2))) {
        const ssize_t count = ::recv(client, bytes, sizeof bytes, 0);
        if (count <= 0) return;
        text.append(bytes, static_cast<std::size_t>(count));
        headEnd = text.find("\r\n\r\n");
    }
    const std::string request = text.substr(0, text.find(" HTTP/1.1\r\n"));
    const std::string body = text.substr(headEnd + 4);
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_requests.push_back(body.empty() ? request : request + " " + body);
        m_received += text;
    }
    const Reply reply = replyTo(request);
    for (std::size_t at = 0; at < reply.bytes.size();) {
        const std::size_t size = reply.pieceBytes == 0 ? reply.bytes.size() : reply.pieceBytes;
        const std::string piece = reply.bytes.substr(at, size);
        if (::send(client, piece.data(), piece.size(), MSG_NOSIGNAL) < 0) return;
        at += piece.size();
    }
    // The client sends nothing more: what comes is its end.
    pollfd entries[2] = {{client, POLLIN, 0}, {m_end[0], POLLIN, 0}};
    if (reply.staysOpen) ::poll(entries, 2, -1);
}

std::string httpAnswer(int status, const std::string& body)
{
    return "HTTP/1.1 " + std::to_string(status) + " Word\r\nContent-Type: application/json\r\n" +
           "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n" +
           body;
}

std::string eventText(const std::string& name, const std::string& id, const std::string& data)
{
    return "event: " + name + "\n" + (id.empty() ? "" : "id: " + id + "\n") + "data: " + data +
           "\n\n";
}
