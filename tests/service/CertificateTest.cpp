#include "service/pki/Certificate.h"
#include "tests/service/TestCertificates.h"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/crypto.h>
#include <openssl/err.h>

#include <cstddef>
#include <cstdlib>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace
{

using certificates::certificate;
using certificates::Recipe;
using vpnd::CertificateSummary;

// How many blocks of memory libcrypto has at present.
long blocksInUse = 0;

void* countedRealloc(void* block, std::size_t bytes, const char*, int)
{
    if (!block) ++blocksInUse;
    return std::realloc(block, bytes);
}
void* countedMalloc(std::size_t bytes, const char* file, int line)
{
    return countedRealloc(nullptr, bytes, file, line);
}
void countedFree(void* block, const char*, int)
{
    if (block) --blocksInUse;
    std::free(block);
}
// Possible only before the first block.
const int blocksAreCounted =
    CRYPTO_set_mem_functions(&countedMalloc, &countedRealloc, &countedFree);

// Nothing remains of a failure, whatever the bytes are.
std::optional<CertificateSummary> read(const std::string& der)
{
    // With their exact size, so that a sanitizer sees every byte read too many.
    const std::vector<unsigned char> bytes(der.begin(), der.end());
    std::optional<CertificateSummary> summary = vpnd::readCertificate(bytes);
    EXPECT_EQ(ERR_peek_error(), 0u);
    return summary;
}

CertificateSummary summaryOf(const Recipe& recipe)
{
    const auto summary = read(certificate(recipe));
    EXPECT_TRUE(summary);
    return summary.value_or(CertificateSummary{"refused", "refused", false});
}

std::string lengthBytes(std::size_t length)
{
    if (length < 0x80) return std::string(1, static_cast<char>(length));
    if (length < 0x100) return std::string("\x81") + static_cast<char>(length);
    return std::string("\x82") + static_cast<char>(length >> 8) + static_cast<char>(length & 0xff);
}

// The certificate whose subject is these bytes, taken as they are, of this string type.
std::string withSubject(int type, const std::string& bytes)
{
    Recipe recipe;
    recipe.subject = std::string(bytes.size(), 'x');
    static std::map<std::size_t, std::string> made;  // of each length, because it takes time
    std::string& first = made[bytes.size()];
    if (first.empty()) first = certificate(recipe);
    std::string der = first;
    const std::string length = lengthBytes(bytes.size());
    const std::string text = "\x0c" + length + recipe.subject;
    for (std::size_t at = 0; (at = der.find(text, at)) != std::string::npos; ++at) {
        der.replace(at, text.size(), static_cast<char>(type) + length + bytes);
    }
    return der;
}

std::string subjectOf(int type, const std::string& bytes)
{
    const auto summary = read(withSubject(type, bytes));
    return summary ? summary->subject : "refused";
}

struct Element {
    std::size_t at = 0;           // its tag
    std::size_t headerBytes = 0;  // of tag and length
    std::size_t contentBytes = 0;
};

// All elements of DER bytes, from the outside to the inside.
void collect(const std::string& der, std::size_t at, std::size_t end, std::vector<Element>& all)
{
    constexpr unsigned int kConstructed = 0x20;
    while (at < end) {
        Element element{at, 2, static_cast<unsigned char>(der[at + 1])};
        if (element.contentBytes >= 0x80) {
            const std::size_t lengthBytes = element.contentBytes & 0x7f;
            element.headerBytes += lengthBytes;
            element.contentBytes = 0;
            for (std::size_t i = 0; i < lengthBytes; ++i) {
                element.contentBytes =
                    element.contentBytes << 8 | static_cast<unsigned char>(der[at + 2 + i]);
            }
        }
        all.push_back(element);
        const std::size_t content = at + element.headerBytes;
        if ((static_cast<unsigned char>(der[at]) & kConstructed) != 0) {
            collect(der, content, content + element.contentBytes, all);
        }
        at = content + element.contentBytes;
    }
}

// The certificate in which one element says another length.
std::string withLength(const std::string& der, const Element& element, const std::string& length)
{
    return der.substr(0, element.at + 1) + length + der.substr(element.at + element.headerBytes);
}

TEST(CertificateTest, SubjectAndLastDayAreShown)
{
    const CertificateSummary summary = summaryOf({});
    EXPECT_EQ(summary.subject, "CN=Example CA");
    EXPECT_EQ(summary.notAfter, "2036-01-31 23:59:59 UTC");
    EXPECT_TRUE(summary.isAuthority);
}

TEST(CertificateTest, DatesAreNotJudged)
{
    const auto notAfter = [](const std::string& text) {
        Recipe recipe;
        recipe.notAfter = text;
        return summaryOf(recipe).notAfter;
    };
    EXPECT_EQ(notAfter("19700101000000Z"), "1970-01-01 00:00:00 UTC");
    EXPECT_EQ(notAfter("20260101000000Z"), "2026-01-01 00:00:00 UTC") << "before it begins";
    EXPECT_EQ(notAfter("99991231235959Z"), "9999-12-31 23:59:59 UTC");
    EXPECT_EQ(notAfter("20361331235959Z"), "unknown") << "no such month";
    EXPECT_EQ(notAfter("tomorrow\n"), "unknown");
    EXPECT_EQ(notAfter(std::string(1000, '9')), "unknown");
    Recipe recipe;
    recipe.notBefore = "99990101000000Z";
    EXPECT_TRUE(summaryOf(recipe).isAuthority) << "not valid for a long time";
}

TEST(CertificateTest, AnAuthorityIsWhoMaySignCertificates)
{
    struct Case {
        bool isAuthority;
        const char* basicConstraints;
        const char* keyUsage;
    };
    const Case cases[] = {
        {true, "critical,CA:TRUE", ""},
        {true, "CA:TRUE", ""},
        {true, "critical,CA:TRUE,pathlen:0", "critical,keyCertSign,cRLSign"},
        {false, "critical,CA:TRUE", "critical,digitalSignature"},
        {false, "critical,CA:FALSE", ""},
        {false, "CA:FALSE", "keyCertSign"},
        {false, "", ""},
        {false, "", "critical,keyCertSign"},
    };
    for (const Case& c : cases) {
        Recipe recipe;
        recipe.basicConstraints = c.basicConstraints;
        recipe.keyUsage = c.keyUsage;
        EXPECT_EQ(summaryOf(recipe).isAuthority, c.isAuthority)
            << c.basicConstraints << " / " << c.keyUsage;
    }
}

TEST(CertificateTest, OfVersionOneItIsAnAuthorityWhenSelfSigned)
{
    Recipe recipe;
    recipe.version = 1;
    recipe.basicConstraints.clear();
    EXPECT_TRUE(summaryOf(recipe).isAuthority);
    recipe.issuer = "Another CA";
    EXPECT_FALSE(summaryOf(recipe).isAuthority);
}

TEST(CertificateTest, ExtensionsThatCannotBeReadMakeNoAuthority)
{
    Recipe recipe;
    recipe.basicConstraints.clear();
    for (const std::string& bytes : {std::string("x"), std::string("\x30\x03\x01\x01"),
                                     std::string("\x30\x84\x7f\xff\xff\xff"),
                                     std::string("\x30\x80"), std::string(5000, '\x30')}) {
        recipe.extensionBytes = bytes;
        EXPECT_FALSE(summaryOf(recipe).isAuthority);
    }
    recipe.extensionBytes = "\x30\x03\x01\x01\xff";
    EXPECT_TRUE(summaryOf(recipe).isAuthority) << "CA: true";
    // Twice the same extension.
    recipe.basicConstraints = "critical,CA:TRUE";
    EXPECT_FALSE(summaryOf(recipe).isAuthority);
}

TEST(CertificateTest, NoControlCharacterOfASubjectIsShown)
{
    using namespace std::string_literals;
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, "a\nforged\r\x1b[31m\x7f"),
              "CN=a\\0Aforged\\0D\\1B[31m\\7F");
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, "a\0b"s), "CN=a\\00b");
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, "\xc2\x9b"), "CN=\\C2\\9B") << "U+009B";
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, "\xe2\x80\xae"), "CN=\\E2\\80\\AE") << "U+202E";
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, "a,b+c\"\\<>;"), "CN=a\\,b\\+c\\\"\\\\\\<\\>\\;");
    // Every type, and every character in it, eight at a time and as wide as any type has them.
    for (int type = 1; type <= 30; ++type) {
        for (int first = 0; first < 256; first += 8) {
            std::string bytes;
            for (int c = first; c < first + 8; ++c) {
                bytes += std::string(3, '\0') + static_cast<char>(c);
            }
            for (const char shown : subjectOf(type, bytes)) {
                EXPECT_TRUE(shown >= ' ' && shown <= '~') << "type " << type << " from " << first;
            }
        }
    }
}

