#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace vpnd
{

// What may be shown of a certificate: nothing of it is secret, and there is no
// character in it but printable ASCII ones.
struct CertificateSummary {
    std::string subject;   // "CN=Example CA,O=Example", at most kMaxSubjectBytes
    std::string notAfter;  // "2036-01-31 23:59:59 UTC"; "unknown" for a date that is none
    bool isAuthority = false;
};

constexpr std::size_t kMaxSubjectBytes = 200;

// The X.509 certificate that these bytes are; nothing when they are none, or not
// in DER form, or when more bytes follow. Neither its dates nor its signature are
// judged: the panel's clock may be wrong, and whoever issued it may be unknown.
//
// An authority has CA in its basic constraints, and no key usage that excludes
// signing certificates. A self-signed certificate of X.509 version 1 is one too: it
// has no place to say so, and old roots are such.
[[nodiscard]] std::optional<CertificateSummary> readCertificate(
    const std::vector<unsigned char>& der);

}  // namespace vpnd
