#pragma once

#include <boost/filesystem/path.hpp>
#include <string>

#include "OpenSsl.h"

namespace LocalDevice {

/// The text of a certificate or an unencrypted private key. Throw `PackageError`.
std::string ToPem(X509& certificate);
std::string ToPem(EVP_PKEY& key);

/// The private key of a PEM file. Throws `PackageError`; an encrypted key is not asked a password for.
Zandrel::KeyPointer LoadPrivateKey(const boost::filesystem::path& path);

/// Throws `PackageError` where there is no such file: its default is good in one folder only.
void ExpectCaCertificate(const boost::filesystem::path& path);

/// Whether a file of any size holds a private key of up to 256 KiB, encrypted or not, as PEM. Constant memory.
/// Throws `PackageError` where OpenSSL has none.
bool HoldsPrivateKey(const boost::filesystem::path& path);

/// Writes a file that was not there, readable by its owner only where it is secret. Throws `PackageError` and leaves
/// none where it cannot.
void CreateFile(const boost::filesystem::path& path, const std::string& content, bool isSecret);

}  // namespace LocalDevice
