#pragma once

#include "ctl/base/Json.h"

#include <string>
#include <vector>

class VPNRpcCtrlClient;

namespace ctl
{

enum class ArgumentKind { kText, kPort, kSeconds, kSwitch, kCertificateFile, kSecret };

struct MethodArgument {
    const char* name;
    ArgumentKind kind;
};

// One of the 21 methods of docs/rpc-protocol.md.
struct RpcMethod {
    const char* name;
    const char* help;
    std::vector<MethodArgument> arguments;
    bool showsSecret;  // its result is the password
    bool isStatus;     // its result is a status code: 0 is done
    // Values: one for each argument, a text, number or bool. Returns the result; null: none.
    Json (*call)(VPNRpcCtrlClient& client, const std::vector<Json>& values);
};

[[nodiscard]] const std::vector<RpcMethod>& rpcMethods();
// Null when there is none of this name.
[[nodiscard]] const RpcMethod* findRpcMethod(const std::string& name);

}  // namespace ctl
