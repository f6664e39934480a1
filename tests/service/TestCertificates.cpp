#include "tests/service/TestCertificates.h"

#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/objects.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <memory>
#include <stdexcept>

namespace certificates
{
namespace
{

void mustWork(bool worked)
{
    if (!worked) throw std::runtime_error("libcrypto cannot make the test's certificate");
}

struct Free {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(X509_REQ* request) const { X509_REQ_free(request); }
    void operator()(X509_CRL* list) const { X509_CRL_free(list); }
    void operator()(X509_NAME* name) const { X509_NAME_free(name); }
    void operator()(X509_EXTENSION* extension) const { X509_EXTENSION_free(extension); }
    void operator()(ASN1_STRING* text) const { ASN1_STRING_free(text); }
    void operator()(PKCS8_PRIV_KEY_INFO* key) const { PKCS8_PRIV_KEY_INFO_free(key); }
};
template <class T>
using Owned = std::unique_ptr<T, Free>;

EVP_PKEY* key()
{
    static const Owned<EVP_PKEY> made(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
    mustWork(made != nullptr);
    return made.get();
}

const unsigned char* bytesOf(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

template <class T, class Encode>
std::string encoded(const T& object, Encode encode)
{
    const int bytes = encode(object, nullptr);
    mustWork(bytes > 0);
    std::string der(static_cast<std::size_t>(bytes), '\0');
    unsigned char* end = reinterpret_cast<unsigned char*>(der.data());
    mustWork(encode(object, &end) == bytes);
    return der;
}

Owned<X509_NAME> name(const std::string& commonName)
{
    Owned<X509_NAME> made(X509_NAME_new());
    mustWork(commonName.empty() ||
             X509_NAME_add_entry_by_NID(made.get(), NID_commonName, V_ASN1_UTF8STRING,
                                        bytesOf(commonName), static_cast<int>(commonName.size()),
                                        -1, 0) == 1);
    return made;
}

Owned<ASN1_TIME> time(const std::string& text)
{
    Owned<ASN1_TIME> made(ASN1_STRING_type_new(V_ASN1_GENERALIZEDTIME));
    mustWork(ASN1_STRING_set(made.get(), text.data(), static_cast<int>(text.size())) == 1);
    return made;
}

void addExtension(X509* certificate, int nid, const std::string& value)
{
    const Owned<X509_EXTENSION> made(X509V3_EXT_conf_nid(nullptr, nullptr, nid, value.c_str()));
    mustWork(made && X509_add_ext(certificate, made.get(), -1) == 1);
}

void addBytes(X509* certificate, int nid, const std::string& bytes)
{
    const Owned<ASN1_STRING> value(ASN1_STRING_type_new(V_ASN1_OCTET_STRING));
    mustWork(ASN1_STRING_set(value.get(), bytes.data(), static_cast<int>(bytes.size())) == 1);
    const Owned<X509_EXTENSION> made(X509_EXTENSION_create_by_NID(nullptr, nid, 1, value.get()));
    mustWork(made && X509_add_ext(certificate, made.get(), -1) == 1);
}

Owned<X509> make(const Recipe& recipe)
{
    Owned<X509> made(X509_new());
    X509* x = made.get();
    const Owned<X509_NAME> subject = name(recipe.subject);
    const Owned<X509_NAME> issuer = name(recipe.issuer);
    mustWork(X509_set_version(x, recipe.version - 1) == 1 &&
             ASN1_INTEGER_set(X509_get_serialNumber(x), 7) == 1 &&
             X509_set_subject_name(x, subject.get()) == 1 &&
             X509_set_issuer_name(x, recipe.issuer.empty() ? subject.get() : issuer.get()) == 1 &&
             X509_set1_notBefore(x, time(recipe.notBefore).get()) == 1 &&
             X509_set1_notAfter(x, time(recipe.notAfter).get()) == 1 &&
             X509_set_pubkey(x, key()) == 1);
    if (!recipe.basicConstraints.empty()) {
        addExtension(x, NID_basic_constraints, recipe.basicConstraints);
    }
    if (!recipe.keyUsage.empty()) addExtension(x, NID_key_usage, recipe.keyUsage);
    if (!recipe.extensionBytes.empty()) addBytes(x, NID_basic_constraints, recipe.extensionBytes);
    mustWork(X509_sign(x, key(), EVP_sha256()) > 0);
    return made;
}

}  // namespace

const std::string& ca()
{
    static const std::string text = pem(certificate());
    return text;
}

std::string certificate(const Recipe& recipe) { return encoded(make(recipe).get(), i2d_X509); }

std::string privateKey()
{
    const Owned<PKCS8_PRIV_KEY_INFO> made(EVP_PKEY2PKCS8(key()));
    mustWork(made != nullptr);
    return encoded(made.get(), i2d_PKCS8_PRIV_KEY_INFO);
}

std::string oldPrivateKey() { return encoded(key(), i2d_PrivateKey); }

std::string publicKey() { return encoded(key(), i2d_PUBKEY); }

std::string request()
{
    const Owned<X509_REQ> made(X509_REQ_new());
    mustWork(X509_REQ_set_subject_name(made.get(), name("panel").get()) == 1 &&
             X509_REQ_set_pubkey(made.get(), key()) == 1 &&
             X509_REQ_sign(made.get(), key(), EVP_sha256()) > 0);
    return encoded(made.get(), i2d_X509_REQ);
}

std::string revocationList()
{
    const Owned<X509_CRL> made(X509_CRL_new());
    mustWork(X509_CRL_set_version(made.get(), 1) == 1 &&
             X509_CRL_set_issuer_name(made.get(), name("Example CA").get()) == 1 &&
             X509_CRL_set1_lastUpdate(made.get(), time("20260101000000Z").get()) == 1 &&
             X509_CRL_sign(made.get(), key(), EVP_sha256()) > 0);
    return encoded(made.get(), i2d_X509_CRL);
}

std::string trustedCertificate()
{
    const Owned<X509> made = make({});
    const std::string alias = "vpn";
    mustWork(X509_alias_set1(made.get(), bytesOf(alias), static_cast<int>(alias.size())) == 1);
    return encoded(made.get(), i2d_X509_AUX);
}

std::string parameters() { return encoded(key(), i2d_KeyParams); }

std::string base64(const std::string& bytes)
{
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    unsigned int held = 0;
    unsigned int bits = 0;
    for (const char c : bytes) {
        held = ((held << 8) | static_cast<unsigned char>(c)) & 0xffff;
        for (bits += 8; bits >= 6; bits -= 6) out += alphabet[(held >> (bits - 6)) & 0x3f];
    }
    if (bits > 0) out += alphabet[(held << (6 - bits)) & 0x3f];
    while (out.size() % 4 != 0) out += '=';
    return out;
}

std::string pem(const std::string& der, const std::string& label)
{
    const std::string all = base64(der);
    std::string out = "-----BEGIN " + label + "-----\n";
    for (std::size_t at = 0; at < all.size(); at += 64) out += all.substr(at, 64) + "\n";
    return out + "-----END " + label + "-----\n";
}

}  // namespace certificates
