#pragma once

#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// Plays the service's control interface at a Unix socket, as its script says.
class FakeService
{
public:
    // What becomes of a request.
    struct Reply {
        std::string bytes;           // sent as they are
        bool staysOpen = false;      // then holds the connection until the client goes
        std::size_t pieceBytes = 0;  // sent in pieces of so many bytes; 0: at once
        bool readsRequest = true;    // false: answers, or closes, at once
    };

    explicit FakeService(std::string path);
    ~FakeService();
    FakeService(const FakeService&) = delete;
    FakeService& operator=(const FakeService&) = delete;

    // "GET /v1/status" is answered so from now on; "*" is every other request. More replies to
    // one request follow each other, the last one stays.
    void answer(const std::string& request, Reply reply);
    void answer(const std::string& request, int status, const std::string& json);
    // An event stream with these bytes that stays open.
    void stream(const std::string& request, const std::string& events);

    // "GET /v1/status", and a body behind it where there was one, in their order.
    std::vector<std::string> requests() const;
    // All that clients have sent, heads too.
    std::string received() const;
    const std::string& path() const { return m_path; }

private:
    void serve();
    void talk(int client);
    Reply replyTo(const std::string& request);

    std::string m_path;
    int m_listener = -1;
    int m_end[2] = {-1, -1};
    mutable std::mutex m_mutex;
    std::map<std::string, std::vector<Reply>> m_script;
    std::vector<std::string> m_requests;
    std::string m_received;
    std::thread m_thread;
};

// A whole answer of HTTP.
std::string httpAnswer(int status, const std::string& body);
// One server-sent event.
std::string eventText(const std::string& name, const std::string& id, const std::string& data);
