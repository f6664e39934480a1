#include "service/rpc/RpcValues.h"

#include <cstring>

namespace vpnd
{
namespace
{

using QZ::utils::IBuffer;
using QZ::utils::String;

constexpr const char* kStringTag = "QZ::utils::String";
constexpr const char* kIntTag = "int";
constexpr const char* kBoolTag = "bool";
constexpr const char* kDeviceInfoTag = "DeviceVPNInfo";

// Little-endian on every processor.
bool writeInt(IBuffer& block, std::int32_t value)
{
    const auto bits = static_cast<std::uint32_t>(value);
    const unsigned char bytes[4] = {
        static_cast<unsigned char>(bits & 0xff), static_cast<unsigned char>((bits >> 8) & 0xff),
        static_cast<unsigned char>((bits >> 16) & 0xff), static_cast<unsigned char>(bits >> 24)};
    return block.write(bytes, sizeof bytes, 0) != 0;
}

bool writeText(IBuffer& block, const std::string& text)
{
    return String(text).serialize(&block) != 0;
}

}  // namespace

ArgumentReader::ArgumentReader(IBuffer& block, std::int32_t expected) : m_block(block)
{
    std::int32_t count = 0;
    if (!readInt(count)) {
        refuse("argument count missing");
    } else if (count != expected) {
        refuse("wrong number of arguments");
    }
}

void ArgumentReader::read(std::string& value)
{
    if (!readTag(kStringTag)) return;
    // Allocates only what the block really holds, which the frame's cap bounds.
    if (QZ::utils::Deserialize(&m_block, value) == 0) refuse("argument too short");
}

void ArgumentReader::read(std::int32_t& value)
{
    if (readTag(kIntTag) && !readInt(value)) refuse("argument too short");
}

void ArgumentReader::read(bool& value)
{
    if (!readTag(kBoolTag)) return;
    unsigned char byte = 0;
    if (m_block.read(&byte, 1, 0) == 0) {
        refuse("argument too short");
    } else if (byte > 1) {
        refuse("bool that is neither 0 nor 1");
    } else {
        value = byte == 1;
    }
}

const char* ArgumentReader::finish()
{
    if (m_block.size() != 0) refuse("bytes left over after the arguments");
    return m_refusal;
}

bool ArgumentReader::readTag(const char* expected)
{
    if (m_refusal) return false;
    String tag;
    if (tag.deserialize(&m_block) == 0) {
        refuse("argument too short");
    } else if (tag != expected) {
        refuse("wrong argument type");
    }
    return !m_refusal;
}

bool ArgumentReader::readInt(std::int32_t& value)
{
    unsigned char bytes[4];
    if (m_block.read(bytes, sizeof bytes, 0) == 0) return false;
    const std::uint32_t bits =
        static_cast<std::uint32_t>(bytes[0]) | static_cast<std::uint32_t>(bytes[1]) << 8 |
        static_cast<std::uint32_t>(bytes[2]) << 16 | static_cast<std::uint32_t>(bytes[3]) << 24;
    std::memcpy(&value, &bits, sizeof value);
    return true;
}

void ArgumentReader::refuse(const char* why)
{
    if (!m_refusal) m_refusal = why;
}

bool writeResult(IBuffer& block, const std::string& value)
{
    return writeText(block, kStringTag) && writeText(block, value);
}

bool writeResult(IBuffer& block, std::int32_t value)
{
    return writeText(block, kIntTag) && writeInt(block, value);
}

bool writeResult(IBuffer& block, bool value)
{
    const unsigned char byte = value ? 1 : 0;
    return writeText(block, kBoolTag) && block.write(&byte, 1, 0) != 0;
}

bool writeResult(IBuffer& block, const DeviceInfo& value)
{
    return writeText(block, kDeviceInfoTag) && writeInt(block, value.status) &&
           writeText(block, value.serverIP) && writeInt(block, value.serverPort) &&
           writeText(block, value.deviceName) && writeText(block, value.vpnIP) &&
           writeInt(block, value.beatInterval);
}

}  // namespace vpnd
