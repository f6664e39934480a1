#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

// What may be stored. Nobody before the service checks any of it.
namespace vpnd
{

constexpr std::size_t kMaxAddressBytes = 253;
constexpr std::size_t kMaxCredentialBytes = 128;
constexpr std::size_t kMaxDeviceNumberBytes = 64;
constexpr std::size_t kMaxDeviceNameBytes = 64;
constexpr std::int32_t kMaxBeatIntervalS = 3600;

// An IPv4 address as four decimal numbers, an IPv6 address without brackets and
// zone, or a host name: labels of 1 to 63 letters, digits and inner "-". A name
// that a resolver might take for a number (last label 123 or 0x7f) is refused.
[[nodiscard]] bool isServerAddress(std::string_view text);

// 1 to 65535.
[[nodiscard]] bool isPort(std::int32_t port);

// A user name or a password: 1 to 128 printable ASCII characters, blanks included.
[[nodiscard]] bool isCredential(std::string_view text);

// 1 to 64 letters, digits, "-", "_", ".", ":" and "/".
[[nodiscard]] bool isDeviceNumber(std::string_view text);

// 1 to 64 bytes of UTF-8 without control characters, quotes and backslashes.
[[nodiscard]] bool isDeviceName(std::string_view text);

// 1 to 3600 seconds.
[[nodiscard]] bool isBeatInterval(std::int32_t seconds);

// Whether both hold the same bytes; the time it takes depends on the given text
// alone, not on where the two differ.
[[nodiscard]] bool equalsSecret(std::string_view given, std::string_view secret);

}  // namespace vpnd
