#include "platform/QZNet.h"

namespace QZ::Net
{

namespace
{

// Takes a decimal number without sign, blanks or leading zeros off the text;
// false when there is none or it is above limit.
bool takeNumber(const char*& text, std::uint32_t limit, std::uint32_t& value)
{
    if (*text < '0' || *text > '9') return false;
    // A leading zero would make some readers take the number for octal.
    if (*text == '0' && text[1] >= '0' && text[1] <= '9') return false;
    value = 0;
    for (; *text >= '0' && *text <= '9'; ++text) {
        value = value * 10 + static_cast<std::uint32_t>(*text - '0');
        if (value > limit) return false;
    }
    return true;
}

bool takeChar(const char*& text, char expected)
{
    if (*text != expected) return false;
    ++text;
    return true;
}

bool parseAddress(const char* text, std::uint32_t& ip, std::uint16_t& port)
{
    ip = 0;
    std::uint32_t number = 0;
    for (int i = 0; i < 4; ++i) {
        if (i > 0 && !takeChar(text, '.')) return false;
        if (!takeNumber(text, 255, number)) return false;
        ip = ip << 8 | number;
    }
    if (!takeChar(text, ':') || !takeNumber(text, 65535, number)) return false;
    port = static_cast<std::uint16_t>(number);
    return number != 0 && *text == '\0';
}

}  // namespace

Exception::Exception(const char* func, const char* info)
    : m_func(func != nullptr ? func : ""), m_info(info != nullptr ? info : "")
{
}

Address::Address(const char* text)
{
    if (text == nullptr || !parseAddress(text, m_ip, m_port)) {
        throw Exception("Address", "not an IPv4 address with a port");
    }
}

}  // namespace QZ::Net