TEST(CertificateTest, SubjectsOfEveryLengthAndKindAreShown)
{
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, std::string(197, 'x')), "CN=" + std::string(197, 'x'));
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, std::string(198, 'x')),
              "CN=" + std::string(194, 'x') + "...");
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, std::string(40000, '\n')).size(),
              vpnd::kMaxSubjectBytes);
    Recipe recipe;
    recipe.subject.clear();
    EXPECT_EQ(summaryOf(recipe).subject, "without a subject");
    // Half a character, and bytes that are none.
    EXPECT_EQ(subjectOf(V_ASN1_BMPSTRING, "abc"), "refused");
    EXPECT_EQ(subjectOf(V_ASN1_UTF8STRING, "a\xff"), "refused");
}

TEST(CertificateTest, CutAnywhereItIsRefused)
{
    const std::string whole = certificate();
    ASSERT_TRUE(read(whole));
    for (std::size_t bytes = 0; bytes < whole.size(); ++bytes) {
        EXPECT_FALSE(read(whole.substr(0, bytes))) << bytes;
    }
}

TEST(CertificateTest, WithAnythingBehindItItIsRefused)
{
    const std::string whole = certificate();
    for (const std::string& more : {std::string(1, '\0'), std::string("\n"), whole,
                                    std::string(2, '\0'), std::string(1000, 'x')}) {
        EXPECT_FALSE(read(whole + more));
        EXPECT_FALSE(read(more + whole));
    }
}

