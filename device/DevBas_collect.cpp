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
        return channel < flags.GetSize() && flags[channel] == kFlagRequested;
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
    if (flags[index] != kFlagRequested) return;
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
    const int result =
        status < std::size(VPN_STATE_RESULT_CODE) ? VPN_STATE_RESULT_CODE[status] : kResultVpnOther;
    const bool enabled = askEnabled(client, result != kResultVpnDisabled);

    cycle.store(kChannelServerAddress, info.serverIP);
    cycle.store(kChannelServerPort, info.serverPort);
    cycle.store(kChannelVpnAddress, info.vpnIP);
    cycle.store(kChannelBeatInterval, info.beatInterval);
    cycle.store(kChannelDeviceName, info.deviceName);
    cycle.store(kChannelVpnEnabled, enabled);
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
        for (int i = 0; i < flags.GetSize(); ++i) flags[i] = kFlagRequested;
    }
    return loadData(data, flags, numbers, texts);
}

int CDevBas::loadData(ORVA_DATA& data, CArray<int, int>& flags, CArray<double, double>& numbers,
                      CStringArray& texts)
{
    _ticks = HostTools::tickCount();
    if (!initData(data.pDevData)) return kResultNoService;

    Cycle cycle{data, flags, numbers, texts};
    try {
        int result = kResultOk;
        for (int i = kChannelResult; i <= kChannelVpnEnabled; ++i) {
            if (cycle.requests(i)) {
                result = collectSettings(cycle);
                break;
            }
        }
        collectOne(cycle, kChannelVpnState, &VPNRpcCtrlClient::getVpnState);
        collectOne(cycle, kChannelDeviceSn, &VPNRpcCtrlClient::getProductSn);
        collectOne(cycle, kChannelVpnPassword, &VPNRpcCtrlClient::getVPNPassword);
        collectOne(cycle, kChannelVpnUserName, &VPNRpcCtrlClient::getVPNUserName);
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
