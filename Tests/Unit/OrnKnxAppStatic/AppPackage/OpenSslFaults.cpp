#include "OpenSslFaults.h"

#include <dlfcn.h>
#include <openssl/evp.h>
#include <openssl/x509.h>
#include <openssl/x509_vfy.h>

namespace {

template <typename Function>
Function* Next(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the libraries' names are other ones
extern "C" {

X509_STORE* X509_STORE_new() {
    static const auto next = Next<X509_STORE*()>("X509_STORE_new");
    return OpenSslFaults::newStore.exchange(false) ? nullptr : next();
}

X509_STORE_CTX* X509_STORE_CTX_new() {
    static const auto next = Next<X509_STORE_CTX*()>("X509_STORE_CTX_new");
    return OpenSslFaults::newContext.exchange(false) ? nullptr : next();
}

int X509_STORE_add_cert(X509_STORE* store, X509* certificate) {
    static const auto next = Next<int(X509_STORE*, X509*)>("X509_STORE_add_cert");
    return OpenSslFaults::addCertificate.exchange(false) ? 0 : next(store, certificate);
}

int X509_STORE_CTX_init(X509_STORE_CTX* context, X509_STORE* store, X509* certificate, STACK_OF(X509) * chain) {
    static const auto next = Next<int(X509_STORE_CTX*, X509_STORE*, X509*, STACK_OF(X509)*)>("X509_STORE_CTX_init");
    return OpenSslFaults::initContext.exchange(false) ? 0 : next(context, store, certificate, chain);
}

int X509_verify_cert(X509_STORE_CTX* context) {
    static const auto next = Next<int(X509_STORE_CTX*)>("X509_verify_cert");
    OpenSslFaults::checkTime = X509_VERIFY_PARAM_get_time(X509_STORE_CTX_get0_param(context));
    return next(context);
}

EVP_MD* EVP_MD_fetch(OSSL_LIB_CTX* library, const char* algorithm, const char* properties) {
    static const auto next = Next<EVP_MD*(OSSL_LIB_CTX*, const char*, const char*)>("EVP_MD_fetch");
    return OpenSslFaults::fetchDigest.exchange(false) ? nullptr : next(library, algorithm, properties);
}

EVP_PKEY* X509_get0_pubkey(const X509* certificate) {
    static const auto next = Next<EVP_PKEY*(const X509*)>("X509_get0_pubkey");
    return OpenSslFaults::getPublicKey.exchange(false) ? nullptr : next(certificate);
}

EVP_MD_CTX* EVP_MD_CTX_new() {
    static const auto next = Next<EVP_MD_CTX*()>("EVP_MD_CTX_new");
    const bool isCounting = OpenSslFaults::newDigestContext > 0;
    return isCounting && --OpenSslFaults::newDigestContext == 0 ? nullptr : next();
}

int EVP_DigestUpdate(EVP_MD_CTX* context, const void* data, size_t size) {
    static const auto next = Next<int(EVP_MD_CTX*, const void*, size_t)>("EVP_DigestUpdate");
    return OpenSslFaults::updateDigest.exchange(false) ? 0 : next(context, data, size);
}

int EVP_DigestVerifyFinal(EVP_MD_CTX* context, const unsigned char* signature, size_t size) {
    static const auto next = Next<int(EVP_MD_CTX*, const unsigned char*, size_t)>("EVP_DigestVerifyFinal");
    return OpenSslFaults::verifySignature.exchange(false) ? -1 : next(context, signature, size);
}

time_t time(time_t* result) noexcept {
    static const auto next = Next<time_t(time_t*)>("time");
    const time_t fake = OpenSslFaults::clock;
    const time_t now = fake == 0 ? next(nullptr) : fake;
    if (result != nullptr) {
        *result = now;
    }
    return now;
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
