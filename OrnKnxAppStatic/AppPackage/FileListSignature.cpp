#include "FileListSignature.h"

#include <optional>

#include "Orn/Logging.h"
#include "PackageFiles.h"
#include "RegularFile.h"

namespace Zandrel {

namespace {

/// An error counts as not verified.
bool IsSigned(EVP_MD_CTX& context, const std::string& content, const std::string& signature, EVP_PKEY& key,
              const EVP_MD& digest) {
    return EVP_DigestVerifyInit_ex(&context, nullptr, EVP_MD_get0_name(&digest), nullptr, nullptr, &key, nullptr) ==
               1 &&
           EVP_DigestVerifyUpdate(&context, content.data(), content.size()) == 1 &&
           EVP_DigestVerifyFinal(&context, reinterpret_cast<const unsigned char*>(signature.data()),
                                 signature.size()) == 1;
}

}  // namespace

VerificationResult CheckSignature(const std::string& fileList, const boost::filesystem::path& signatureFile,
                                  X509& developerCertificate) {
    EVP_PKEY* const key = X509_get0_pubkey(&developerCertificate);
    if (key == nullptr) {
        ORN_LOG_GLOBAL(ERROR, "Could not read the public key of the developer certificate");
        return VerificationResult::Unverifiable;
    }
    const std::optional<std::string> signature =
        ReadWholeFile(signatureFile, RegularFile::Links::Refused, PackageFiles::SignatureLimit);
    if (!signature) {
        ORN_LOG_GLOBAL(ERROR, "Could not read the signature file");
        return VerificationResult::Unverifiable;
    }
    const DigestPointer digest = GetSha256();
    if (digest == nullptr) {
        ORN_LOG_GLOBAL(ERROR, "OpenSSL digest algorithm SHA1 is missing");
        return VerificationResult::Unverifiable;
    }
    const DigestContextPointer context(EVP_MD_CTX_new());
    if (context == nullptr) {
        ORN_LOG_GLOBAL(ERROR, "Could not allocate a digest context");
        return VerificationResult::Unverifiable;
    }
    const CleanErrorQueue queue;
    if (!IsSigned(*context, fileList, *signature, *key, *digest)) {
        ORN_LOG_GLOBAL(ERROR, "The file list signature is incorrect. OpenSSL error: " << GetLastOpenSslError());
        ORN_LOG_GLOBAL(ERROR, "The application is corrupt because the signature is wrong");
        return VerificationResult::Corrupt;
    }
    return VerificationResult::SignatureOk;
}

}  // namespace Zandrel
