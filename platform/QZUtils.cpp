#include "platform/QZUtils.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <exception>
#include <utility>

namespace QZ::utils
{

namespace
{

constexpr unsigned int kLengthBytes = 4;

}  // namespace

String& String::trim()
{
    const auto isSpace = [](char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; };
    erase(std::find_if_not(rbegin(), rend(), isSpace).base(), end());
    erase(begin(), std::find_if_not(begin(), end(), isSpace));
    return *this;
}

int String::serialize(IBuffer* buffer) const
{
    const std::uint64_t count = size();
    if (buffer == nullptr || count > UINT32_MAX) return 0;
    const auto length = static_cast<unsigned int>(count);
    const unsigned char prefix[kLengthBytes] = {
        static_cast<unsigned char>(length & 0xFF),
        static_cast<unsigned char>(length >> 8 & 0xFF),
        static_cast<unsigned char>(length >> 16 & 0xFF),
        static_cast<unsigned char>(length >> 24),
    };
    if (buffer->write(prefix, kLengthBytes, 0) == 0) return 0;
    return length == 0 ? 1 : buffer->write(data(), length, 0);
}

int String::deserialize(IBuffer* buffer) { return Deserialize(buffer, *this); }

int Deserialize(IBuffer* buffer, std::string& text)
{
    unsigned char prefix[kLengthBytes] = {};
    if (buffer == nullptr || buffer->read(prefix, kLengthBytes, 0) == 0) return 0;
    const std::uint32_t length = std::uint32_t{prefix[0]} | std::uint32_t{prefix[1]} << 8 |
                                 std::uint32_t{prefix[2]} << 16 | std::uint32_t{prefix[3]} << 24;
    if (length > buffer->size()) return 0;
    // Read beside the target, which a refused read must leave alone.
    std::string value;
    try {
        value.resize(length);
    } catch (const std::exception&) {
        return 0;
    }
    if (length != 0 && buffer->read(value.data(), length, 0) == 0) return 0;
    text = std::move(value);
    return 1;
}

}  // namespace QZ::utils
