#include "PemFiles.h"

#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>
#include <memory>
#include <optional>

#include "OutputFile.h"
#include "PackageError.h"
#include "PackageFiles.h"
#include "RegularFile.h"

namespace LocalDevice {

namespace {

std::string TakeText(BIO& bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(&bio, &data);
    return {data, static_cast<std::size_t>(size)};
}

struct MemoryDeleter {
    void operator()(void* memory) const noexcept { OPENSSL_free(memory); }
};

/// What the next PEM block is, such as "CERTIFICATE"; none where there is none. One that is damaged is passed over.
std::optional<std::string> ReadPemBlock(BIO& bio) {
    for (std::size_t left = BIO_ctrl_pending(&bio); left > 0;) {
        char* name = nullptr;
        char* header = nullptr;
        unsigned char* data = nullptr;
        long size = 0;
        const bool isRead = PEM_read_bio(&bio, &name, &header, &data, &size) == 1;
        const std::unique_ptr<char, MemoryDeleter> ownedName(name);
        const std::unique_ptr<char, MemoryDeleter> ownedHeader(header);
        const std::unique_ptr<unsigned char, MemoryDeleter> ownedData(data);
        if (isRead) {
            return std::string(name);
        }
        left = BIO_ctrl_pending(&bio) < left ? BIO_ctrl_pending(&bio) : 0;
    }
    return std::nullopt;
}

constexpr mode_t ForAll = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
constexpr mode_t ForTheOwner = S_IRUSR | S_IWUSR;

}  // namespace

std::string ToPem(X509& certificate) {
    const Zandrel::BioPointer bio(BIO_new(BIO_s_mem()));
    if (bio == nullptr || PEM_write_bio_X509(bio.get(), &certificate) != 1) {
        throw Unexpected("cannot write a certificate: " + Zandrel::GetLastOpenSslError());
    }
    return TakeText(*bio);
}

std::string ToPem(EVP_PKEY& key) {
    const Zandrel::BioPointer bio(BIO_new(BIO_s_mem()));
    if (bio == nullptr ||
        PEM_write_bio_PrivateKey(bio.get(), &key, nullptr, nullptr, 0, &Zandrel::RefusePassword, nullptr) != 1) {
        throw Unexpected("cannot write a key: " + Zandrel::GetLastOpenSslError());
    }
    return TakeText(*bio);
}

Zandrel::KeyPointer LoadPrivateKey(const boost::filesystem::path& path) {
    const std::optional<std::string> pem =
        Zandrel::ReadWholeFile(path, Zandrel::RegularFile::Links::Followed, Zandrel::PackageFiles::CertificateLimit);
    if (!pem) {
        throw Unexpected("cannot open key file " + path.string());
    }
    const Zandrel::BioPointer bio(BIO_new_mem_buf(pem->data(), static_cast<int>(pem->size())));
    Zandrel::KeyPointer key(
        bio == nullptr ? nullptr : PEM_read_bio_PrivateKey(bio.get(), nullptr, &Zandrel::RefusePassword, nullptr));
    if (key == nullptr) {
        throw Unexpected("cannot parse key file " + path.string() + ": expected a private key, PEM, not encrypted");
    }
    return key;
}

void ExpectCaCertificate(const boost::filesystem::path& path) {
    if (!boost::filesystem::exists(path)) {
        throw Unexpected("there is no " + path.string() + ": --ca names the certificate of the CA");
    }
}

bool HoldsPrivateKey(const boost::filesystem::path& path) {
    const std::optional<std::string> content =
        Zandrel::ReadWholeFile(path, Zandrel::RegularFile::Links::Refused, Zandrel::PackageFiles::CertificateLimit);
    if (!content) {
        return false;  // larger than a key, or the app's own step tells that it cannot be read
    }
    const Zandrel::CleanErrorQueue queue;
    const Zandrel::BioPointer bio(BIO_new_mem_buf(content->data(), static_cast<int>(content->size())));
    if (bio == nullptr) {
        throw Unexpected("cannot read " + path.string() + ": " + Zandrel::GetLastOpenSslError());
    }
    while (const std::optional<std::string> name = ReadPemBlock(*bio)) {
        if (boost::algorithm::ends_with(*name, "PRIVATE KEY")) {
            return true;
        }
    }
    return false;
}

void CreateFile(const boost::filesystem::path& path, const std::string& content, bool isSecret) {
    OutputFile file(path, OutputFile::Mode::New, isSecret ? ForTheOwner : ForAll);
    try {
        file.Write(content);
        file.Close();
    } catch (...) {
        unlink(path.c_str());
        throw;
    }
}

void ReplaceFile(const boost::filesystem::path& path, const std::string& content) {
    OutputFile file(path, OutputFile::Mode::Overwritten, ForAll);
    file.Write(content);
    file.Close();
}

}  // namespace LocalDevice
