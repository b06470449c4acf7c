#include "DeveloperCertificate.h"

#include <openssl/pem.h>

#include <ctime>
#include <optional>
#include <string>

#include "Orn/Logging.h"
#include "PackageFiles.h"

namespace Zandrel {

namespace {

/// 1 January 2035, 00:00:00 local time: how long certificates must be valid at least.
std::time_t GetCheckTime() {
    std::tm date{};
    date.tm_year = 2035 - 1900;
    date.tm_mday = 1;
    date.tm_isdst = -1;  // January is summer in the south
    return std::mktime(&date);
}

}  // namespace

CertificatePointer LoadCerfificate(const boost::filesystem::path& path, RegularFile::Links links) {
    const std::optional<std::string> pem = ReadWholeFile(path, links, PackageFiles::CertificateLimit);
    if (!pem) {
        ORN_LOG_GLOBAL(ERROR, "Could not open certificate file " << path.string());
        return nullptr;
    }
    const BioPointer bio(BIO_new_mem_buf(pem->data(), static_cast<int>(pem->size())));
    CertificatePointer certificate(bio == nullptr ? nullptr
                                                  : PEM_read_bio_X509(bio.get(), nullptr, &RefusePassword, nullptr));
    if (certificate == nullptr) {
        ORN_LOG_GLOBAL(ERROR, "Could not parse the certificate file " << path.string());
    }
    return certificate;
}

VerificationResult CheckOfficialDeveloperCertificate(X509& developerCertificate, X509& caCertificate) {
    const CertificateStorePointer store(X509_STORE_new());
    if (store == nullptr) {
        ORN_LOG_GLOBAL(ERROR, "Could not allocate an X509 store");
        return VerificationResult::Unverifiable;
    }
    const CertificateContextPointer context(X509_STORE_CTX_new());
    if (context == nullptr) {
        ORN_LOG_GLOBAL(ERROR, "Could not allocate an X509 context");
        return VerificationResult::Unverifiable;
    }
    if (X509_STORE_add_cert(store.get(), &caCertificate) != 1) {
        ORN_LOG_GLOBAL(ERROR, "Could not add the CA to the store");
        return VerificationResult::Unverifiable;
    }
    if (X509_STORE_CTX_init(context.get(), store.get(), &developerCertificate, nullptr) != 1) {
        ORN_LOG_GLOBAL(ERROR, "Could not initialize the CA check context");
        return VerificationResult::Unverifiable;
    }
    X509_STORE_CTX_set_time(context.get(), 0, GetCheckTime());
    X509_STORE_CTX_set_flags(context.get(), X509_V_FLAG_USE_CHECK_TIME);
    if (X509_verify_cert(context.get()) != 1) {
        const int code = X509_STORE_CTX_get_error(context.get());
        ORN_LOG_GLOBAL(ERROR, "Developer certificate check failed with return code "
                                  << code << ", message: " << X509_verify_cert_error_string(code));
        ORN_LOG_GLOBAL(ERROR, "The developer certificate is not derived from the official CA");
        return VerificationResult::Corrupt;
    }
    return VerificationResult::SignatureOk;
}

}  // namespace Zandrel
