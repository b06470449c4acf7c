#include "PemFiles.h"

#include <fcntl.h>
#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

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

[[noreturn]] void ThrowSystemError(const boost::filesystem::path& path, int error) {
    throw Unexpected("cannot write " + path.string() + ": " + std::generic_category().message(error));
}

void WriteFile(const boost::filesystem::path& path, const std::string& content, int flags, mode_t mode) {
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOFOLLOW | flags, mode);
    if (descriptor < 0) {
        ThrowSystemError(path, errno);
    }
    std::size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = write(descriptor, content.data() + written, content.size() - written);
        if (count < 0 && errno != EINTR) {
            const int error = errno;
            close(descriptor);
            ThrowSystemError(path, error);
        }
        written += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    if (close(descriptor) != 0) {
        ThrowSystemError(path, errno);
    }
}

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

void CreateFile(const boost::filesystem::path& path, const std::string& content, bool isSecret) {
    WriteFile(path, content, O_EXCL, isSecret ? S_IRUSR | S_IWUSR : S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
}

void ReplaceFile(const boost::filesystem::path& path, const std::string& content) {
    WriteFile(path, content, O_TRUNC, S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH);
}

}  // namespace LocalDevice
