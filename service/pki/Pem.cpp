#include "service/pki/Pem.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

namespace vpnd
{
namespace
{

constexpr std::string_view kBegin = "-----BEGIN CERTIFICATE-----";
constexpr std::string_view kEnd = "-----END CERTIFICATE-----";
constexpr std::string_view kDashes = "-----";
constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t kLineCharacters = 64;
constexpr const char* kTooLong = "longer than 65536 bytes";

using Bytes = std::vector<unsigned char>;

// "\n" and "\r" that are written as two characters become line ends. A
// backslash means nothing else in such a text.
std::string withLineEnds(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const bool escaped =
            text[i] == '\\' && i + 1 < text.size() && (text[i + 1] == 'n' || text[i + 1] == 'r');
        out += escaped ? '\n' : text[i];
        if (escaped) ++i;
    }
    return out;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::optional<Bytes> decodeBase64(std::string_view text)
{
    Bytes bytes;
    std::uint32_t group = 0;
    unsigned int characters = 0;
    unsigned int padding = 0;
    for (const char c : text) {
        if (isBlank(c)) continue;
        const std::size_t value = kAlphabet.find(c);
        if (c == '=') {
            ++padding;
        } else if (value == std::string_view::npos || padding > 0) {
            return std::nullopt;
        }
        group = (group << 6) | (c == '=' ? 0u : static_cast<std::uint32_t>(value));
        if (++characters % 4 != 0) continue;
        if (padding > 2) return std::nullopt;
        for (unsigned int i = 0; i < 3 - padding; ++i) {
            bytes.push_back(static_cast<unsigned char>((group >> (16 - 8 * i)) & 0xff));
        }
        group = 0;
    }
    if (characters % 4 != 0) return std::nullopt;
    return bytes;
}

std::string encodeBase64(const Bytes& bytes)
{
    std::string out;
    std::size_t column = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 3; ++j) {
            group = (group << 8) | (i + j < bytes.size() ? bytes[i + j] : 0u);
        }
        for (std::size_t j = 0; j < 4; ++j) {
            const bool padding = j > bytes.size() - i;
            out += padding ? '=' : kAlphabet[(group >> (18 - 6 * j)) & 0x3f];
        }
        column += 4;
        if (column == kLineCharacters || i + 3 >= bytes.size()) {
            out += '\n';
            column = 0;
        }
    }
    return out;
}

// Why the certificate is refused, or null.
const char* append(Certificates& certificates, std::string_view base64)
{
    if (certificates.summaries.size() == kMaxCertificates) return "more than 32 certificates";
    const std::optional<Bytes> der = decodeBase64(base64);
    if (!der) return "not the base64 form of a certificate";
    std::optional<CertificateSummary> summary = readCertificate(*der);
    if (!summary) return "not an X.509 certificate in DER form";
    certificates.pem.append(kBegin).append("\n").append(encodeBase64(*der));
    certificates.pem.append(kEnd).append("\n");
    certificates.summaries.push_back(std::move(*summary));
    return nullptr;
}

const char* appendAll(Certificates& certificates, std::string_view rest)
{
    if (rest.find(kDashes) == std::string_view::npos) return append(certificates, rest);
    for (;;) {
        const std::size_t begin = rest.find(kBegin);
        if (begin == std::string_view::npos) return nullptr;
        rest.remove_prefix(begin + kBegin.size());
        const std::size_t end = rest.find(kEnd);
        if (end == std::string_view::npos) return "a certificate without its END line";
        if (const char* refusal = append(certificates, rest.substr(0, end))) return refusal;
        rest.remove_prefix(end + kEnd.size());
    }
}

// What is wrong with all of them together, or null.
const char* refusalOfAll(const Certificates& certificates)
{
    const std::vector<CertificateSummary>& all = certificates.summaries;
    if (all.empty()) return "no certificate in the text";
    // The lines make it longer than it came.
    if (certificates.pem.size() > kMaxCertificateTextBytes) return kTooLong;
    const bool hasAuthority = std::any_of(
        all.begin(), all.end(), [](const CertificateSummary& one) { return one.isAuthority; });
    return hasAuthority ? nullptr : "none of the certificates is an authority's";
}

}  // namespace

Certificates readCertificates(std::string_view text)
{
    static_assert(kMaxCertificates == 32 && kMaxCertificateTextBytes == 65536, "said in words");
    Certificates certificates;
    const char* refusal = kTooLong;
    if (text.size() <= kMaxCertificateTextBytes) {
        refusal = appendAll(certificates, withLineEnds(text));
        if (!refusal) refusal = refusalOfAll(certificates);
    }
    if (refusal) return {refusal, {}, {}};
    return certificates;
}

}  // namespace vpnd
