#pragma once

#include "service/pki/Certificate.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace vpnd
{

// Longest certificate text that is looked at, in bytes, and most certificates in it.
constexpr std::size_t kMaxCertificateTextBytes = 64 * 1024;
constexpr std::size_t kMaxCertificates = 32;

struct Certificates {
    const char* refusal = nullptr;  // why the text is not accepted; the rest is empty then
    // The certificates, written anew: "-----BEGIN CERTIFICATE-----", lines of 64 base64
    // characters, "-----END CERTIFICATE-----", each line ended by one line feed, one
    // certificate after the other.
    std::string pem;
    std::vector<CertificateSummary> summaries;  // one for each, in their order
};

// Reads the CA certificates of a text. Whatever stands outside the certificates
// is left out, a private key too. Its own PEM is accepted again and stays as it is.
//
// Accepts what becomes of a certificate on its way through forms and scripts:
// lines ended by CR LF, a missing last line end, "\n" written as two characters,
// everything on one line, and bare base64 without the BEGIN and END lines.
//
// Refuses the whole text when there is no certificate, when it is longer (as it
// came, or as PEM) or has more of them than the limits above, when something under
// a BEGIN line is not the base64 form of exactly one X.509 certificate (see
// readCertificate), and when none of the certificates is an authority's.
[[nodiscard]] Certificates readCertificates(std::string_view text);

}  // namespace vpnd
