#include "tests/scripted/ScriptedService.h"

#include "platform/HostTools.h"
#include "platform/QZNet.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace scripted
{

namespace
{
std::unique_ptr<Service> theService = std::make_unique<Service>();
}

Service& service() { return *theService; }
void resetService() { theService = std::make_unique<Service>(); }

void raiseNetException() { throw QZ::Net::Exception("scripted", "fault"); }
void raiseBlockError() { throw QZ::utils::deserialize_block_error("scripted block"); }
void raiseOther() { throw std::runtime_error("scripted"); }
void raiseNumber() { throw 42; }

Bytes encoded(int value)
{
    Bytes bytes(sizeof value, '\0');
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

Bytes encoded(const std::string& text) { return encoded(static_cast<int>(text.size())) + text; }

Bytes result(int value) { return encoded(std::string("int")) + encoded(value); }
Bytes result(bool value) { return encoded(std::string("bool")) + Bytes(1, value ? '\1' : '\0'); }
Bytes result(const std::string& value)
{
    return encoded(std::string("QZ::utils::String")) + encoded(value);
}
Bytes result(const DeviceVPNInfo& value)
{
    return encoded(std::string("DeviceVPNInfo")) + encoded(value.status) + encoded(value.serverIP) +
           encoded(value.serverPort) + encoded(value.deviceName) + encoded(value.vpnIP) +
           encoded(value.beatInterval);
}

Answer& Service::replies(const std::string& method, const Bytes& block)
{
    Answer answer;
    answer.block = block;
    return answers[method] = answer;
}

Answer& Service::fails(const std::string& method, const Fault& fault)
{
    Answer answer;
    answer.atSync = fault;
    return answers[method] = answer;
}

void Service::answersAll(int status)
{
    DeviceVPNInfo info;
    info.status = status;
    info.serverIP = "vpn.example.com";
    info.serverPort = 1194;
    info.deviceName = "panel 7";
    info.vpnIP = "10.8.0.2";
    info.beatInterval = 30;
    answer("getDeviceVPNInfo", info);
    answer("getVPNEnabled", true);
    answer("getVpnState", 5);
    answer("getProductSn", "SN-0001");
    answer("getVPNPassword", "example1");
    answer("getVPNUserName", "exampleuser");
}

int Service::count(const std::string& event) const
{
    return static_cast<int>(std::count(events.begin(), events.end(), event));
}

}  // namespace scripted

std::int64_t Orva_GetTickCount() { return scripted::service().tickMs; }

void watch_dog_report(pthread_t)
{
    scripted::Service& service = scripted::service();
    ++service.watchdogReports;
    service.events.push_back("watchdog");
    if (service.atWatchdog) service.atWatchdog();
}
