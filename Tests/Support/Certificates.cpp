#include "Certificates.h"

#include <openssl/bio.h>
#include <openssl/dsa.h>
#include <openssl/ec.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <array>
#include <atomic>
#include <boost/algorithm/hex.hpp>
#include <iterator>
#include <stdexcept>

namespace TestSupport {

namespace {

void Check(bool isDone, const char* what) {
    if (!isDone) {
        throw std::runtime_error(std::string("OpenSSL: ") + what);
    }
}

Key Own(EVP_PKEY* key) {
    Check(key != nullptr, "make a key");
    return {key, &EVP_PKEY_free};
}

using Context = std::unique_ptr<EVP_PKEY_CTX, void (*)(EVP_PKEY_CTX*)>;

Context Begin(EVP_PKEY_CTX* made, int (*begin)(EVP_PKEY_CTX*)) {
    Context context(made, &EVP_PKEY_CTX_free);
    Check(context != nullptr && begin(context.get()) == 1, "begin to make a key");
    return context;
}

Key Generate(EVP_PKEY_CTX& context) {
    EVP_PKEY* key = nullptr;
    Check(EVP_PKEY_generate(&context, &key) == 1, "make a key");
    return Own(key);
}

void SetTimes(X509& certificate, const CertificateText& text) {
    const std::unique_ptr<ASN1_TIME, decltype(&ASN1_TIME_free)> time(ASN1_TIME_new(), &ASN1_TIME_free);
    Check(ASN1_TIME_set_string_X509(time.get(), text.notBefore.c_str()) == 1 &&
              X509_set1_notBefore(&certificate, time.get()) == 1,
          "set notBefore");
    Check(ASN1_TIME_set_string_X509(time.get(), text.notAfter.c_str()) == 1 &&
              X509_set1_notAfter(&certificate, time.get()) == 1,
          "set notAfter");
}

std::string TakeText(BIO* bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio, &data);
    std::string text(data, static_cast<std::size_t>(size));
    BIO_free(bio);
    return text;
}

}  // namespace

Key MakeEcKey() {
    return Own(EVP_EC_gen("P-256"));
}

Key MakeRsaKey(unsigned bits) {
    return Own(EVP_RSA_gen(bits));
}

Key MakeRsaPssKey() {
    const Context context = Begin(EVP_PKEY_CTX_new_from_name(nullptr, "RSA-PSS", nullptr), &EVP_PKEY_keygen_init);
    Check(EVP_PKEY_CTX_set_rsa_keygen_bits(context.get(), 1024) == 1, "set the length of a key");
    return Generate(*context);
}

Key MakeDsaKey() {
    const Context parameters = Begin(EVP_PKEY_CTX_new_from_name(nullptr, "DSA", nullptr), &EVP_PKEY_paramgen_init);
    Check(EVP_PKEY_CTX_set_dsa_paramgen_bits(parameters.get(), 1024) == 1, "set the length of a key");
    return Generate(
        *Begin(EVP_PKEY_CTX_new_from_pkey(nullptr, Generate(*parameters).get(), nullptr), &EVP_PKEY_keygen_init));
}

Key MakeEd25519Key() {
    return Own(EVP_PKEY_Q_keygen(nullptr, nullptr, "ED25519"));
}

CertificateText AuthorityText(const std::string& name) {
    CertificateText text;
    text.name = name;
    text.extensions = {{NID_basic_constraints, "critical,CA:TRUE"}, {NID_key_usage, "critical,keyCertSign,cRLSign"}};
    return text;
}

Certificate MakeCertificate(const CertificateText& text, const Key& key, const Certificate& issuer,
                            const Key& issuerKey) {
    static std::atomic<long> serial{0};
    Certificate certificate(X509_new(), &X509_free);
    Check(certificate != nullptr, "make a certificate");
    X509_set_version(certificate.get(), text.version);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), ++serial);
    SetTimes(*certificate, text);
    X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                               reinterpret_cast<const unsigned char*>(text.name.c_str()), -1, -1, 0);
    X509* const issuerCertificate = issuer == nullptr ? certificate.get() : issuer.get();
    X509_set_issuer_name(certificate.get(), X509_get_subject_name(issuerCertificate));
    Check(X509_set_pubkey(certificate.get(), key.get()) == 1, "set the public key");
    X509V3_CTX context;
    X509V3_set_ctx(&context, issuerCertificate, certificate.get(), nullptr, nullptr, 0);
    for (const auto& [nid, value] : text.extensions) {
        X509_EXTENSION* const extension = X509V3_EXT_conf_nid(nullptr, &context, nid, value.c_str());
        Check(extension != nullptr, "make an extension");
        X509_add_ext(certificate.get(), extension, -1);
        X509_EXTENSION_free(extension);
    }
    const EVP_MD* const digest = text.digest == nullptr ? nullptr : EVP_get_digestbyname(text.digest);
    Check(X509_sign(certificate.get(), issuerKey.get(), digest) > 0, "sign a certificate");
    return certificate;
}

std::string ToPem(const Certificate& certificate) {
    BIO* const bio = BIO_new(BIO_s_mem());
    PEM_write_bio_X509(bio, certificate.get());
    return TakeText(bio);
}

std::string ToPem(const Key& key, const std::string& password) {
    BIO* const bio = BIO_new(BIO_s_mem());
    PEM_write_bio_PrivateKey(bio, key.get(), password.empty() ? nullptr : EVP_aes_128_cbc(),
                             reinterpret_cast<const unsigned char*>(password.data()), static_cast<int>(password.size()),
                             nullptr, nullptr);
    return TakeText(bio);
}

std::string Sign(const std::string& content, const Key& key, const char* digest) {
    const std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(), &EVP_MD_CTX_free);
    const EVP_MD* const algorithm = digest == nullptr ? nullptr : EVP_get_digestbyname(digest);
    const auto* const data = reinterpret_cast<const unsigned char*>(content.data());
    std::size_t size = 0;
    Check(EVP_DigestSignInit(context.get(), nullptr, algorithm, nullptr, key.get()) == 1 &&
              EVP_DigestSign(context.get(), nullptr, &size, data, content.size()) == 1,
          "begin a signature");
    std::string signature(size, '\0');
    Check(EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size, data,
                         content.size()) == 1,
          "sign");
    signature.resize(size);
    return signature;
}

std::string Sha256Of(const std::string& content) {
    std::array<unsigned char, 32> digest{};
    Check(EVP_Digest(content.data(), content.size(), digest.data(), nullptr, EVP_sha256(), nullptr) == 1, "digest");
    std::string text;
    boost::algorithm::hex_lower(digest.begin(), digest.end(), std::back_inserter(text));
    return text;
}

}  // namespace TestSupport
