#include "ctl/report/Scrubber.h"

#include <algorithm>
#include <array>
#include <vector>

namespace ctl
{
namespace
{

constexpr std::array<const char*, 7> kSecretWords = {"password", "passwd",  "passphrase", "secret",
                                                     "token",    "private", "credential"};
// Shorter ones stand in too many innocent words; they are masked as whole words.
constexpr std::size_t kMinInnerBytes = 4;

char small(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool isWordByte(char c)
{
    const char lower = small(c);
    return (lower >= 'a' && lower <= 'z') || (c >= '0' && c <= '9') || c == '_';
}

bool isSecretName(const std::string& name)
{
    std::string lower = name;
    std::transform(lower.begin(), lower.end(), lower.begin(), small);
    return std::any_of(kSecretWords.begin(), kSecretWords.end(),
                       [&](const char* word) { return lower.find(word) != lower.npos; });
}

std::string base64(std::string_view bytes)
{
    constexpr const char* kDigits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    std::uint32_t bits = 0;
    int count = 0;
    for (const char c : bytes) {
        bits = (bits << 8) | static_cast<unsigned char>(c);
        for (count += 8; count >= 6; count -= 6) text += kDigits[(bits >> (count - 6)) & 0x3F];
    }
    if (count > 0) text += kDigits[(bits << (6 - count)) & 0x3F];
    return text;
}

// Of the bytes, behind so many others that are not known: what is the same whatever these are
// and whatever follows.
std::string base64Behind(std::string_view bytes, std::size_t unknownBytes)
{
    const std::string all = base64(std::string(unknownBytes, 'x') + std::string(bytes));
    const std::size_t first = (unknownBytes * 8 + 5) / 6;
    const std::size_t end = (unknownBytes + bytes.size()) * 8 / 6;
    return end > first ? all.substr(first, end - first) : std::string();
}

std::string hexadecimal(std::string_view bytes, const char* digits, const char* before)
{
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        text += before;
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

std::string percentEncoded(std::string_view bytes, const char* digits)
{
    std::string text;
    for (const char c : bytes) {
        const bool isPlain = isWordByte(c) || c == '-' || c == '.' || c == '~';
        text += isPlain ? std::string(1, c) : hexadecimal({&c, 1}, digits, "%");
    }
    return text;
}

// As it stands in a text of JSON.
std::string escaped(const std::string& text)
{
    const std::string quoted = Json(text).dump(-1, ' ', false, Json::error_handler_t::replace);
    return quoted.substr(1, quoted.size() - 2);
}

std::string withoutForm(const std::string& text, const std::string& form)
{
    std::string result;
    std::size_t begin = 0;
    for (std::size_t at = 0; (at = text.find(form, at)) != text.npos;) {
        const std::size_t end = at + form.size();
        const bool isInWord =
            (at > 0 && isWordByte(text[at - 1])) || (end < text.size() && isWordByte(text[end]));
        if (form.size() < kMinInnerBytes && isInWord) {
            ++at;
            continue;
        }
        result.append(text, begin, at - begin).append(kMask);
        begin = at = end;
    }
    return result.append(text, begin);
}

// What lies between BEGIN and END; also where the text begins or ends within.
std::string withoutPem(const std::string& text)
{
    constexpr std::string_view kBegin = "-----BEGIN ";
    constexpr std::string_view kEnd = "-----END ";
    std::string result;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t begin = text.find(kBegin, at);
        const std::size_t end = text.find(kEnd, at);
        if (begin == text.npos && end == text.npos) break;
        if (begin < end) result.append(text, at, begin - at);
        result += kMask;
        const std::size_t close = end == text.npos ? end : text.find("-----", end + kEnd.size());
        at = close == text.npos ? text.size() : close + 5;
    }
    return result.append(text, std::min(at, text.size()));
}

// The rest of each line that stands behind "password=", "passwd: " and the like.
std::string withoutAssigned(const std::string& text)
{
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), small);
    std::vector<std::size_t> begins;
    for (const char* word : kSecretWords) {
        const std::size_t length = std::string_view(word).size();
        for (std::size_t at = 0; (at = lower.find(word, at)) != lower.npos; at += length) {
            std::size_t value = at + length;
            while (value < text.size() && (isWordByte(text[value]) || text[value] == '"' ||
                                           text[value] == '\'' || text[value] == '-')) {
                ++value;
            }
            while (value < text.size() && text[value] == ' ') ++value;
            if (value >= text.size() || (text[value] != '=' && text[value] != ':')) continue;
            begins.push_back(value + 1);
        }
    }
    std::sort(begins.begin(), begins.end());
    std::string result;
    std::size_t at = 0;
    for (const std::size_t begin : begins) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        if (begin < at || begin == end) continue;
        result.append(text, at, begin - at).append(kMask);
        at = end;
    }
    return result.append(text, at);
}

}  // namespace

void Scrubber::learn(const Json& value)
{
    if (value.is_array()) {
        for (const Json& each : value) learn(each);
    }
    if (!value.is_object()) return;
    for (const auto& each : value.items()) {
        if (isSecretName(each.key()) && each.value().is_string()) {
            learnSecret(each.value().get<std::string>());
        }
        learn(each.value());
    }
}

void Scrubber::learnSecret(const std::string& secret)
{
    if (secret.empty() || secret == kMask) return;
    m_forms.insert({secret, escaped(secret)});
    if (secret.size() < kMinInnerBytes) return;
    for (const char* digits : {"0123456789abcdef", "0123456789ABCDEF"}) {
        m_forms.insert({hexadecimal(secret, digits, ""), hexadecimal(secret, digits, "%"),
                        hexadecimal(secret, digits, "\\x"), percentEncoded(secret, digits)});
    }
    for (const std::size_t unknownBytes : {0U, 1U, 2U}) {
        const std::string form = base64Behind(secret, unknownBytes);
        if (form.size() >= kMinInnerBytes) m_forms.insert(form);
    }
}

Json Scrubber::maskedJson(const Json& value) const
{
    if (value.is_string()) return masked(value.get_ref<const std::string&>());
    Json result = value;
    if (value.is_array()) {
        for (Json& each : result) each = maskedJson(each);
    }
    if (value.is_object()) {
        result = Json::object();
        for (const auto& each : value.items()) {
            const bool isSecret = isSecretName(each.key()) && !each.value().is_boolean() &&
                                  !each.value().is_null() && each.value() != "";
            result[masked(each.key())] = isSecret ? Json(kMask) : maskedJson(each.value());
        }
    }
    return result;
}

std::string Scrubber::masked(std::string_view text) const
{
    std::string result = withoutPem(std::string(text));
    // The longest first: one may be the beginning of another.
    std::vector<std::string> forms(m_forms.begin(), m_forms.end());
    std::sort(forms.begin(), forms.end(),
              [](const std::string& a, const std::string& b) { return a.size() > b.size(); });
    for (const std::string& form : forms) result = withoutForm(result, form);
    return withoutAssigned(result);
}

}  // namespace ctl
