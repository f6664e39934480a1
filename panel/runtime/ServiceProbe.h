#pragma once

#include <string>

namespace panel
{

// Where the device looks for its VPN service.
constexpr const char* kServiceAddress = "127.0.0.1";
constexpr int kServicePort = 9009;

// Why a call of the device may have failed, in words for people: whether somebody
// listens where the service should. Takes half a second at most; connects and says
// nothing, once a second at most. Any thread.
std::string lookAtService();

}  // namespace panel
