#include "service/core/Validation.h"

#include "common/Utf8.h"

#include <arpa/inet.h>
#include <openssl/crypto.h>

#include <algorithm>
#include <cstdint>
#include <string>

namespace vpnd
{
namespace
{

// Not those of <cctype>: the locale has no say here.
bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }
bool isHexDigit(char c) { return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }
bool isPrintable(char c) { return c >= ' ' && c <= '~'; }

template <class Predicate>
bool all(std::string_view text, Predicate predicate)
{
    return std::all_of(text.begin(), text.end(), predicate);
}

bool isNumericAddress(int family, std::string_view text)
{
    unsigned char address[16];
    return inet_pton(family, std::string(text).c_str(), address) == 1;
}

bool isLabel(std::string_view label)
{
    return !label.empty() && label.size() <= 63 && label.front() != '-' && label.back() != '-' &&
           all(label, [](char c) { return isLetter(c) || isDigit(c) || c == '-'; });
}

bool looksLikeNumber(std::string_view label)
{
    if (all(label, isDigit)) return true;
    return label.size() >= 2 && label[0] == '0' && (label[1] == 'x' || label[1] == 'X') &&
           all(label.substr(2), isHexDigit);
}

bool isHostName(std::string_view text)
{
    for (;;) {
        const std::size_t dot = text.find('.');
        const std::string_view label = text.substr(0, dot);
        if (!isLabel(label)) return false;
        if (dot == std::string_view::npos) return !looksLikeNumber(label);
        text.remove_prefix(dot + 1);
    }
}

}  // namespace

bool isServerAddress(std::string_view text)
{
    if (text.empty() || text.size() > kMaxAddressBytes) return false;
    // First of all: a zero byte would end the text for inet_pton.
    const bool plain = all(
        text, [](char c) { return isLetter(c) || isDigit(c) || c == '.' || c == ':' || c == '-'; });
    if (!plain) return false;
    if (text.find(':') != std::string_view::npos) return isNumericAddress(AF_INET6, text);
    return isNumericAddress(AF_INET, text) || isHostName(text);
}

bool isPort(std::int32_t port) { return port >= 1 && port <= 65535; }

bool isCredential(std::string_view text)
{
    return !text.empty() && text.size() <= kMaxCredentialBytes && all(text, isPrintable);
}

bool isDeviceNumber(std::string_view text)
{
    return !text.empty() && text.size() <= kMaxDeviceNumberBytes && all(text, [](char c) {
        return isLetter(c) || isDigit(c) ||
               std::string_view("-_.:/").find(c) != std::string_view::npos;
    });
}

bool isDeviceName(std::string_view text)
{
    if (text.empty() || text.size() > kMaxDeviceNameBytes) return false;
    while (!text.empty()) {
        const common::Utf8Character character = common::firstCharacter(text);
        const std::uint32_t c = character.value;
        if (!character.valid || c < 0x20 || (c >= 0x7f && c <= 0x9f) || c == '"' || c == '\'' ||
            c == '\\')
            return false;
        text.remove_prefix(character.bytes);
    }
    return true;
}

bool isBeatInterval(std::int32_t seconds) { return seconds >= 1 && seconds <= kMaxBeatIntervalS; }

bool equalsSecret(std::string_view given, std::string_view secret)
{
    // Against itself when the lengths differ, so that this costs the same.
    const bool sameLength = given.size() == secret.size();
    const std::string_view other = sameLength ? secret : given;
    return CRYPTO_memcmp(given.data(), other.data(), given.size()) == 0 && sameLength;
}

}  // namespace vpnd
