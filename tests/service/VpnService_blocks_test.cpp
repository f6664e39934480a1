#include "tests/service/ServiceFixture.h"
#include "tests/service/TestCertificates.h"

#include <string>
#include <vector>

// Every method against every way in which its argument block can be wrong.
namespace
{

struct MethodCase {
    const char* name;
    std::vector<std::string> values;       // right arguments, each with its tag
    std::vector<std::string> wrongValues;  // the same with other tags
    const char* resultTag;                 // "" for a method without result
};

std::string boolByte(char byte) { return raw::text("bool") + std::string(1, byte); }

const std::string kSomeText = raw::string("10.0.0.1");
const std::string kSomeInt = raw::integer(1194);
const std::string kSomeBool = raw::boolean(true);

const std::vector<MethodCase>& methods()
{
    static const std::vector<MethodCase> all = {
        {"changeServerIP", {kSomeText}, {kSomeInt}, "int"},
        {"hasPassword", {}, {}, "bool"},
        {"checkPassword", {kSomeText}, {kSomeBool}, "bool"},
        {"getServerIP", {}, {}, "QZ::utils::String"},
        {"setServerIPAndPort", {kSomeText, kSomeInt}, {kSomeInt, kSomeText}, "int"},
        {"setVPNCA", {raw::string(certificates::ca())}, {kSomeInt}, "int"},
        {"checkCommState", {}, {}, ""},
        {"setDeviceSn", {kSomeText}, {kSomeInt}, ""},
        {"startVPN", {kSomeText, kSomeInt}, {kSomeBool, kSomeBool}, "int"},
        {"stopVPN", {}, {}, "int"},
        {"setBeatInterval", {raw::integer(60)}, {kSomeText}, "int"},
        {"getDeviceVPNInfo", {}, {}, "DeviceVPNInfo"},
        {"setVPNEnabled", {raw::boolean(false)}, {kSomeInt}, ""},
        {"getVPNEnabled", {}, {}, "bool"},
        {"setOnline", {raw::boolean(false)}, {kSomeText}, "int"},
        {"getVpnState", {}, {}, "int"},
        {"getProductSn", {}, {}, "QZ::utils::String"},
        {"setVPNPassword", {kSomeText}, {kSomeInt}, "int"},
        {"getVPNPassword", {}, {}, "QZ::utils::String"},
        {"setVPNUserName", {kSomeText}, {kSomeInt}, "int"},
        {"getVPNUserName", {}, {}, "QZ::utils::String"},
    };
    return all;
}

std::string blockOf(const std::vector<std::string>& values, int countTooMany = 0)
{
    std::string block = raw::i32(static_cast<int>(values.size()) + countTooMany);
    for (const std::string& value : values) block += value;
    return block;
}

class VpnServiceBlocksTest : public ServiceFixture
{
protected:
    void refuses(const std::string& method, const std::string& block, const std::string& why)
    {
        EXPECT_EQ(call(method, block), "refused: " + why) << method;
        EXPECT_EQ(store().saves, 0) << method;
    }
};

TEST_F(VpnServiceBlocksTest, EachOfThe21MethodsTakesItsArgumentsAndAnswersWithItsTag)
{
    EXPECT_EQ(methods().size(), 21u);
    for (const MethodCase& method : methods()) {
        begin(exampleSettings());
        const std::string result = call(method.name, blockOf(method.values));
        const std::string tag = method.resultTag;
        if (tag.empty()) {
            EXPECT_EQ(result, "") << method.name;
        } else {
            EXPECT_EQ(result.substr(0, 4 + tag.size()), raw::text(tag)) << method.name;
            EXPECT_GT(result.size(), 4 + tag.size()) << method.name;
        }
    }
}

TEST_F(VpnServiceBlocksTest, AWrongCountIsRefused)
{
    for (const MethodCase& method : methods()) {
        for (const int tooMany : {1, -1, 0x7ffffff0, -1000}) {
            refuses(method.name, blockOf(method.values, tooMany), "wrong number of arguments");
        }
        std::vector<std::string> more = method.values;
        more.push_back(kSomeInt);
        refuses(method.name, blockOf(more), "wrong number of arguments");
    }
}

TEST_F(VpnServiceBlocksTest, AWrongTagIsRefused)
{
    for (const MethodCase& method : methods()) {
        for (std::size_t i = 0; i < method.values.size(); ++i) {
            std::vector<std::string> values = method.values;
            values[i] = method.wrongValues[i];
            refuses(method.name, blockOf(values), "wrong argument type");
        }
    }
}

TEST_F(VpnServiceBlocksTest, TagsAreComparedExactly)
{
    for (const std::string tag : {"Int", "int ", "in", "int\n", ""}) {
        refuses("setBeatInterval", raw::args(raw::text(tag) + raw::i32(60)), "wrong argument type");
    }
    refuses("setBeatInterval", raw::args(raw::text(std::string("int\0", 4)) + raw::i32(60)),
            "wrong argument type");
    refuses("setVPNPassword", raw::args(raw::text("QZ::utils::string") + raw::text("abcdef")),
            "wrong argument type");
}

TEST_F(VpnServiceBlocksTest, ABlockCutAnywhereIsRefused)
{
    for (const MethodCase& method : methods()) {
        const std::string block = blockOf(method.values);
        for (std::size_t length = 0; length < block.size(); ++length) {
            refuses(method.name, block.substr(0, length),
                    length < 4 ? "argument count missing" : "argument too short");
        }
    }
}

TEST_F(VpnServiceBlocksTest, BytesLeftOverAreRefused)
{
    for (const MethodCase& method : methods()) {
        for (const std::string& extra : {std::string(1, '\0'), std::string("x"), kSomeInt}) {
            refuses(method.name, blockOf(method.values) + extra,
                    "bytes left over after the arguments");
        }
    }
}

TEST_F(VpnServiceBlocksTest, ALengthBeyondTheBlockIsRefused)
{
    for (const std::uint32_t length : {7u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
        refuses("setVPNPassword",
                raw::args(raw::text("QZ::utils::String") + raw::u32(length) + "abcdef"),
                "argument too short");
        refuses("setVPNPassword", raw::args(raw::u32(length) + "int"), "argument too short");
    }
}

TEST_F(VpnServiceBlocksTest, ABoolIsZeroOrOneAndNothingElse)
{
    for (const char byte : {'\x02', '\x7f', '\x80', '\xff'}) {
        refuses("setVPNEnabled", raw::args(boolByte(byte)), "bool that is neither 0 nor 1");
        refuses("setOnline", raw::args(boolByte(byte)), "bool that is neither 0 nor 1");
    }
}

TEST_F(VpnServiceBlocksTest, MethodNamesAreComparedExactly)
{
    for (const std::string name : {"getVPNState", "getvpnstate", "getVpnState ", " getVpnState", "",
                                   "getVpnStat", "getVpnStateX", "changeServerIp", "setDeviceSN"}) {
        refuses(name, raw::args(), "unknown method");
    }
    refuses(std::string("getVpnState\0", 12), raw::args(), "unknown method");
}

}  // namespace
