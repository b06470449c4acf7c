#pragma once

#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

/// Keys and certificates, made when a test asks for them. Everything throws `std::runtime_error` where OpenSSL refuses.
namespace TestSupport {

using Key = std::shared_ptr<EVP_PKEY>;
using Certificate = std::shared_ptr<X509>;

Key MakeEcKey();
/// As short as where the length says nothing: an emulated processor looks long for a longer one.
Key MakeRsaKey(unsigned bits = 1024);
/// The same.
Key MakeRsaPssKey();
Key MakeDsaKey();
Key MakeEd25519Key();

/// What a certificate says. Times as "YYYYMMDDHHMMSSZ".
struct CertificateText {
    std::string name = "Developer";
    std::string notBefore = "20200101000000Z";
    std::string notAfter = "20600101000000Z";
    std::vector<std::pair<int, std::string>> extensions{};  ///< by NID, as an OpenSSL configuration writes them
    const char* digest = "SHA256";                          ///< of the issuer's signature; null for Ed25519
    long version = X509_VERSION_3;
};

/// The text of a certificate authority.
CertificateText AuthorityText(const std::string& name);

/// Without `issuer` the certificate is issued by itself: `issuerKey` is then its own key.
Certificate MakeCertificate(const CertificateText& text, const Key& key, const Certificate& issuer,
                            const Key& issuerKey);

std::string ToPem(const Certificate& certificate);
/// Encrypted with `password` unless that is empty.
std::string ToPem(const Key& key, const std::string& password = "");

/// A signature over the digest of `content`.
std::string Sign(const std::string& content, const Key& key, const char* digest = "SHA256");

/// In hexadecimal digits, lower case.
std::string Sha256Of(const std::string& content);

}  // namespace TestSupport
