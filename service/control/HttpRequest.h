#pragma once

#include <map>
#include <string>

namespace vpnd
{

// One request as it came; nothing of it is judged but its form.
struct HttpRequest {
    std::string method;
    std::string path;                          // without query, decoded: "/v1/status"
    std::map<std::string, std::string> query;  // decoded
    std::string ifMatch;
    std::string lastEventId;
    std::string body;
    bool isForeign = false;   // a browser sent it, or it is meant for another host
    bool staysOpen = true;    // the client may send another one on this connection
    bool takesChunks = true;  // HTTP/1.1
};

}  // namespace vpnd
