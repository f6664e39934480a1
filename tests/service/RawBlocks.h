#pragma once

#include <cstdint>
#include <string>

// Argument and result blocks as bytes, built without the code under test.
namespace raw
{

inline std::string u32(std::uint32_t value)
{
    std::string bytes;
    for (unsigned int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(static_cast<unsigned char>((value >> shift) & 0xff));
    }
    return bytes;
}

inline std::string i32(std::int32_t value) { return u32(static_cast<std::uint32_t>(value)); }

// Length and bytes, as tags and the strings of the record travel.
inline std::string text(const std::string& bytes)
{
    return u32(static_cast<std::uint32_t>(bytes.size())) + bytes;
}

// Values with their tags.
inline std::string string(const std::string& value)
{
    return text("QZ::utils::String") + text(value);
}
inline std::string integer(std::int32_t value) { return text("int") + i32(value); }
inline std::string boolean(bool value)
{
    return text("bool") + std::string(1, value ? '\1' : '\0');
}

// Argument blocks.
inline std::string args() { return i32(0); }
inline std::string args(const std::string& one) { return i32(1) + one; }
inline std::string args(const std::string& one, const std::string& two)
{
    return i32(2) + one + two;
}

// A request as it travels.
inline std::string request(std::uint32_t callId, const std::string& method,
                           const std::string& block)
{
    return text(u32(callId) + text(method) + block);
}

// A reply with a result block.
inline std::string reply(std::uint32_t callId, const std::string& block)
{
    return text(u32(callId) + std::string(1, '\0') + block);
}

// A reply that refuses.
inline std::string refusal(std::uint32_t callId, const std::string& why)
{
    return text(u32(callId) + std::string(1, '\1') + text(why));
}

}  // namespace raw
