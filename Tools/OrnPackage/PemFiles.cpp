#include "PemFiles.h"

#include <openssl/pem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <boost/algorithm/string/predicate.hpp>
#include <boost/filesystem/operations.hpp>
#include <memory>
#include <optional>
#include <string_view>

#include "OutputFile.h"
#include "PackageError.h"
#include "PackageFiles.h"
#include "RegularFile.h"

namespace LocalDevice {

namespace {

/// For a text that outlives it.
Zandrel::BioPointer MakeReader(std::string_view text) {
    Zandrel::BioPointer bio(BIO_new_mem_buf(text.data(), static_cast<int>(text.size())));
    if (bio == nullptr) {
        throw Unexpected("cannot read a key: " + Zandrel::GetLastOpenSslError());
    }
    return bio;
}

/// The text that `write`, a function of a `BIO*`, writes.
template <typename Write>
std::string WriteText(const char* what, const Write& write) {
    const Zandrel::BioPointer bio(BIO_new(BIO_s_mem()));
    if (bio == nullptr || write(bio.get()) != 1) {
        throw Unexpected(std::string("cannot write ") + what + ": " + Zandrel::GetLastOpenSslError());
    }
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return {data, static_cast<std::size_t>(size)};
}

struct MemoryDeleter {
    void operator()(void* memory) const noexcept { OPENSSL_free(memory); }
};

/// Whether a text begins with a whole PEM block that holds a private key.
bool BeginsWithPrivateKey(std::string_view text) {
    const Zandrel::BioPointer bio = MakeReader(text);
    char* name = nullptr;
    char* header = nullptr;
    unsigned char* data = nullptr;
    long size = 0;
    const bool isRead = PEM_read_bio(bio.get(), &name, &header, &data, &size) == 1;
    const std::unique_ptr<char, MemoryDeleter> ownedName(name);
    const std::unique_ptr<char, MemoryDeleter> ownedHeader(header);
    const std::unique_ptr<unsigned char, MemoryDeleter> ownedData(data);
    return isRead && boost::algorithm::ends_with(name, "PRIVATE KEY");
}

/// Looks from each end of a block back to its beginning: a beginning alone, as in a text about keys, hides nothing.
bool ContainsPrivateKey(std::string_view text) {
    constexpr std::string_view Begin = "-----BEGIN ";
    constexpr std::string_view End = "-----END ";
    constexpr std::size_t LongestEnd = 64;
    for (std::size_t end = text.find(End); end != std::string_view::npos; end = text.find(End)) {
        const std::size_t begin = text.substr(0, end).rfind(Begin);
        if (begin != std::string_view::npos && BeginsWithPrivateKey(text.substr(begin, end - begin + LongestEnd))) {
            return true;
        }
        text.remove_prefix(end + End.size());
    }
    return false;
}

/// Appends as much of a file as there is, `size` bytes at most; false where it has ended or cannot be read.
bool Append(std::string& text, Zandrel::RegularFile& file, std::size_t size) {
    const std::size_t before = text.size();
    std::size_t after = before;
    text.resize(before + size);
    while (after < text.size()) {
        const std::size_t count = file.Read(&text[after], text.size() - after).value_or(0);
        if (count == 0) {
            break;
        }
        after += count;
    }
    text.resize(after);
    return after > before;
}

constexpr mode_t ForAll = S_IRUSR | S_IWUSR | S_IRGRP | S_IROTH;
constexpr mode_t ForTheOwner = S_IRUSR | S_IWUSR;

}  // namespace

std::string ToPem(X509& certificate) {
    return WriteText("a certificate", [&certificate](BIO* bio) { return PEM_write_bio_X509(bio, &certificate); });
}

std::string ToPem(EVP_PKEY& key) {
    return WriteText("a key", [&key](BIO* bio) {
        return PEM_write_bio_PrivateKey(bio, &key, nullptr, nullptr, 0, &Zandrel::RefusePassword, nullptr);
    });
}

Zandrel::KeyPointer LoadPrivateKey(const boost::filesystem::path& path) {
    const std::optional<std::string> pem =
        Zandrel::ReadWholeFile(path, Zandrel::RegularFile::Links::Followed, Zandrel::PackageFiles::CertificateLimit);
    if (!pem) {
        throw Unexpected("cannot open key file " + path.string());
    }
    Zandrel::KeyPointer key(
        PEM_read_bio_PrivateKey(MakeReader(*pem).get(), nullptr, &Zandrel::RefusePassword, nullptr));
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
    constexpr std::size_t Largest = Zandrel::PackageFiles::CertificateLimit;
    std::optional<Zandrel::RegularFile> file = Zandrel::RegularFile::Open(path, Zandrel::RegularFile::Links::Refused);
    if (!file) {
        return false;  // its own step tells that it cannot be read
    }
    const Zandrel::CleanErrorQueue queue;
    std::string window;
    while (Append(window, *file, Largest)) {
        if (ContainsPrivateKey(window)) {
            return true;
        }
        window.erase(0, window.size() - std::min(window.size(), Largest));  // a key may go on
    }
    return false;
}

void CreateFile(const boost::filesystem::path& path, const std::string& content, bool isSecret) {
    OutputFile file(path, isSecret ? ForTheOwner : ForAll);
    try {
        file.Write(content);
        file.Close();
    } catch (...) {
        unlink(path.c_str());
        throw;
    }
}

}  // namespace LocalDevice
