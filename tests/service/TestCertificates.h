#pragma once

#include <string>

// Certificates made for a test, of elliptic-curve keys because these are quick.
namespace certificates
{

struct Recipe {
    std::string subject = "Example CA";  // its common name; empty: no entry at all
    std::string issuer;                  // empty: the subject, so it is self-signed
    int version = 3;
    std::string basicConstraints = "critical,CA:TRUE";  // empty: none
    std::string keyUsage;                               // empty: none
    std::string extensionBytes;                         // of basic constraints, as they are
    std::string notBefore = "20260101000000Z";
    std::string notAfter = "20360131235959Z";  // any text, even if it is no time
};

// A CA certificate as PEM text: the same one throughout a test program.
const std::string& ca();

// All of these are DER bytes.
std::string certificate(const Recipe& recipe = {});
std::string privateKey();     // PKCS #8
std::string oldPrivateKey();  // SEC 1
std::string publicKey();
std::string request();  // for a certificate
std::string revocationList();
std::string trustedCertificate();  // one with OpenSSL's own notes behind it
std::string parameters();          // of the curve

std::string base64(const std::string& bytes);  // without line ends
// Between BEGIN and END lines, 64 characters a line.
std::string pem(const std::string& der, const std::string& label = "CERTIFICATE");

}  // namespace certificates