TEST(CertificateTest, EveryLengthInItMustBeTheRightOne)
{
    using namespace std::string_literals;
    const std::string whole = certificate();
    std::vector<Element> elements;
    collect(whole, 0, whole.size(), elements);
    ASSERT_GT(elements.size(), 20u);
    for (const Element& element : elements) {
        const std::size_t right = element.contentBytes;
        ASSERT_EQ(withLength(whole, element, lengthBytes(right)), whole);
        for (const std::string& length :
             {lengthBytes(right + 1), lengthBytes(right + 255), "\x80"s, "\xff"s,
              "\x84\x7f\xff\xff\xff"s, "\x84\x80\x00\x00\x00"s, "\x84\xff\xff\xff\xff"s,
              "\x88\xff\xff\xff\xff\xff\xff\xff\xff"s, "\x88\x7f\xff\xff\xff\xff\xff\xff\xff"s,
              "\xfe"s + std::string(126, '\xff')}) {
            EXPECT_FALSE(read(withLength(whole, element, length))) << "element at " << element.at;
        }
        if (right > 0) {
            EXPECT_FALSE(read(withLength(whole, element, lengthBytes(right - 1))))
                << "element at " << element.at;
        }
    }
}

TEST(CertificateTest, TheSameCertificateInOtherEncodingsIsRefused)
{
    const std::string whole = certificate();
    const Element outer{0, 4, whole.size() - 4};
    ASSERT_EQ(withLength(whole, outer, lengthBytes(outer.contentBytes)), whole);
    using namespace std::string_literals;
    EXPECT_FALSE(read(withLength(whole, outer, "\x80"s) + "\0\0"s)) << "a length that is left open";
    EXPECT_FALSE(
        read(withLength(whole, outer, "\x83\0"s + lengthBytes(outer.contentBytes).substr(1))))
        << "a length with a zero before it";
}

