#include "service/Pem.h"

#include <cstdint>
#include <vector>

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
    if (characters % 4 != 0 || padding > 2) return std::nullopt;
    return bytes;
}

// One sequence in DER form that fills the bytes exactly.
bool isDerSequence(const Bytes& bytes)
{
    constexpr unsigned char kSequence = 0x30;
    if (bytes.size() < 2 || bytes[0] != kSequence) return false;
    if (bytes[1] < 0x80) return bytes.size() == 2u + bytes[1];
    const std::size_t lengthBytes = bytes[1] & 0x7fu;
    if (lengthBytes < 1 || lengthBytes > 3 || bytes.size() < 2 + lengthBytes) return false;
    std::size_t length = 0;
    for (std::size_t i = 0; i < lengthBytes; ++i) length = (length << 8) | bytes[2 + i];
    const bool shortest =
        length >= 0x80 && (lengthBytes == 1 || (length >> (8 * (lengthBytes - 1))) != 0);
    return shortest && bytes.size() == 2 + lengthBytes + length;
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

bool appendCertificate(std::string& out, std::string_view base64)
{
    const std::optional<Bytes> der = decodeBase64(base64);
    if (!der || !isDerSequence(*der)) return false;
    out.append(kBegin).append("\n").append(encodeBase64(*der)).append(kEnd).append("\n");
    return true;
}

}  // namespace

std::optional<std::string> normalizedCertificates(std::string_view text)
{
    if (text.size() > kMaxCertificateTextBytes) return std::nullopt;
    const std::string lines = withLineEnds(text);
    std::string_view rest = lines;
    std::string out;
    if (rest.find(kDashes) == std::string_view::npos) {
        if (!appendCertificate(out, rest)) return std::nullopt;
        return out;
    }
    for (;;) {
        const std::size_t begin = rest.find(kBegin);
        if (begin == std::string_view::npos) break;
        rest.remove_prefix(begin + kBegin.size());
        const std::size_t end = rest.find(kEnd);
        if (end == std::string_view::npos) return std::nullopt;
        if (!appendCertificate(out, rest.substr(0, end))) return std::nullopt;
        rest.remove_prefix(end + kEnd.size());
    }
    if (out.empty()) return std::nullopt;
    return out;
}

}  // namespace vpnd
