#include "service/pki/Certificate.h"

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <memory>

namespace vpnd
{
namespace
{

struct Free {
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(BIO* text) const { BIO_free_all(text); }
};
using CertificatePointer = std::unique_ptr<X509, Free>;

// A refused certificate leaves its reasons with the thread.
struct ErrorsCleared {
    ErrorsCleared() = default;
    ErrorsCleared(const ErrorsCleared&) = delete;
    ErrorsCleared& operator=(const ErrorsCleared&) = delete;
    ~ErrorsCleared() { ERR_clear_error(); }
};

CertificatePointer parse(const std::vector<unsigned char>& der)
{
    const unsigned char* at = der.data();
    CertificatePointer certificate(d2i_X509(nullptr, &at, static_cast<long>(der.size())));
    if (!certificate) return nullptr;
    // The parser stops at the end of the certificate, and takes more encodings than DER.
    const int bytes = i2d_X509(certificate.get(), nullptr);
    if (bytes < 0 || static_cast<std::size_t>(bytes) != der.size()) return nullptr;
    std::vector<unsigned char> again(der.size());
    unsigned char* end = again.data();
    if (i2d_X509(certificate.get(), &end) != bytes || again != der) return nullptr;
    return certificate;
}

bool isAuthority(X509* certificate)
{
    constexpr int kBasicConstraints = 1;
    constexpr int kSelfSignedVersion1 = 3;
    const int kind = X509_check_ca(certificate);
    return kind == kBasicConstraints || kind == kSelfSignedVersion1;
}

std::string subjectOf(const X509* certificate)
{
    const std::unique_ptr<BIO, Free> text(BIO_new(BIO_s_mem()));
    if (!text || X509_NAME_print_ex(text.get(), X509_get_subject_name(certificate), 0,
                                    XN_FLAG_RFC2253) < 0) {
        return "unreadable";
    }
    std::string subject(kMaxSubjectBytes + 1, '\0');  // one more shows that it must be cut
    const int bytes = BIO_read(text.get(), subject.data(), static_cast<int>(subject.size()));
    subject.resize(bytes > 0 ? static_cast<std::size_t>(bytes) : 0);
    if (subject.empty()) return "without a subject";
    if (subject.size() > kMaxSubjectBytes) subject.replace(kMaxSubjectBytes - 3, 4, "...");
    // They are escaped already; what reaches a log shall not depend on that.
    std::replace_if(
        subject.begin(), subject.end(), [](char c) { return c < ' ' || c > '~'; }, '?');
    return subject;
}

std::string notAfterOf(const X509* certificate)
{
    std::tm time{};
    char text[32];
    if (ASN1_TIME_to_tm(X509_get0_notAfter(certificate), &time) != 1 ||
        std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S UTC", &time) == 0) {
        return "unknown";
    }
    return text;
}

}  // namespace

std::optional<CertificateSummary> readCertificate(const std::vector<unsigned char>& der)
{
    // What is accepted here must not depend on the machine's openssl.cnf.
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
    const ErrorsCleared errorsCleared;
    const CertificatePointer certificate = parse(der);
    if (!certificate) return std::nullopt;
    return CertificateSummary{subjectOf(certificate.get()), notAfterOf(certificate.get()),
                              isAuthority(certificate.get())};
}

}  // namespace vpnd
