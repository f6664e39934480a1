#include "Service.h"

#include "platform/QZNet.h"

#include <cstdint>
#include <cstring>
#include <string>

namespace QZ::RPC
{

namespace
{

void putText(utils::IBuffer& block, const char* text) { utils::String(text).serialize(&block); }

void putNumber(utils::IBuffer& block, std::int32_t number)
{
    block.write(&number, sizeof number, 0);
}

void putInt(utils::IBuffer& block, std::int32_t number)
{
    putText(block, "int");
    putNumber(block, number);
}

void putString(utils::IBuffer& block, const char* text)
{
    putText(block, "QZ::utils::String");
    putText(block, text);
}

// The first argument of a call, which is a text: behind their number and its type.
std::string firstText(utils::IBuffer& arguments)
{
    std::int32_t count = 0;
    std::string type;
    std::string text;
    arguments.read(&count, sizeof count, 0);
    if (utils::Deserialize(&arguments, type) == 0 || utils::Deserialize(&arguments, text) == 0) {
        throw Net::Exception("answer", "no text among the arguments");
    }
    return text;
}

struct Method {
    const char* name;
    void (*run)(utils::IBuffer& arguments, utils::IBuffer& result);
};

constexpr Method kMethods[] = {
    {"getDeviceVPNInfo",
     [](utils::IBuffer&, utils::IBuffer& result) {
         putText(result, "DeviceVPNInfo");
         putNumber(result, 0);
         putText(result, "vpn.example.com");
         putNumber(result, 1194);
         putText(result, "panel-7");
         putText(result, "10.8.0.7");
         putNumber(result, 30);
     }},
    {"getVPNEnabled",
     [](utils::IBuffer&, utils::IBuffer& result) {
         putText(result, "bool");
         result.write("\1", 1, 0);
     }},
    {"getVpnState", [](utils::IBuffer&, utils::IBuffer& result) { putInt(result, 5); }},
    {"getProductSn", [](utils::IBuffer&, utils::IBuffer& result) { putString(result, "SN-0042"); }},
    {"getVPNPassword",
     [](utils::IBuffer&, utils::IBuffer& result) { putString(result, "abc123"); }},
    {"getVPNUserName",
     [](utils::IBuffer&, utils::IBuffer& result) { putString(result, "lineoperator"); }},
    // Starts towards one server only.
    {"startVPN",
     [](utils::IBuffer& arguments, utils::IBuffer& result) {
         putInt(result, firstText(arguments) == "10.0.0.1" ? 0 : 2);
     }},
    {"setVPNUserName",
     [](utils::IBuffer& arguments, utils::IBuffer& result) {
         putInt(result, firstText(arguments) == "otheroperator" ? 0 : 1);
     }},
    {"setDeviceSn",
     [](utils::IBuffer& arguments, utils::IBuffer&) {
         if (firstText(arguments) == "fail") throw Net::Exception("answer", "told to fail");
     }},
    {"stopVPN", [](utils::IBuffer&, utils::IBuffer& result) { putText(result, "float"); }},
};

}  // namespace

bool answer(const utils::String& method, utils::IBuffer& arguments, utils::IBuffer& result)
{
    for (const Method& known : kMethods) {
        if (std::strcmp(method.c_str(), known.name) != 0) continue;
        known.run(arguments, result);
        return true;
    }
    return false;
}

}  // namespace QZ::RPC
