#include "OrnPackageFaults.h"

#include <dlfcn.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "AllocationFault.h"

namespace {

using namespace OrnPackageFaults;

std::string GetFault() {
    const char* const fault = std::getenv(Variable);
    return fault == nullptr ? "" : fault;
}

class OneAllocation {
public:
    OneAllocation() {
        const std::string fault = GetFault();
        if (!fault.empty() && fault.find_first_not_of("0123456789") == std::string::npos) {
            fault_.emplace(static_cast<unsigned>(std::stoul(fault)));
        }
    }
    ~OneAllocation() {
        if (fault_ && !fault_->HasHappened()) {
            std::cerr << NoneFailed << '\n';
        }
    }
    OneAllocation(const OneAllocation&) = delete;
    OneAllocation& operator=(const OneAllocation&) = delete;

private:
    std::optional<TestSupport::AllocationFault> fault_;
};

const OneAllocation oneAllocation;

bool IsToFail(std::string_view function) {
    const bool isToFail = GetFault() == function;
    if (isToFail) {
        ERR_raise(ERR_LIB_USER, ERR_R_MALLOC_FAILURE);
    }
    return isToFail;
}

/// The user ends the program.
void RaiseIfToFail(std::string_view function) {
    if (GetFault() == function) {
        std::raise(SIGINT);
    }
}

template <typename Function>
Function* Next(const char* name, Function* /*interposed*/) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// The program's own ones go before those of the libraries.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name): the libraries' names are other ones
extern "C" {

int RAND_bytes(unsigned char* bytes, int count) {
    return IsToFail("RAND_bytes") ? 0 : Next("RAND_bytes", &RAND_bytes)(bytes, count);
}

int X509_set_version(X509* certificate, long version) {
    return IsToFail("X509_set_version") ? 0 : Next("X509_set_version", &X509_set_version)(certificate, version);
}

int X509_NAME_add_entry_by_txt(X509_NAME* name, const char* field, int type, const unsigned char* text, int size,
                               int place, int set) {
    return IsToFail("X509_NAME_add_entry_by_txt") ? 0
                                                  : Next("X509_NAME_add_entry_by_txt", &X509_NAME_add_entry_by_txt)(
                                                        name, field, type, text, size, place, set);
}

X509_EXTENSION* X509V3_EXT_conf_nid(LHASH_OF(CONF_VALUE) * configuration, X509V3_CTX* context, int nid,
                                    const char* value) {
    return IsToFail("X509V3_EXT_conf_nid")
               ? nullptr
               : Next("X509V3_EXT_conf_nid", &X509V3_EXT_conf_nid)(configuration, context, nid, value);
}

int X509_sign(X509* certificate, EVP_PKEY* key, const EVP_MD* digest) {
    return IsToFail("X509_sign") ? 0 : Next("X509_sign", &X509_sign)(certificate, key, digest);
}

int PEM_write_bio_X509(BIO* bio, const X509* certificate) {
    return IsToFail("PEM_write_bio_X509") ? 0 : Next("PEM_write_bio_X509", &PEM_write_bio_X509)(bio, certificate);
}

int PEM_write_bio_PrivateKey(BIO* bio, const EVP_PKEY* key, const EVP_CIPHER* cipher, const unsigned char* password,
                             int size, pem_password_cb* callback, void* data) {
    return IsToFail("PEM_write_bio_PrivateKey") ? 0
                                                : Next("PEM_write_bio_PrivateKey", &PEM_write_bio_PrivateKey)(
                                                      bio, key, cipher, password, size, callback, data);
}

// Called by a library.
__attribute__((visibility("default"))) int rename(const char* from, const char* to) noexcept {
    RaiseIfToFail("rename");
    return Next("rename", &rename)(from, to);
}

int renameat2(int fromFolder, const char* from, int toFolder, const char* to, unsigned flags) noexcept {
    RaiseIfToFail("renameat2");
    return Next("renameat2", &renameat2)(fromFolder, from, toFolder, to, flags);
}

BIO* BIO_new_mem_buf(const void* text, int size) {
    return IsToFail("BIO_new_mem_buf") ? nullptr : Next("BIO_new_mem_buf", &BIO_new_mem_buf)(text, size);
}

int EVP_DigestSign(EVP_MD_CTX* context, unsigned char* signature, size_t* signatureSize, const unsigned char* data,
                   size_t size) {
    // Asked for the size alone it only says whether the key's type is a known one.
    return signature != nullptr && IsToFail("EVP_DigestSign")
               ? 0
               : Next("EVP_DigestSign", &EVP_DigestSign)(context, signature, signatureSize, data, size);
}

}  // extern "C"
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
