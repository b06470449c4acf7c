#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "Certificates.h"

namespace TestSupport {

/// A key with the certificate on it.
struct Signer {
    Key key;
    Certificate certificate;
};

/// A certificate authority, and a developer whom it has certified; both made once in a process.
const Signer& GetAuthority();
const Signer& GetDeveloper();

/// A developer of its own, certified by the authority.
Signer MakeDeveloper(const Key& key, const CertificateText& text = {});

/// One entry of a file list. The arguments go into the document as they are.
std::string FileElement(const std::string& name, const std::string& sha256);
/// A whole file list with these entries.
std::string FileListOf(const std::string& entries);

/// An app package in a temporary folder, with the authority's certificate beside it. It starts with a few files in
/// folders, listed and signed by `GetDeveloper()`.
class AppPackage {
public:
    AppPackage();
    ~AppPackage();
    AppPackage(const AppPackage&) = delete;
    AppPackage& operator=(const AppPackage&) = delete;

    const boost::filesystem::path& Directory() const { return directory_; }
    boost::filesystem::path File(const std::string& name) const { return directory_ / name; }
    boost::filesystem::path CaFile() const { return folder_ / "ca.crt"; }
    boost::filesystem::path FileList() const { return File("appfiles.xml"); }
    /// A folder outside of the package.
    const boost::filesystem::path& Outside() const { return folder_; }

    /// Writes a file of the package with the folders above it.
    void Write(const std::string& name, const std::string& content) const;
    /// Reads a file of the package.
    std::string Read(const std::string& name) const;

    /// The entries of the files that it starts with.
    static std::string Entries();

    /// Writes a file list as it stands, with the signature and the certificate of `signer`.
    void Seal(const std::string& fileList, const Signer& signer = GetDeveloper()) const;
    /// Seals the files that it starts with, anew.
    void Seal(const Signer& signer = GetDeveloper()) const { Seal(FileListOf(Entries()), signer); }
    /// Seals them with `entries` after them.
    void SealWith(const std::string& entries) const { Seal(FileListOf(Entries() + entries)); }

private:
    const boost::filesystem::path folder_;
    const boost::filesystem::path directory_;
};

/// Writes a file, without looking at what is there.
void WriteFile(const boost::filesystem::path& path, const std::string& content);
std::string ReadFile(const boost::filesystem::path& path);

}  // namespace TestSupport
