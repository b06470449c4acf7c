#include "Show.h"

#include <openssl/x509.h>

#include <iostream>
#include <optional>
#include <vector>

#include "DeveloperCertificate.h"
#include "FileList.h"
#include "PackageError.h"
#include "PackageFiles.h"
#include "PrintableText.h"
#include "RegularFile.h"

namespace LocalDevice {

namespace {

namespace PackageFiles = Zandrel::PackageFiles;

std::string TakeText(const Zandrel::BioPointer& bio) {
    char* data = nullptr;
    const long size = BIO_get_mem_data(bio.get(), &data);
    return MakePrintable({data, static_cast<std::size_t>(size)});
}

std::string Describe(const X509_NAME& name) {
    const Zandrel::BioPointer bio(BIO_new(BIO_s_mem()));
    X509_NAME_print_ex(bio.get(), &name, 0, XN_FLAG_ONELINE & ~ASN1_STRFLGS_ESC_MSB);
    return TakeText(bio);
}

std::string Describe(const ASN1_TIME& time) {
    const Zandrel::BioPointer bio(BIO_new(BIO_s_mem()));
    ASN1_TIME_print(bio.get(), &time);
    return TakeText(bio);
}

void PrintCertificate(X509& certificate) {
    std::cout << "Developer  " << Describe(*X509_get_subject_name(&certificate)) << '\n'
              << "Issuer     " << Describe(*X509_get_issuer_name(&certificate)) << '\n'
              << "Valid      " << Describe(*X509_get0_notBefore(&certificate)) << " to "
              << Describe(*X509_get0_notAfter(&certificate)) << '\n';
    const EVP_PKEY* const key = X509_get0_pubkey(&certificate);
    const char* const type = key == nullptr ? nullptr : EVP_PKEY_get0_type_name(key);
    if (type == nullptr) {
        std::cout << "Key        unknown\n";
    } else {
        std::cout << "Key        " << type << ", " << EVP_PKEY_get_bits(key) << " bits\n";
    }
}

void PrintFile(const Zandrel::FileEntry& entry) {
    std::cout << "  " << MakePrintable(entry.sha256.value_or("(no sum)")) << "  "
              << MakePrintable(entry.name.value_or("(no name)")) << '\n';
}

}  // namespace

void RunShow(const PackageOptions& options) {
    const auto certificate = Zandrel::LoadCerfificate(options.directory / PackageFiles::DeveloperCertificate,
                                                      Zandrel::RegularFile::Links::Refused);
    if (certificate == nullptr) {
        throw Unexpected(options.directory.string() + " is no signed package");
    }
    const std::optional<std::string> list = Zandrel::ReadWholeFile(
        options.directory / PackageFiles::FileList, Zandrel::RegularFile::Links::Refused, PackageFiles::FileListLimit);
    if (!list) {
        throw Unexpected("cannot read " + (options.directory / PackageFiles::FileList).string());
    }
    try {
        const std::vector<Zandrel::FileEntry> entries = Zandrel::ParseFileList(*list);
        PrintCertificate(*certificate);
        std::cout << "Files      " << entries.size() << '\n';
        for (const Zandrel::FileEntry& entry : entries) {
            PrintFile(entry);
        }
    } catch (const Zandrel::FileListError& error) {
        throw Unexpected("cannot read " + (options.directory / PackageFiles::FileList).string() + ": " + error.what());
    }
}

}  // namespace LocalDevice
