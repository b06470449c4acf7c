#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

#include <memory>
#include <string>

namespace Zandrel {

template <auto Free>
struct OpenSslDeleter {
    template <typename Object>
    void operator()(Object* object) const noexcept {
        Free(object);
    }
};

/// OpenSSL's objects with their owners.
using BioPointer = std::unique_ptr<BIO, OpenSslDeleter<BIO_free_all>>;
using DigestPointer = std::unique_ptr<EVP_MD, OpenSslDeleter<EVP_MD_free>>;
using DigestContextPointer = std::unique_ptr<EVP_MD_CTX, OpenSslDeleter<EVP_MD_CTX_free>>;
using KeyPointer = std::unique_ptr<EVP_PKEY, OpenSslDeleter<EVP_PKEY_free>>;
using CertificatePointer = std::unique_ptr<X509, OpenSslDeleter<X509_free>>;
using CertificateStorePointer = std::unique_ptr<X509_STORE, OpenSslDeleter<X509_STORE_free>>;
using CertificateContextPointer = std::unique_ptr<X509_STORE_CTX, OpenSslDeleter<X509_STORE_CTX_free>>;

/// SHA-256; null where no provider has it.
DigestPointer GetSha256();

/// The text of the calling thread's last OpenSSL error, since a `CleanErrorQueue` began.
std::string GetLastOpenSslError();

/// Empties the calling thread's queue of OpenSSL errors, at its beginning and at its end: what another user of the
/// library left is no reason, and nothing is left for another user.
class CleanErrorQueue {
public:
    CleanErrorQueue();
    ~CleanErrorQueue();
    CleanErrorQueue(const CleanErrorQueue&) = delete;
    CleanErrorQueue& operator=(const CleanErrorQueue&) = delete;
};

/// A password callback for PEM functions that has none, so that OpenSSL does not ask on the terminal.
int RefusePassword(char* buffer, int size, int isWriting, void* data);

}  // namespace Zandrel
