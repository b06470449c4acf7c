#include "Sign.h"

#include <boost/algorithm/hex.hpp>
#include <boost/filesystem/operations.hpp>
#include <iostream>
#include <iterator>
#include <variant>
#include <vector>

#include "DeveloperCertificate.h"
#include "FileHasher.h"
#include "FileList.h"
#include "FileReplacement.h"
#include "FolderLock.h"
#include "ListedPaths.h"
#include "PackageContent.h"
#include "PackageError.h"
#include "PackageFiles.h"
#include "PemFiles.h"
#include "Progress.h"
#include "VerifyAppPackage.h"

namespace LocalDevice {

namespace {

namespace filesystem = boost::filesystem;
namespace PackageFiles = Zandrel::PackageFiles;
using Zandrel::CertificatePointer;
using Zandrel::FileHasher;
using Zandrel::KeyPointer;
using Zandrel::VerificationResult;

struct Signer {
    KeyPointer key;
    CertificatePointer certificate;
};

/// What the device's own step has printed the reason for.
void Expect(VerificationResult result) {
    if (result != VerificationResult::SignatureOk) {
        throw PackageError(result, "the device would not accept the developer certificate");
    }
}

Signer LoadSigner(const PackageOptions& options) {
    Signer signer{LoadPrivateKey(options.key), Zandrel::LoadCerfificate(options.certificate)};
    const CertificatePointer ca(signer.certificate == nullptr ? nullptr : Zandrel::LoadCerfificate(options.ca));
    if (ca == nullptr) {
        throw Unexpected("nothing was signed");
    }
    if (X509_check_private_key(signer.certificate.get(), signer.key.get()) != 1) {
        throw Refused("the key " + options.key.string() + " does not belong to the certificate " +
                      options.certificate.string());
    }
    Expect(Zandrel::CheckOfficialDeveloperCertificate(*signer.certificate, *ca));
    return signer;
}

/// A secret must not travel with the app, nor be written over.
void ExpectNoKey(const filesystem::path& directory, std::vector<std::string> names) {
    names.insert(names.end(), PackageFiles::All.begin(), PackageFiles::All.end());
    for (const std::string& name : names) {
        if (HoldsPrivateKey(directory / name)) {
            throw Refused(name + " holds a private key: it must not travel with the app");
        }
    }
}

/// Characters that mean something in XML, and white space that a parser may drop, as references.
std::string Escape(const std::string& name) {
    std::string text;
    for (const char character : name) {
        const auto code = static_cast<unsigned char>(character);
        if (code <= ' ' || character == '&' || character == '<' || character == '>') {
            text += "&#" + std::to_string(code) + ";";
        } else {
            text += character;
        }
    }
    return text;
}

std::string HashFile(const filesystem::path& file, FileHasher& hasher) {
    const auto sum = hasher.Hash(file);
    if (const auto* const failure = std::get_if<FileHasher::Failure>(&sum)) {
        if (*failure == FileHasher::Failure::TooLarge) {
            throw Refused("the package is too large: more than " + std::to_string(FileHasher::PackageLimit >> 20) +
                          " MiB");
        }
        throw Unexpected("cannot read " + file.string());
    }
    const auto& digest = std::get<Zandrel::Sha256Digest>(sum);
    std::string digits;
    boost::algorithm::hex_lower(digest.begin(), digest.end(), std::back_inserter(digits));
    return digits;
}

std::string MakeFileList(const filesystem::path& directory, const PackageContent& content, Progress& progress) {
    FileHasher hasher([&progress](std::uint64_t bytes) { progress.Add(bytes); });
    Zandrel::ListedPaths paths;
    std::string list = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Files>\n";
    for (const std::string& name : content.names) {
        if (!paths.AddFile(name)) {
            throw Refused("too many directories: their names are more than the device reads");
        }
        list += "  <File>\n    <Name>" + Escape(name) + "</Name>\n    <Sha256>" + HashFile(directory / name, hasher) +
                "</Sha256>\n  </File>\n";
    }
    list += "</Files>\n";
    if (list.size() > PackageFiles::FileListLimit) {
        throw Refused("too many files: their list is larger than the device reads");
    }
    try {
        Zandrel::ParseFileList(list);
    } catch (const Zandrel::FileListError& error) {
        throw Refused(std::string("the device would not read the file list: ") + error.what());
    }
    return list;
}

std::string MakeSignature(const std::string& list, EVP_PKEY& key) {
    const Zandrel::CleanErrorQueue queue;
    const Zandrel::DigestContextPointer context(EVP_MD_CTX_new());
    const auto* const data = reinterpret_cast<const unsigned char*>(list.data());
    std::size_t size = 0;
    if (context == nullptr ||
        EVP_DigestSignInit_ex(context.get(), nullptr, "SHA256", nullptr, nullptr, &key, nullptr) != 1 ||
        EVP_DigestSign(context.get(), nullptr, &size, data, list.size()) != 1) {
        throw Refused("the device knows no signature of a key of this type: " + Zandrel::GetLastOpenSslError());
    }
    std::string signature(size, '\0');
    if (EVP_DigestSign(context.get(), reinterpret_cast<unsigned char*>(signature.data()), &size, data, list.size()) !=
        1) {
        throw Unexpected("cannot sign: " + Zandrel::GetLastOpenSslError());
    }
    signature.resize(size);
    return signature;
}

}  // namespace

void RunSign(const PackageOptions& options) {
    if (!filesystem::is_directory(options.directory)) {
        throw Unexpected(options.directory.string() + " is no directory");
    }
    const FolderLock lock(options.directory, FolderLock::Kind::Exclusive);
    ExpectCaCertificate(options.ca);
    const Signer signer = LoadSigner(options);
    const std::string pem = ToPem(*signer.certificate);
    MakeSignature("", *signer.key);  // before the long part: the key may be of a type that the device does not know
    for (const char* const name : PackageFiles::All) {
        FileReplacement::RemoveDraft(options.directory / name);
    }
    const PackageContent content = CollectContent(options.directory);
    ExpectNoKey(options.directory, content.names);
    Progress progress(2 * content.bytes);  // read once to sign and once to check
    const std::string list = MakeFileList(options.directory, content, progress);
    const std::string signature = MakeSignature(list, *signer.key);

    FileReplacement files;
    files.Write(options.directory / PackageFiles::FileList, list);  // the largest first, on a medium that fills up
    files.Write(options.directory / PackageFiles::Signature, signature);
    files.Write(options.directory / PackageFiles::DeveloperCertificate, pem);
    files.Replace();
    const VerificationResult result =
        Zandrel::VerifyAppPackage(options.directory / PackageFiles::FileList, options.ca,
                                  [&progress](std::uint64_t bytes) { progress.Add(bytes); });
    if (result != VerificationResult::SignatureOk) {
        throw ChangedMeanwhile(result, "signed");
    }
    files.Keep();
    std::cout << "signed " << content.names.size() << (content.names.size() == 1 ? " file, " : " files, ")
              << content.bytes << " bytes\n";
}

}  // namespace LocalDevice
