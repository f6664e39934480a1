#include "service/pki/Pem.h"
#include "tests/service/TestCertificates.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace
{

using certificates::base64;
using certificates::certificate;
using certificates::Recipe;
using vpnd::Certificates;
using vpnd::kMaxCertificates;
using vpnd::kMaxCertificateTextBytes;
using vpnd::readCertificates;

const std::string kBegin = "-----BEGIN CERTIFICATE-----";
const std::string kEnd = "-----END CERTIFICATE-----";

std::string der(const std::string& subject, const char* basicConstraints = "critical,CA:TRUE")
{
    Recipe recipe;
    recipe.subject = subject;
    recipe.basicConstraints = basicConstraints;
    return certificate(recipe);
}

// A certificate's text, and the base64 characters in it.
struct Text {
    explicit Text(const std::string& der) : bare(base64(der)), pem(certificates::pem(der)) {}
    std::string bare;
    std::string pem;
};
const Text& ca()
{
    static const Text text(der("Example CA"));
    return text;
}
const Text& server()
{
    static const Text text(der("vpn.example.com", "critical,CA:FALSE"));
    return text;
}

// The base64 of ca() with this around its lines.
std::string lines(const std::string& before, const std::string& between, const std::string& after)
{
    std::string out = before;
    for (std::size_t at = 0; at < ca().bare.size(); at += 64) {
        out += (at == 0 ? "" : between) + ca().bare.substr(at, 64);
    }
    return out + after;
}

std::string refusal(const std::string& text)
{
    const Certificates certificates = readCertificates(text);
    if (!certificates.refusal) return "accepted";
    EXPECT_EQ(certificates.pem, "") << text;
    EXPECT_TRUE(certificates.summaries.empty()) << text;
    return certificates.refusal;
}

std::string normalized(const std::string& text)
{
    return refusal(text) == "accepted" ? readCertificates(text).pem : "refused";
}

TEST(PemTest, AWellFormedCertificateStaysAsItIs)
{
    EXPECT_EQ(normalized(ca().pem), ca().pem);
    EXPECT_EQ(normalized(ca().pem + server().pem), ca().pem + server().pem);
    EXPECT_EQ(normalized(server().pem + ca().pem), server().pem + ca().pem);
    // With each padding, and with a last line of each length.
    for (std::size_t length = 1; length <= 64; ++length) {
        const Text text(der(std::string(length, 'x')));
        EXPECT_EQ(normalized(text.pem), text.pem) << length;
        EXPECT_EQ(normalized(text.bare), text.pem) << length;
    }
}

TEST(PemTest, EachCertificateIsShownInItsOrder)
{
    const Certificates certificates = readCertificates(server().pem + ca().pem);
    ASSERT_EQ(certificates.summaries.size(), 2u);
    EXPECT_EQ(certificates.summaries[0].subject, "CN=vpn.example.com");
    EXPECT_FALSE(certificates.summaries[0].isAuthority);
    EXPECT_EQ(certificates.summaries[1].subject, "CN=Example CA");
    EXPECT_TRUE(certificates.summaries[1].isAuthority);
}

TEST(PemTest, EveryFormThatScriptsMakeOfItIsAccepted)
{
    const std::string accepted[] = {
        lines(kBegin + "\r\n", "\r\n", "\r\n" + kEnd + "\r\n"),
        lines(kBegin + "\n", "\n", "\n" + kEnd),
        lines(kBegin + "\\n", "\\n", "\\n" + kEnd + "\\n"),
        lines(kBegin + "\\r\\n", "\\r\\n", "\\r\\n" + kEnd + "\\r\\n"),
        lines(kBegin + "\r", "\r", "\r" + kEnd),
        lines(kBegin, "", kEnd),
        lines(kBegin + " ", " ", " " + kEnd),
        lines(kBegin + "\n  ", "\t\n\n", "\n" + kEnd),
        lines("", "", ""),
        lines("", "\n", "\n"),
        lines("  ", "", "  "),
        lines("", "\\n", ""),
        "subject=/CN=Example CA \xc3\xa4\n" + ca().pem + "some text behind it",
    };
    for (const std::string& text : accepted) EXPECT_EQ(normalized(text), ca().pem) << text;
}

TEST(PemTest, WhatStandsBesideTheCertificatesIsLeftOut)
{
    for (const auto& [label, bytes] : std::vector<std::pair<std::string, std::string>>{
             {"PRIVATE KEY", certificates::privateKey()},
             {"EC PRIVATE KEY", certificates::oldPrivateKey()},
             {"PUBLIC KEY", certificates::publicKey()},
             {"EC PARAMETERS", certificates::parameters()},
             {"CERTIFICATE REQUEST", certificates::request()},
             {"X509 CRL", certificates::revocationList()},
             {"TRUSTED CERTIFICATE", certificates::trustedCertificate()},
         }) {
        const std::string other = certificates::pem(bytes, label);
        EXPECT_EQ(normalized(other + ca().pem + other), ca().pem) << label;
        EXPECT_EQ(refusal(other), "no certificate in the text") << label;
    }
}

TEST(PemTest, WhatIsNoCertificateUnderItsLineRefusesTheWholeText)
{
    for (const std::string& bytes :
         {certificates::privateKey(), certificates::oldPrivateKey(), certificates::publicKey(),
          certificates::parameters(), certificates::request(), certificates::revocationList(),
          certificates::trustedCertificate(), std::string("\x30\x00", 2)}) {
        const std::string why = "not an X.509 certificate in DER form";
        EXPECT_EQ(refusal(certificates::pem(bytes)), why);
        EXPECT_EQ(refusal(ca().pem + certificates::pem(bytes)), why);
        EXPECT_EQ(refusal(certificates::pem(bytes) + ca().pem), why);
        EXPECT_EQ(refusal(base64(bytes)), why);
    }
}

TEST(PemTest, OneOfThemMustBeAnAuthoritys)
{
    const std::string why = "none of the certificates is an authority's";
    EXPECT_EQ(refusal(server().pem), why);
    EXPECT_EQ(refusal(server().bare), why);
    EXPECT_EQ(refusal(server().pem + server().pem), why);
    EXPECT_EQ(refusal(server().pem + ca().pem + server().pem), "accepted");
}

TEST(PemTest, TextsThatHoldNoWholeCertificateAreRefused)
{
    const std::string bare = ca().bare;
    const std::string notBase64 = "not the base64 form of a certificate";
    const std::string notX509 = "not an X.509 certificate in DER form";
    const std::string notEnded = "a certificate without its END line";
    const std::string none = "no certificate in the text";
    const std::pair<std::string, std::string> refused[] = {
        {"", notX509},
        {" ", notX509},
        {"\n", notX509},
        {"no certificate", notBase64},
        {"abc", notBase64},
        {"abc,)", notBase64},
        {kBegin, notEnded},
        {kEnd, none},
        {kBegin + kEnd, notX509},
        {kBegin + "\n" + kEnd, notX509},
        {kBegin + "\n" + bare + "\n", notEnded},
        {kEnd + "\n" + bare + "\n" + kBegin, notEnded},  // the wrong way round
        {kBegin + "\n" + bare.substr(0, 64) + "\n" + kEnd, notX509},
        {kBegin + "\n" + bare + "AAAA\n" + kEnd, bare.back() == '=' ? notBase64 : notX509},
        {kBegin + "\n" + bare.substr(1) + "\n" + kEnd, notBase64},  // not in fours
        {kBegin + "\nM*" + bare.substr(2) + "\n" + kEnd, notBase64},
        {kBegin + "\n" + kBegin + "\n" + bare + "\n" + kEnd, notBase64},  // one within another
        {kBegin + "\n" + bare + "\n</ca>\nlog /tmp/x\n" + kEnd, notBase64},
        {ca().pem + kBegin + "\nMAA=\n" + kEnd + "\n", notX509},
        {ca().pem + kBegin, notEnded},
        {certificates::pem(der("x"), "certificate"), none},
        {"-----begin certificate-----\n" + bare + "\n-----end certificate-----\n", none},
        {bare + "====", notBase64},
        {bare + bare, ca().bare.back() == '=' ? notBase64 : notX509},
        {std::string("MA\0A=", 5), notBase64},
    };
    for (const auto& [text, why] : refused) EXPECT_EQ(refusal(text), why) << text;
    for (const char* text : {"MAA==", "MA==", "MAA", "M===", "====", "=MAA", "MA=A",
                             "MAA=MAA=", "MAIFAA==AAAA", "MQA=", "MAB=AA"}) {
        EXPECT_EQ(normalized(text), "refused") << text;
    }
}

TEST(PemTest, CutAnywhereTheTextIsRefused)
{
    // The last line end may be missing, and nothing else.
    for (std::size_t bytes = 0; bytes + 1 < ca().pem.size(); ++bytes) {
        EXPECT_EQ(normalized(ca().pem.substr(0, bytes)), "refused") << bytes;
    }
    for (std::size_t bytes = 0; bytes < ca().bare.size(); ++bytes) {
        EXPECT_EQ(normalized(ca().bare.substr(0, bytes)), "refused") << bytes;
    }
}

TEST(PemTest, ATextBeyondTheCapIsNotLookedAt)
{
    const std::string padding(kMaxCertificateTextBytes - ca().pem.size(), '\n');
    EXPECT_EQ(normalized(padding + ca().pem), ca().pem);
    EXPECT_EQ(refusal(padding + "\n" + ca().pem), "longer than 65536 bytes");
}

TEST(PemTest, WhatIsAcceptedIsAcceptedAgainAsItWasWritten)
{
    // Bare base64 just below the cap grows beyond it by the lines that are written.
    int accepted = 0;
    int refused = 0;
    for (std::size_t issuerBytes = 47500; issuerBytes < 48500; issuerBytes += 100) {
        Recipe recipe;
        recipe.issuer = std::string(issuerBytes, 'x');
        const std::string text = base64(certificate(recipe));
        ASSERT_LE(text.size(), kMaxCertificateTextBytes);
        const std::string written = normalized(text);
        if (written == "refused") {
            EXPECT_EQ(refusal(text), "longer than 65536 bytes");
            ++refused;
        } else {
            EXPECT_TRUE(normalized(written) == written) << issuerBytes;
            ++accepted;
        }
    }
    EXPECT_GT(accepted, 0);
    EXPECT_GT(refused, 0);
}

TEST(PemTest, MoreCertificatesThanTheCapAreRefused)
{
    std::string text;
    for (std::size_t i = 0; i < kMaxCertificates; ++i) text += ca().pem;
    EXPECT_EQ(normalized(text), text);
    EXPECT_EQ(refusal(text + server().pem), "more than 32 certificates");
}

TEST(PemTest, TextsAsLongAsTheCapAreRefusedWhateverIsInThem)
{
    for (const char c : {'A', '/', 'M', '=', '-', '\\', 'n', '\n', '\0', '\xff'}) {
        const std::string most(kMaxCertificateTextBytes, c);
        EXPECT_EQ(normalized(most), "refused") << static_cast<int>(c);
        const std::size_t frame = kBegin.size() + kEnd.size();
        EXPECT_EQ(normalized(kBegin + most.substr(frame) + kEnd), "refused") << static_cast<int>(c);
    }
    std::string begins;
    while (begins.size() + kBegin.size() <= kMaxCertificateTextBytes) begins += kBegin;
    EXPECT_EQ(normalized(begins), "refused");
}

}  // namespace
