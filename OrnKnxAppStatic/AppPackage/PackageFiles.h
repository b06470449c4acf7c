#pragma once

#include <array>
#include <cstddef>

/// The files that make a directory an app package. They lie beside the app and are not in the list themselves.
namespace Zandrel::PackageFiles {

inline constexpr const char* FileList = "appfiles.xml";
inline constexpr const char* Signature = "appfiles.xml.SHA256.sig";  ///< over the exact bytes of the file list
inline constexpr const char* DeveloperCertificate = "sdk.crt";       ///< X.509, PEM
inline constexpr std::array<const char*, 3> All{FileList, Signature, DeveloperCertificate};

/// More bytes than any of them needs; a larger one is not read.
inline constexpr std::size_t FileListLimit = std::size_t{8} << 20;
inline constexpr std::size_t SignatureLimit = std::size_t{64} << 10;
inline constexpr std::size_t CertificateLimit = std::size_t{256} << 10;

}  // namespace Zandrel::PackageFiles
