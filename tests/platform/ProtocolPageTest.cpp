#include "tests/platform/ProtocolPage.h"

#include "platform/RpcServer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace
{

using namespace QZ::RPC;
using protocol_page::Example;
using protocol_page::Value;
using QZ::utils::String;

const char* const kMethods[] = {
    "changeServerIP",  "hasPassword",      "checkPassword",  "getServerIP",    "setServerIPAndPort",
    "setVPNCA",        "checkCommState",   "setDeviceSn",    "startVPN",       "stopVPN",
    "setBeatInterval", "getDeviceVPNInfo", "setVPNEnabled",  "getVPNEnabled",  "setOnline",
    "getVpnState",     "getProductSn",     "setVPNPassword", "getVPNPassword", "setVPNUserName",
    "getVPNUserName",
};

std::vector<Example> page() { return protocol_page::load(ORVA_SOURCE_DIR "/docs/rpc-protocol.md"); }

void writeInt(ByteBuffer& buffer, std::int32_t value)
{
    const auto bits = static_cast<std::uint32_t>(value);
    for (int i = 0; i < 4; ++i) {
        const auto byte = static_cast<unsigned char>(bits >> 8 * i & 0xFF);
        buffer.write(&byte, 1, 0);
    }
}

const char* tagOf(const Value& value)
{
    return std::holds_alternative<bool>(value)           ? "bool"
           : std::holds_alternative<std::int32_t>(value) ? "int"
                                                         : "QZ::utils::String";
}

void writeValue(ByteBuffer& buffer, const Value& value)
{
    if (const auto* number = std::get_if<std::int32_t>(&value)) {
        writeInt(buffer, *number);
    } else if (const auto* flag = std::get_if<bool>(&value)) {
        const unsigned char byte = *flag ? 1 : 0;
        buffer.write(&byte, 1, 0);
    } else {
        String(std::get<std::string>(value)).serialize(&buffer);
    }
}

std::vector<unsigned char> encode(const Example& example)
{
    ByteBuffer buffer;
    if (example.isRequest) {
        beginRequest(buffer, example.callId, example.method);
        writeInt(buffer, static_cast<std::int32_t>(example.values.size()));
    } else {
        beginReply(buffer, example.callId,
                   example.type == "error" ? ReplyStatus::kError : ReplyStatus::kResult);
    }
    const bool isRecord = example.type == "DeviceVPNInfo";
    if (isRecord) String(example.type).serialize(&buffer);
    for (const Value& value : example.values) {
        if (!isRecord && example.type != "error") String(tagOf(value)).serialize(&buffer);
        writeValue(buffer, value);
    }
    EXPECT_TRUE(endFrame(buffer));
    return buffer.bytes();
}

TEST(ProtocolPageTest, ShowsARequestAndAReplyOfEveryMethod)
{
    std::multiset<std::string> requests;
    std::multiset<std::string> replies;
    std::multiset<std::string> errors;
    for (const Example& example : page()) {
        (example.isRequest         ? requests
         : example.type == "error" ? errors
                                   : replies)
            .insert(example.method);
    }
    for (const char* const method : kMethods) {
        EXPECT_EQ(requests.count(method), 1u) << method;
        EXPECT_EQ(replies.count(method), 1u) << method;
    }
    EXPECT_EQ(replies.size(), std::size(kMethods));
    EXPECT_EQ(errors.size(), 1u);
}

TEST(ProtocolPageTest, EveryByteIsWhatTheCodeWrites)
{
    const std::vector<Example> examples = page();
    ASSERT_EQ(examples.size(), 44u);
    for (const Example& example : examples) {
        EXPECT_EQ(example.bytes, encode(example))
            << (example.isRequest ? "request " : "reply ") << example.method;
    }
}

TEST(ProtocolPageTest, RepliesStandBehindTheirRequestWithItsCallId)
{
    const std::vector<Example> examples = page();
    for (std::size_t i = 0; i + 1 < examples.size(); i += 2) {
        EXPECT_TRUE(examples[i].isRequest) << examples[i].method;
        EXPECT_FALSE(examples[i + 1].isRequest) << examples[i].method;
        EXPECT_EQ(examples[i].method, examples[i + 1].method);
        EXPECT_EQ(examples[i].callId, examples[i + 1].callId);
    }
}

// Answers with the block of the page's reply.
class PageService final : public IDispatcher
{
public:
    explicit PageService(const std::vector<Example>& examples) : m_examples(examples) {}

    const char* dispatch(std::string_view method, QZ::utils::IBuffer&,
                         QZ::utils::IBuffer& result) override
    {
        for (const Example& example : m_examples) {
            if (example.isRequest || example.method != method) continue;
            if (example.type == "error") return std::get<std::string>(example.values[0]).c_str();
            constexpr std::size_t kHeadBytes = 9;
            const std::uint64_t count = example.bytes.size() - kHeadBytes;
            result.write(example.bytes.data() + kHeadBytes, static_cast<unsigned int>(count), 0);
            return nullptr;
        }
        return "not on the page";
    }

private:
    const std::vector<Example>& m_examples;
};

TEST(ProtocolPageTest, ASessionTakesTheRequestsAndGivesTheReplies)
{
    const std::vector<Example> examples = page();
    PageService service(examples);
    ServerSession session(service);
    for (std::size_t i = 0; i + 1 < examples.size(); i += 2) {
        const std::vector<unsigned char>& request = examples[i].bytes;
        std::copy(request.begin(), request.end(), session.prepare(request.size()));
        ASSERT_TRUE(session.received(request.size())) << examples[i].method;
        EXPECT_EQ(session.output(), examples[i + 1].bytes) << examples[i].method;
        session.sent();
    }
}

TEST(ProtocolPageTest, NamesTheCapsOfTheCode)
{
    std::ifstream file(ORVA_SOURCE_DIR "/docs/rpc-protocol.md");
    const std::string text((std::istreambuf_iterator<char>(file)),
                           std::istreambuf_iterator<char>());
    EXPECT_NE(text.find("1 to " + std::to_string(kMaxFrameBytes) + "\n"), std::string::npos);
    EXPECT_NE(text.find("1 to " + std::to_string(kMaxMethodBytes) + " bytes"), std::string::npos);
}

TEST(ProtocolPageTest, TheParserRefusesWhatIsNotLaidOutRight)
{
    std::vector<unsigned char> bytes;
    EXPECT_THROW(protocol_page::parseBytes("0", bytes), std::runtime_error);
    EXPECT_THROW(protocol_page::parseBytes("0G", bytes), std::runtime_error);
    EXPECT_THROW(protocol_page::parseBytes("00 1", bytes), std::runtime_error);
    EXPECT_THROW(protocol_page::parseBytes("00-11", bytes), std::runtime_error);
    EXPECT_THROW(protocol_page::parseHead("request stopVPN() id"), std::runtime_error);
    EXPECT_THROW(protocol_page::parseHead("request stopVPN(1 2) id 1"), std::runtime_error);
    EXPECT_THROW(protocol_page::parseHead("reply stopVPN() id 1 2"), std::runtime_error);
    EXPECT_THROW(protocol_page::load("/nowhere"), std::runtime_error);
}

}  // namespace
