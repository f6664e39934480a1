#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace vpnd
{

// Longest certificate text that is looked at, in bytes.
constexpr std::size_t kMaxCertificateTextBytes = 64 * 1024;

// The certificates of a text, written anew: "-----BEGIN CERTIFICATE-----", lines of
// 64 base64 characters, "-----END CERTIFICATE-----", each line ended by one line
// feed, one certificate after the other. Whatever stands outside the
// certificates is left out, a private key too.
//
// Accepts what becomes of a certificate on its way through forms and scripts:
// lines ended by CR LF, a missing last line end, "\n" written as two characters,
// everything on one line, and bare base64 without the BEGIN and END lines.
//
// Nothing when there is no certificate, when the text is longer than
// kMaxCertificateTextBytes, or when one of them is not the base64 form of
// exactly one DER sequence. Whether a server can be checked with it is not known yet.
[[nodiscard]] std::optional<std::string> normalizedCertificates(std::string_view text);

}  // namespace vpnd
