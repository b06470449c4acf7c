#include "Keygen.h"

#include <openssl/ec.h>
#include <openssl/rand.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

#include <array>
#include <boost/filesystem/operations.hpp>
#include <iostream>
#include <memory>
#include <utility>
#include <vector>

#include "PackageError.h"
#include "PemFiles.h"

namespace LocalDevice {

namespace {

using Zandrel::CertificatePointer;
using Zandrel::KeyPointer;
using ExtensionPointer = std::unique_ptr<X509_EXTENSION, Zandrel::OpenSslDeleter<X509_EXTENSION_free>>;
/// Extensions by NID, as an OpenSSL configuration writes them.
using Extensions = std::vector<std::pair<int, const char*>>;

constexpr std::array<const char*, 4> FileNames{"ca.key", "ca.crt", "developer.key", "developer.crt"};
constexpr unsigned RsaBits = 3072;
/// A test certificate has no reason to end; the device wants more than 2034.
constexpr const char* LastSecond = "20491231235959Z";
constexpr long SecondsPerDay = 24L * 60 * 60;

void Check(bool isDone, const char* what) {
    if (!isDone) {
        throw Unexpected(std::string("cannot make ") + what + ": " + Zandrel::GetLastOpenSslError());
    }
}

/// Makes the directory where there is none, and finds it free of what is to be written.
void PrepareDirectory(const boost::filesystem::path& directory) {
    boost::system::error_code error;
    if (!boost::filesystem::is_directory(directory.empty() ? "." : directory, error)) {
        boost::filesystem::create_directories(directory, error);
        if (error) {
            throw Unexpected("cannot make " + directory.string() + ": " + error.message());
        }
    }
    for (const char* const name : FileNames) {
        const boost::filesystem::path path = directory / name;
        if (boost::filesystem::symlink_status(path, error).type() != boost::filesystem::file_not_found) {
            throw Unexpected(path.string() + " exists and is not overwritten");
        }
    }
}

/// Files that are gone again unless it is told to keep them.
class NewFiles {
public:
    static constexpr bool Secret = true;

    explicit NewFiles(boost::filesystem::path directory) : directory_(std::move(directory)) {}
    ~NewFiles() {
        for (const boost::filesystem::path& path : paths_) {
            boost::system::error_code ignored;
            boost::filesystem::remove(path, ignored);
        }
    }
    NewFiles(const NewFiles&) = delete;
    NewFiles& operator=(const NewFiles&) = delete;

    /// Throws `PackageError`.
    void Create(const char* name, const std::string& content, bool isSecret = false) {
        const boost::filesystem::path path = directory_ / name;
        CreateFile(path, content, isSecret);
        paths_.push_back(path);
    }
    std::vector<boost::filesystem::path> Keep() { return std::exchange(paths_, {}); }

private:
    const boost::filesystem::path directory_;
    std::vector<boost::filesystem::path> paths_;
};

KeyPointer MakeKey(PackageOptions::KeyType type) {
    KeyPointer key(type == PackageOptions::KeyType::Rsa ? EVP_RSA_gen(RsaBits) : EVP_EC_gen("P-256"));
    Check(key != nullptr, "a key");
    return key;
}

void SetSerialNumber(X509& certificate) {
    std::array<unsigned char, 8> bytes{};
    Check(RAND_bytes(bytes.data(), static_cast<int>(bytes.size())) == 1, "a serial number");
    std::uint64_t number = 0;
    for (const unsigned char byte : bytes) {
        number = number << 8 | byte;
    }
    Check(ASN1_INTEGER_set_uint64(X509_get_serialNumber(&certificate), number) == 1, "a serial number");
}

/// A certificate on `key`. Without `issuer` it is issued by itself.
CertificatePointer MakeCertificate(const char* name, EVP_PKEY& key, X509* issuer, EVP_PKEY& issuerKey,
                                   const Extensions& extensions) {
    CertificatePointer certificate(X509_new());
    Check(certificate != nullptr && X509_set_version(certificate.get(), X509_VERSION_3) == 1, "a certificate");
    SetSerialNumber(*certificate);
    Check(X509_NAME_add_entry_by_txt(X509_get_subject_name(certificate.get()), "CN", MBSTRING_UTF8,
                                     reinterpret_cast<const unsigned char*>(name), -1, -1, 0) == 1,
          "a certificate's name");
    X509& issuerCertificate = issuer == nullptr ? *certificate : *issuer;
    // From yesterday on, for devices whose clock is behind.
    Check(X509_set_issuer_name(certificate.get(), X509_get_subject_name(&issuerCertificate)) == 1 &&
              X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -SecondsPerDay) != nullptr &&
              ASN1_TIME_set_string_X509(X509_getm_notAfter(certificate.get()), LastSecond) == 1 &&
              X509_set_pubkey(certificate.get(), &key) == 1,
          "a certificate");
    X509V3_CTX context;
    X509V3_set_ctx(&context, &issuerCertificate, certificate.get(), nullptr, nullptr, 0);
    for (const auto& [nid, value] : extensions) {
        const ExtensionPointer extension(X509V3_EXT_conf_nid(nullptr, &context, nid, value));
        Check(extension != nullptr && X509_add_ext(certificate.get(), extension.get(), -1) == 1,
              "a certificate's extension");
    }
    Check(X509_sign(certificate.get(), &issuerKey, EVP_sha256()) > 0, "a certificate's signature");
    return certificate;
}

}  // namespace

void RunKeygen(const PackageOptions& options) {
    PrepareDirectory(options.directory);
    const Zandrel::CleanErrorQueue queue;
    const KeyPointer caKey = MakeKey(options.keyType);
    const CertificatePointer ca = MakeCertificate("Test CA", *caKey, nullptr, *caKey,
                                                  {{NID_basic_constraints, "critical,CA:TRUE,pathlen:0"},
                                                   {NID_key_usage, "critical,keyCertSign"},
                                                   {NID_subject_key_identifier, "hash"}});
    const KeyPointer key = MakeKey(options.keyType);
    const CertificatePointer certificate = MakeCertificate("Developer", *key, ca.get(), *caKey,
                                                           {{NID_basic_constraints, "critical,CA:FALSE"},
                                                            {NID_key_usage, "critical,digitalSignature"},
                                                            {NID_subject_key_identifier, "hash"},
                                                            {NID_authority_key_identifier, "keyid"}});
    NewFiles files(options.directory);
    files.Create(FileNames[0], ToPem(*caKey), NewFiles::Secret);
    files.Create(FileNames[1], ToPem(*ca));
    files.Create(FileNames[2], ToPem(*key), NewFiles::Secret);
    files.Create(FileNames[3], ToPem(*certificate));
    for (const boost::filesystem::path& path : files.Keep()) {
        std::cout << "wrote " << path.string() << '\n';
    }
}

}  // namespace LocalDevice
