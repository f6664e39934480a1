#include "device/DevBas.h"
#include "device/DevTables.h"
#include "device/ServiceCall.h"
#include "device/ServiceFailure.h"
#include "host/StatusCodes.h"
#include "platform/HostTools.h"

CDevBas::~CDevBas() = default;

std::int64_t CDevBas::_ticks = 0;

namespace
{

// Line number in the diagnostic; a constant of the output, not a place in this file.
constexpr int kDiagnosticLine = 159;
constexpr std::int64_t kWatchdogIntervalMs = 10000;

// What one cycle works on: the host's record and the arrays it handed down.
struct Cycle {
    ORVA_DATA& data;
    CArray<int, int>& flags;
    CArray<double, double>& numbers;
    CStringArray& texts;

    bool requests(int channel) const
    {
        return channel < flags.GetSize() && flags[channel] == FLAG_REQUESTED;
    }
    void store(int channel, double value)
    {
        CDevBas::_SetValue(data, channel, value, flags, numbers);
    }
    void store(int channel, const std::string& value)
    {
        CDevBas::_SetValue(data, channel, CString(value.c_str()), flags, texts);
    }
};

// Where the request flag is set and both arrays reach: stores the value and marks it ready.
template <class Array, class Value>
void setRequested(int index, const Value& value, CArray<int, int>& flags, Array& target)
{
    if (index < 0 || index >= flags.GetSize() || index >= target.GetSize()) return;
    if (flags[index] != FLAG_REQUESTED) return;
    target[index] = value;
    flags[index] = FLAG_VALUE_READY;
}

bool isDeviceChannel(const ORVA_DATA& data, int index)
{
    return data.pDevData != nullptr && index > 0 && index <= data.pDevData->nMaxChannel;
}

// The service's answer, or the fallback when it fails: the one failure that a cycle survives.
bool askEnabled(VPNRpcCtrlClient& client, bool fallback)
{
    bool enabled = fallback;
    try {
        const bool answer = client.getVPNEnabled();
        CDevBas::watch_dog_report();
        enabled = answer;
    } catch (const QZ::Net::Exception&) {
        // On purpose silent, and the connection stays.
    }
    return enabled;
}

// Channels 1 to 6 and the cycle's result code.
int collectSettings(Cycle& cycle)
{
    QZ::RPC::DispatchClient* const connection = connectionOf(cycle.data);
    VPNRpcCtrlClient client(connection);
    const DeviceVPNInfo info = client.getDeviceVPNInfo();
    CDevBas::watch_dog_report();
    // The client must not outlive its connection, which a host that came back
    // into the driver from its watchdog may have dropped.
    if (connectionOf(cycle.data) != connection) throw QZ::Net::Exception("loadData", "interrupted");

    // Unsigned, so that a negative status is beyond the table too.
    const auto status = static_cast<std::uint32_t>(info.status);
    const int result = status < std::size(VPN_STATE_RESULT_CODE) ? VPN_STATE_RESULT_CODE[status]
                                                                 : RESULT_VPN_OTHER;
    const bool enabled = askEnabled(client, result != RESULT_VPN_DISABLED);

    cycle.store(CHANNEL_SERVER_ADDRESS, info.serverIP);
    cycle.store(CHANNEL_SERVER_PORT, info.serverPort);
    cycle.store(CHANNEL_VPN_ADDRESS, info.vpnIP);
    cycle.store(CHANNEL_BEAT_INTERVAL, info.beatInterval);
    cycle.store(CHANNEL_DEVICE_NAME, info.deviceName);
    cycle.store(CHANNEL_VPN_ENABLED, enabled);
    return result;
}

// One of the channels that have a call of their own.
template <class Result>
void collectOne(Cycle& cycle, int channel, Result (VPNRpcCtrlClient::*ask)())
{
    if (!cycle.requests(channel)) return;
    VPNRpcCtrlClient client(connectionOf(cycle.data));
    const Result answer = (client.*ask)();
    CDevBas::watch_dog_report();
    cycle.store(channel, answer);
}

}  // namespace

int CDevBas::mfCollectDevData(ORVA_DATA& data, CArray<int, int>& flags,
                              CArray<double, double>& numbers, CStringArray& texts)
{
    if (data.pDevData != nullptr && data.pDevData->bNoConfig) {
        for (int i = 0; i < flags.GetSize(); ++i) flags[i] = FLAG_REQUESTED;
    }
    return loadData(data, flags, numbers, texts);
}

int CDevBas::loadData(ORVA_DATA& data, CArray<int, int>& flags, CArray<double, double>& numbers,
                      CStringArray& texts)
{
    _ticks = HostTools::tickCount();
    if (!initData(data.pDevData)) return RESULT_NO_SERVICE;

    Cycle cycle{data, flags, numbers, texts};
    try {
        int result = RESULT_OK;
        for (int i = CHANNEL_RESULT; i <= CHANNEL_VPN_ENABLED; ++i) {
            if (cycle.requests(i)) {
                result = collectSettings(cycle);
                break;
            }
        }
        collectOne(cycle, CHANNEL_VPN_STATE, &VPNRpcCtrlClient::getVpnState);
        collectOne(cycle, CHANNEL_DEVICE_SN, &VPNRpcCtrlClient::getProductSn);
        collectOne(cycle, CHANNEL_VPN_PASSWORD, &VPNRpcCtrlClient::getVPNPassword);
        collectOne(cycle, CHANNEL_VPN_USER_NAME, &VPNRpcCtrlClient::getVPNUserName);
        return result;
    } catch (const QZ::Net::Exception& failure) {
        return endWithServiceFailure("loadData", kDiagnosticLine, failure, data.pDevData);
    }
}

void CDevBas::_SetValue(ORVA_DATA& data, int index, double value, CArray<int, int>& flags,
                        CArray<double, double>& numbers)
{
    if (isDeviceChannel(data, index)) setRequested(index, value, flags, numbers);
}

void CDevBas::_SetValue(ORVA_DATA& data, int index, const CString& value, CArray<int, int>& flags,
                        CStringArray& texts)
{
    if (isDeviceChannel(data, index)) setRequested(index, value, flags, texts);
}

void CDevBas::watch_dog_report()
{
    const std::int64_t now = HostTools::tickCount();
    // A host tick may jump by any amount: the difference wraps instead of overflowing.
    const auto elapsedMs = static_cast<std::int64_t>(static_cast<std::uint64_t>(now) -
                                                     static_cast<std::uint64_t>(_ticks));
    if (elapsedMs <= kWatchdogIntervalMs) return;
    _ticks = now;
    HostTools::feedWatchdog(pthread_self());
}
