#include "vpnclient/VPNRpcCtrlClient.h"

#include "vpnclient/CatchAll.h"
#include "vpnclient/WireValues.h"

#include <type_traits>

using QZ::utils::IBuffer;
using QZ::utils::String;

namespace
{

constexpr unsigned int kCallTimeOutMs = 10000;
constexpr unsigned int kCheckTimeOutMs = 3000;

[[noreturn]] void throwUnpackFailure()
{
    throw QZ::Net::Exception("GeneratedUnpack", "deserialize failed");
}

// Runs a read of the platform's: a refused block passes, anything else that is
// raised there makes the reply unusable.
template <class Read>
CATCHES_FORCED_UNWIND void readOrFail(Read read)
{
    bool done = false;
    try {
        done = read();
    } catch (const QZ::utils::deserialize_block_error&) {
        throw;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        done = false;
    }
    if (!done) throwUnpackFailure();
}

template <class T>
void writeArgument(IBuffer* buffer, const T& value)
{
    String(WireType<T>::kTag).serialize(buffer);
    WireType<T>::write(buffer, value);
}

template <class T>
T readResult(IBuffer* buffer)
{
    if (buffer == nullptr) throwUnpackFailure();
    String tag;
    readOrFail([&] { return tag.deserialize(buffer) != 0; });
    if (tag != WireType<T>::kTag) throwUnpackFailure();
    T value{};
    if constexpr (std::is_same_v<T, DeviceVPNInfo>) {
        readOrFail([&] { return WireType<T>::read(buffer, value); });
    } else if (!WireType<T>::read(buffer, value)) {
        // On purpose unlike the record: what the read of a single value raises passes unchanged.
        throwUnpackFailure();
    }
    return value;
}

}  // namespace

VPNRpcCtrlClient::VPNRpcCtrlClient() : SyncProxy(String("Local")) {}

VPNRpcCtrlClient::VPNRpcCtrlClient(QZ::RPC::DispatchClient* connection) : SyncProxy(connection) {}

template <class... Arguments>
void VPNRpcCtrlClient::exchange(unsigned int timeOutMs, const char* method,
                                const Arguments&... arguments)
{
    setTimeOut(timeOutMs);
    // Without a buffer the call goes out all the same.
    if (IBuffer* buffer = argsBuffer(String(method))) {
        WireType<int>::write(buffer, static_cast<int>(sizeof...(arguments)));
        (writeArgument(buffer, arguments), ...);
    }
    sync();
}

template <class Result, class... Arguments>
Result VPNRpcCtrlClient::query(const char* method, const Arguments&... arguments)
{
    exchange(kCallTimeOutMs, method, arguments...);
    return readResult<Result>(resultBuffer());
}

int VPNRpcCtrlClient::changeServerIP(const String& address)
{
    return query<int>("changeServerIP", address);
}

String VPNRpcCtrlClient::getServerIP() { return query<String>("getServerIP"); }

int VPNRpcCtrlClient::setServerIPAndPort(const String& address, const int& port)
{
    return query<int>("setServerIPAndPort", address, port);
}

int VPNRpcCtrlClient::setVPNCA(const String& certificate)
{
    return query<int>("setVPNCA", certificate);
}

int VPNRpcCtrlClient::startVPN(const String& address, const int& port)
{
    return query<int>("startVPN", address, port);
}

int VPNRpcCtrlClient::stopVPN() { return query<int>("stopVPN"); }

int VPNRpcCtrlClient::setBeatInterval(const int& interval)
{
    return query<int>("setBeatInterval", interval);
}

int VPNRpcCtrlClient::setOnline(const bool& online) { return query<int>("setOnline", online); }

void VPNRpcCtrlClient::setVPNEnabled(const bool& enabled)
{
    exchange(kCallTimeOutMs, "setVPNEnabled", enabled);
}

bool VPNRpcCtrlClient::getVPNEnabled() { return query<bool>("getVPNEnabled"); }

void VPNRpcCtrlClient::checkCommState() { exchange(kCheckTimeOutMs, "checkCommState"); }

int VPNRpcCtrlClient::getVpnState() { return query<int>("getVpnState"); }

DeviceVPNInfo VPNRpcCtrlClient::getDeviceVPNInfo()
{
    return query<DeviceVPNInfo>("getDeviceVPNInfo");
}

void VPNRpcCtrlClient::setDeviceSn(const String& number)
{
    exchange(kCallTimeOutMs, "setDeviceSn", number);
}

String VPNRpcCtrlClient::getProductSn() { return query<String>("getProductSn"); }

bool VPNRpcCtrlClient::hasPassword() { return query<bool>("hasPassword"); }

bool VPNRpcCtrlClient::checkPassword(const String& password)
{
    return query<bool>("checkPassword", password);
}

int VPNRpcCtrlClient::setVPNPassword(const String& password)
{
    return query<int>("setVPNPassword", password);
}

String VPNRpcCtrlClient::getVPNPassword() { return query<String>("getVPNPassword"); }

int VPNRpcCtrlClient::setVPNUserName(const String& name)
{
    return query<int>("setVPNUserName", name);
}

String VPNRpcCtrlClient::getVPNUserName() { return query<String>("getVPNUserName"); }
