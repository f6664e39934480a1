#include "service/RpcValues.h"
#include "service/VpnService.h"

#include <tuple>
#include <type_traits>

namespace vpnd
{
namespace
{

using QZ::utils::IBuffer;

// One method from block to block. Its argument and result types say what the
// blocks hold.
template <auto Method>
struct Call;

template <class Result, class... Arguments, Result (VpnService::*Method)(Arguments...)>
struct Call<Method> {
    static const char* run(VpnService& service, IBuffer& args, IBuffer& result)
    {
        std::tuple<std::decay_t<Arguments>...> values;
        ArgumentReader reader(args, static_cast<std::int32_t>(sizeof...(Arguments)));
        std::apply([&](auto&... value) { (reader.read(value), ...); }, values);
        if (const char* refusal = reader.finish()) return refusal;

        const auto invoke = [&](const auto&... value) { return (service.*Method)(value...); };
        if constexpr (std::is_void_v<Result>) {
            std::apply(invoke, values);
            // Nothing to write, but the client still waits for the empty answer.
            static_cast<void>(result);
            return nullptr;
        } else {
            return writeResult(result, std::apply(invoke, values)) ? nullptr : "answer too large";
        }
    }
};

struct MethodEntry {
    std::string_view name;
    const char* (*run)(VpnService&, IBuffer&, IBuffer&);
};

constexpr MethodEntry kMethods[] = {
    {"changeServerIP", &Call<&VpnService::changeServerIP>::run},
    {"hasPassword", &Call<&VpnService::hasPassword>::run},
    {"checkPassword", &Call<&VpnService::checkPassword>::run},
    {"getServerIP", &Call<&VpnService::getServerIP>::run},
    {"setServerIPAndPort", &Call<&VpnService::setServerIPAndPort>::run},
    {"setVPNCA", &Call<&VpnService::setVPNCA>::run},
    {"checkCommState", &Call<&VpnService::checkCommState>::run},
    {"setDeviceSn", &Call<&VpnService::setDeviceSn>::run},
    {"startVPN", &Call<&VpnService::startVPN>::run},
    {"stopVPN", &Call<&VpnService::stopVPN>::run},
    {"setBeatInterval", &Call<&VpnService::setBeatInterval>::run},
    {"getDeviceVPNInfo", &Call<&VpnService::getDeviceVPNInfo>::run},
    {"setVPNEnabled", &Call<&VpnService::setVPNEnabled>::run},
    {"getVPNEnabled", &Call<&VpnService::getVPNEnabled>::run},
    {"setOnline", &Call<&VpnService::setOnline>::run},
    {"getVpnState", &Call<&VpnService::getVpnState>::run},
    {"getProductSn", &Call<&VpnService::getProductSn>::run},
    {"setVPNPassword", &Call<&VpnService::setVPNPassword>::run},
    {"getVPNPassword", &Call<&VpnService::getVPNPassword>::run},
    {"setVPNUserName", &Call<&VpnService::setVPNUserName>::run},
    {"getVPNUserName", &Call<&VpnService::getVPNUserName>::run},
};
static_assert(sizeof kMethods / sizeof kMethods[0] == 21);

}  // namespace

const char* VpnService::dispatch(std::string_view method, IBuffer& args, IBuffer& result)
{
    const char* refusal = "unknown method";
    try {
        for (const MethodEntry& entry : kMethods) {
            if (entry.name == method) refusal = entry.run(*this, args, result);
        }
    } catch (...) {
        // Out of memory, at most; the other clients go on.
        refusal = "internal error";
    }
    if (refusal != nullptr) m_log.warn("a call was refused", refusal);
    return refusal;
}

}  // namespace vpnd