TEST(CertificateTest, SpoiledInAnyByteItIsReadOrRefusedAndNothingElse)
{
    const std::string whole = certificate();
    int refused = 0;
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const unsigned int bits : {0x01u, 0xffu}) {
            std::string spoiled = whole;
            spoiled[at] = static_cast<char>(static_cast<unsigned char>(spoiled[at]) ^ bits);
            if (!read(spoiled)) ++refused;
        }
    }
    // Key, names, dates and signature may be anything; the frame around them may not.
    EXPECT_GT(refused, 50);
}

TEST(CertificateTest, WhatIsNoCertificateIsRefused)
{
    using namespace std::string_literals;
    const std::string refused[] = {
        "",
        "\x30"s,
        "\x30\x00"s,
        "\x30\x80\x00\x00"s,
        "\x30\x02\x05\x00"s,
        certificates::privateKey(),
        certificates::oldPrivateKey(),
        certificates::publicKey(),
        certificates::request(),
        certificates::revocationList(),
        certificates::trustedCertificate(),
        certificates::parameters(),
        certificates::pem(certificate()),
    };
    for (const std::string& der : refused) EXPECT_FALSE(read(der)) << certificates::base64(der);
}

TEST(CertificateTest, GarbageOfAnySizeIsRefused)
{
    constexpr std::size_t kMost = 48 * 1024;  // what base64 makes of 64 KiB
    std::string nested = "\x05";
    while (nested.size() < kMost - 4) {
        nested.insert(0, "\x30\x83" + std::string(1, static_cast<char>(nested.size() >> 16)) +
                             static_cast<char>(nested.size() >> 8 & 0xff) +
                             static_cast<char>(nested.size() & 0xff));
    }
    std::string open;
    while (open.size() < kMost) open += "\x30\x80";
    std::string tags;
    while (tags.size() < kMost) tags += "\x3f\xff";
    for (const std::string& garbage :
         {nested, open, tags, std::string(kMost, '\0'), std::string(kMost, '\xff'),
          std::string(kMost, '\x30'), "\x30\x84\x7f\xff\xff\xff" + std::string(kMost, '\0'),
          std::string("\x30\x82\xff\xff") + std::string(0xffff, '\x30')}) {
        EXPECT_FALSE(read(garbage));
    }
    // Where a certificate's parts should be.
    const std::string whole = certificate();
    std::vector<Element> elements;
    collect(whole, 0, whole.size(), elements);
    for (const Element& element : elements) {
        if (element.at == 0) continue;
        std::string spoiled = whole;
        spoiled.replace(element.at, element.headerBytes + element.contentBytes, open);
        EXPECT_FALSE(read(spoiled)) << "element at " << element.at;
    }
}

TEST(CertificateTest, ReadingLeavesNoMemoryBehind)
{
    Recipe notReadable;
    notReadable.extensionBytes = "x";
    const std::string inputs[] = {certificate(),
                                  certificate(notReadable),
                                  withSubject(V_ASN1_BMPSTRING, "abc"),
                                  certificate().substr(0, 200),
                                  certificates::privateKey(),
                                  std::string(1000, '\x30')};
    const auto rounds = [&](int count) {
        for (int i = 0; i < count; ++i) {
            for (const std::string& input : inputs) read(input);
        }
        return blocksInUse;
    };
    const long before = rounds(20);
    ASSERT_EQ(blocksAreCounted, 1);
    EXPECT_EQ(rounds(100), before);
}

}  // namespace
